#include "capture_names.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <utility>

namespace dslrctl {

namespace fs = std::filesystem;

namespace {

constexpr const char* kNumberedName = "capt%04n";

std::tm localFields(std::time_t time)
{
    std::tm fields{};
#ifdef _WIN32
    localtime_s(&fields, &time);
#else
    localtime_r(&time, &fields);
#endif
    return fields;
}

}  // namespace

CaptureNames::CaptureNames(std::string pattern, fs::path directory)
    : m_pattern(std::move(pattern)), m_directory(std::move(directory))
{
}

fs::path CaptureNames::next(const PictureFacts& facts, std::uint32_t shot)
{
    const std::string stem = facts.cardName.substr(0, facts.cardName.rfind('.'));
    // The whole pattern with %f written out, so that a numbered %f counts.
    std::string pattern =
        m_pattern.empty() ? (facts.cardName.empty() ? std::string(kNumberedName) + ".%C" : "%f.%C")
                          : m_pattern;
    for (std::size_t at = 0; (at = pattern.find('%', at)) != std::string::npos; at += 2) {
        if (at + 1 < pattern.size() && pattern[at + 1] == 'f') {
            const std::string name = facts.cardName.empty() ? kNumberedName : stem;
            pattern.replace(at, 2, name);
            at += name.size() - 2;
        }
    }
    const bool numbered = expand(pattern, facts, 1) != expand(pattern, facts, 2);
    if (!numbered) return m_directory / expand(pattern, facts, m_number);
    std::error_code error;
    unsigned number = m_number != 0 && shot == m_shot ? m_number : m_number + 1;
    while (fs::exists(fs::symlink_status(m_directory / expand(pattern, facts, number), error)))
        ++number;
    m_number = number;
    m_shot = shot;
    return m_directory / expand(pattern, facts, number);
}

std::string CaptureNames::expand(const std::string& pattern, const PictureFacts& facts,
                                 unsigned number) const
{
    const std::tm when = localFields(facts.time);
    const std::size_t dot = facts.cardName.rfind('.');
    const std::string extension = facts.cardName.empty()     ? facts.extension
                                  : dot == std::string::npos ? ""
                                                             : facts.cardName.substr(dot + 1);
    std::string name;
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] != '%' || at + 1 == pattern.size()) {
            name += pattern[at];
            continue;
        }
        std::size_t field = at + 1;
        int width = 0;
        // A number's width is capped: the name has a folder's limits anyway,
        // and a long run of digits must not overflow the count.
        while (field < pattern.size() &&
               std::isdigit(static_cast<unsigned char>(pattern[field])) != 0)
            width = std::min(width * 10 + (pattern[field++] - '0'), 20);
        const char code = field < pattern.size() ? pattern[field] : '\0';
        char text[32];
        switch (code) {
            case 'n':
                std::snprintf(text, sizeof(text), "%0*u", width, number);
                name += text;
                break;
            case 'C':
                name += extension;
                break;
            case 'Y':
            case 'm':
            case 'd':
            case 'H':
            case 'M':
            case 'S': {
                // The picture's time fields mean what they mean to strftime.
                const char format[] = {'%', code, '\0'};
                std::strftime(text, sizeof(text), format, &when);
                name += text;
                break;
            }
            case '%':
                name += '%';
                break;
            default:
                name += pattern.substr(at, field + 1 - at);
                break;
        }
        at = field;
    }
    return name;
}

}  // namespace dslrctl
