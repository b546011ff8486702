#include "support/card_io.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

Bytes subtreeRequest(std::uint8_t depth, const std::string& path, const std::string& second)
{
    Bytes request{depth};
    request.insert(request.end(), path.begin(), path.end());
    request.push_back(0);
    if (!second.empty()) {
        request.insert(request.end(), second.begin(), second.end());
        request.push_back(0);
    }
    request.insert(request.end(), {0, 0});
    return request;
}

std::vector<Listed> listCard(DslrObject* slots, const std::string& path, std::uint8_t depth)
{
    Bytes request = subtreeRequest(depth, path);
    uint32_t length = 0;
    EXPECT_EQ(slots->baseGetDirs(request.data(), &length), vkRN_OK) << path;
    Bytes data(length);
    EXPECT_EQ(slots->baseDslrReadData(data.data(), length), vkRN_OK);
    std::vector<Listed> entries;
    for (std::size_t at = 0; at + 10 < data.size();) {
        Listed entry{};
        std::memcpy(&entry.attributes, &data[at], 2);
        std::memcpy(&entry.size, &data[at + 2], 4);
        std::memcpy(&entry.time, &data[at + 6], 4);
        entry.path = reinterpret_cast<const char*>(&data[at + 10]);
        if (entry.attributes == 0 && entry.size == 0 && entry.time == 0 && entry.path.empty())
            break;
        at += 10 + entry.path.size() + 1;
        entries.push_back(entry);
    }
    return entries;
}

Bytes downloadFile(DslrObject* slots, const std::string& path, std::size_t part, bool header)
{
    uint32_t length = 0;
    const std::uint32_t announced = header ? slots->baseGetParsingHeader(path.c_str(), &length)
                                           : slots->baseGetFile(path.c_str(), &length);
    EXPECT_EQ(announced, vkRN_OK) << path;
    Bytes data(length);
    for (std::size_t at = 0; at < length;) {
        const std::size_t count = part == 0 ? length : std::min<std::size_t>(part, length - at);
        EXPECT_EQ(slots->baseDslrReadData(data.data() + at, static_cast<uint32_t>(count)), vkRN_OK);
        at += count;
    }
    return data;
}

std::uint32_t uploadFile(DslrObject* slots, const std::string& path, const Bytes& data)
{
    for (std::size_t at = 0; at < data.size(); at += 0xFF00) {
        const auto count = static_cast<uint32_t>(std::min<std::size_t>(0xFF00, data.size() - at));
        const std::uint32_t result =
            slots->basePutFile(path.c_str(), count, at == 0 ? 0 : 1, &data[at]);
        if (result != vkRN_OK) return result;
    }
    return vkRN_OK;
}

std::string pathList(std::initializer_list<std::string> strings)
{
    std::string list;
    for (const std::string& s : strings) list += s + '\0';
    return list + '\0';
}
