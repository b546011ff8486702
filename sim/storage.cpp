#include "sim/storage.h"

#include "sim/camera_options.h"
#include "sim/record_fields.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <set>

namespace sim {

namespace {

constexpr std::size_t kFormatPadding = 168;
constexpr std::size_t kPutFileHead = 12;
constexpr std::uint32_t kFileCreate = 0;
constexpr std::uint32_t kFileAppend = 1;
constexpr std::uint8_t kSecondString = 0x40;
constexpr std::uint8_t kDepthMask = 0x3F;
constexpr std::size_t kDcfNameLength = 5;
constexpr std::uint32_t kFirstDcfNumber = 100;
constexpr std::uint32_t kLastDcfNumber = 999;

RapiAnswer words(std::initializer_list<std::uint32_t> values, std::size_t recordSize)
{
    RapiAnswer answer;
    for (std::uint32_t value : values) putWord(answer.record, value);
    answer.record.resize(recordSize, 0);
    return answer;
}

// Data announced in the first word of a 16-byte record.
RapiAnswer announce(ByteSource data)
{
    RapiAnswer answer = words({static_cast<std::uint32_t>(data.length)}, 16);
    answer.data = std::move(data);
    return answer;
}

RapiAnswer announce(std::vector<std::uint8_t> data)
{
    return announce(bytesSource(std::move(data)));
}

bool sameName(const std::string& a, const std::string& b) { return cardName(a) == cardName(b); }

// The NUL-terminated strings of a parameter record from `at`, up to the
// first empty one or the record's end; false when a string has no NUL.
bool stringsOf(const std::vector<std::uint8_t>& params, std::size_t at,
               std::vector<std::string>& strings)
{
    while (at < params.size() && params[at] != 0) {
        const auto begin = params.begin() + static_cast<std::ptrdiff_t>(at);
        const auto nul = std::find(begin, params.end(), 0);
        if (nul == params.end()) return false;
        strings.emplace_back(begin, nul);
        at = static_cast<std::size_t>(nul - params.begin()) + 1;
    }
    return true;
}

// A '*' matches any run of characters and a '?' any one, letter case aside.
bool matches(const char* pattern, const char* name)
{
    if (*pattern == '\0') return *name == '\0';
    if (*pattern == '*')
        return matches(pattern + 1, name) || (*name != '\0' && matches(pattern, name + 1));
    if (*name == '\0') return false;
    const bool same = *pattern == '?' || std::toupper(static_cast<unsigned char>(*pattern)) ==
                                             std::toupper(static_cast<unsigned char>(*name));
    return same && matches(pattern + 1, name + 1);
}

struct Located {
    const StorageVolume* volume = nullptr;
    CardPath path;
};

class Storage {
public:
    Storage(StorageState& state, const SettingsState& settings, const std::uint32_t& modelId)
        : m_state(state), m_settings(settings), m_modelId(modelId)
    {
    }

    // A camera path: "ATA01:\DCIM\X.JPG" (this camera's syntax, either
    // separator), "/ATA01\DCIM\X.JPG" (earlier cameras) or a rooted path
    // without a volume ("/DCIM"), which names the first volume. The error
    // word is set when the text names no volume the camera serves or holds
    // a name it cannot keep (".." included: nothing leaves a card).
    std::optional<Located> locate(const std::string& text, std::uint32_t& error) const
    {
        error = kRapiBadRecord;
        if (text.empty() || m_state.volumes.empty()) return std::nullopt;
        std::string rest;
        Located located;
        const std::size_t colon = text.find(':');
        const bool rooted = text[0] == '/' || text[0] == '\\';
        if (!rooted && colon == std::string::npos) return std::nullopt;
        if (!rooted) {
            located.volume = volumeNamed(text.substr(0, colon));
            rest = text.substr(colon + 1);
        } else {
            rest = text.substr(1);
        }
        std::vector<std::string> names;
        std::string name;
        for (char c : rest + "/") {
            if (c != '/' && c != '\\') {
                name += c;
            } else if (!name.empty()) {
                names.push_back(name);
                name.clear();
            }
        }
        if (rooted) {
            if (!names.empty() && volumeNamed(names.front()) != nullptr) {
                located.volume = volumeNamed(names.front());
                names.erase(names.begin());
            } else {
                located.volume = &m_state.volumes.front();
            }
        }
        if (located.volume == nullptr || !located.volume->card) {
            error = kRapiNoSuchVolume;
            return std::nullopt;
        }
        for (const std::string& part : names) {
            if (!validCardName(part)) {
                error = kRapiValueRefused;
                return std::nullopt;
            }
            located.path.push_back(cardName(part));
        }
        error = 0;
        return located;
    }

    const StorageVolume* volumeNamed(const std::string& name) const
    {
        for (const StorageVolume& volume : m_state.volumes)
            if (sameName(volume.name, name)) return &volume;
        return nullptr;
    }

    std::uint32_t now() const { return cameraClock(m_settings); }

    // The path of an entry as the camera writes it in a listing.
    std::string cameraText(const Located& at) const
    {
        std::string text = m_modelId == kModelQ402 ? at.volume->name + ":" : "/" + at.volume->name;
        if (at.path.empty()) return text + "\\";
        for (const std::string& name : at.path) text += "\\" + name;
        return text;
    }

    void record(std::vector<std::uint8_t>& out, const Located& at, const CardEntry& entry) const
    {
        const std::uint16_t attributes = entry.attributes;
        out.insert(out.end(), reinterpret_cast<const std::uint8_t*>(&attributes),
                   reinterpret_cast<const std::uint8_t*>(&attributes) + 2);
        putWord(out, entry.directory() ? 0 : entry.size);
        putWord(out, entry.time);
        const std::string text = cameraText(at);
        out.insert(out.end(), text.begin(), text.end());
        out.push_back(0);
    }

    // The entries below a directory, `depth` levels down, each directory
    // followed by its own entries.
    void listBelow(std::vector<std::uint8_t>& out, const Located& at, unsigned depth,
                   const std::string& pattern) const
    {
        if (depth == 0) return;
        for (const CardEntry& entry : at.volume->card->children(at.path)) {
            Located child = at;
            child.path.push_back(entry.name);
            if (entry.directory()) {
                record(out, child, entry);
                listBelow(out, child, depth - 1, pattern);
            } else if (pattern.empty() || matches(pattern.c_str(), entry.name.c_str())) {
                record(out, child, entry);
            }
        }
    }

    RapiAnswer listing(const RapiRequest& request) const
    {
        const std::vector<std::uint8_t>& params = request.params;
        std::vector<std::uint8_t> out;
        std::size_t at = 0;
        while (at + 1 < params.size() && params[at + 1] != 0) {
            const std::uint8_t depth = params[at];
            std::vector<std::string> strings;
            const std::vector<std::uint8_t> entry(
                params.begin() + static_cast<std::ptrdiff_t>(at + 1), params.end());
            if (!stringsOf(entry, 0, strings) || strings.empty()) return refuse(kRapiBadRecord, 16);
            std::string pattern;
            at += 1 + strings[0].size() + 1;
            if (depth & kSecondString) {
                if (strings.size() < 2 && (at >= params.size() || params[at] != 0))
                    return refuse(kRapiBadRecord, 16);
                pattern = strings.size() >= 2 ? strings[1] : std::string();
                at += pattern.size() + 1;
            }
            std::uint32_t error = 0;
            const std::optional<Located> place = locate(strings[0], error);
            if (!place) return refuse(error, 16);
            const std::optional<CardEntry> found = place->volume->card->find(place->path);
            if (!found) return refuse(kRapiNoSuchPath, 16);
            const unsigned levels = depth & kDepthMask;
            if (!found->directory() || levels == 0) {
                record(out, *place, *found);
            } else {
                listBelow(out, *place, levels, pattern);
            }
        }
        out.insert(out.end(), 11, 0);  // the end record
        return announce(std::move(out));
    }

    RapiAnswer readFile(const RapiRequest& request) const
    {
        const std::uint32_t mode = wordAt(request.params, 0);
        std::vector<std::string> strings;
        if (request.params.size() < 4 || !stringsOf(request.params, 4, strings) ||
            strings.empty() || mode > 1)
            return refuse(kRapiBadRecord, 16);
        std::uint32_t error = 0;
        const std::optional<Located> place = locate(strings[0], error);
        if (!place) return refuse(error, 16);
        const std::optional<CardEntry> found = place->volume->card->find(place->path);
        if (!found || found->directory()) return refuse(kRapiNoSuchPath, 16);
        const std::size_t limit = mode == 1 ? m_state.headerBytes : found->size;
        ByteSource bytes = place->volume->card->open(place->path, limit);
        if (!bytes.read) return refuse(kRapiCardError, 16);
        return announce(std::move(bytes));
    }

    RapiAnswer fileSize(const RapiRequest& request) const
    {
        std::vector<std::string> strings;
        if (!stringsOf(request.params, 0, strings) || strings.empty())
            return refuse(kRapiBadRecord, 4);
        std::uint32_t error = 0;
        const std::optional<Located> place = locate(strings[0], error);
        if (!place) return refuse(error, 4);
        const std::optional<CardEntry> found = place->volume->card->find(place->path);
        if (!found || found->directory()) return refuse(kRapiNoSuchPath, 4);
        return words({found->size}, 4);
    }

    // Parameter 0 creates the file (or replaces it), 1 appends to it, so
    // that a file larger than one block is written in successive requests.
    RapiAnswer putFile(const RapiRequest& request)
    {
        const std::vector<std::uint8_t>& params = request.params;
        if (params.size() < kPutFileHead || wordAt(params, 0) != 2)
            return refuse(kRapiBadRecord, 16);
        const auto nul = std::find(params.begin() + kPutFileHead, params.end(), 0);
        if (nul == params.end()) return refuse(kRapiBadRecord, 16);
        const std::string text(params.begin() + kPutFileHead, nul);
        const std::uint32_t mode = wordAt(params, 4);
        const std::uint32_t length = wordAt(params, 8);
        const std::size_t dataAt = kPutFileHead + text.size() + 1;
        if ((mode != kFileCreate && mode != kFileAppend) || params.size() - dataAt != length)
            return refuse(kRapiBadRecord, 16);
        std::uint32_t error = 0;
        const std::optional<Located> place = locate(text, error);
        if (!place) return refuse(error, 16);
        if (place->path.empty()) return refuse(kRapiBadRecord, 16);
        Card& card = *place->volume->card;
        const CardPath parent(place->path.begin(), place->path.end() - 1);
        const std::optional<CardEntry> folder = card.find(parent);
        if (!folder || !folder->directory()) return refuse(kRapiNoSuchPath, 16);
        const std::optional<CardEntry> existing = card.find(place->path);
        if (existing && existing->directory()) return refuse(kRapiPathExists, 16);
        if (mode == kFileAppend && !existing) return refuse(kRapiNoSuchPath, 16);
        if (existing && (existing->attributes & kAttributeReadOnly))
            return refuse(kRapiProtected, 16);
        const std::uint64_t freed = existing && mode == kFileCreate ? existing->size : 0;
        const std::uint64_t before = existing ? existing->size : 0;
        if (card.used() - freed + length > card.capacity() || before + length > 0xFFFFFFFFull)
            return refuse(kRapiCardFull, 16);
        if (!card.write(place->path, params.data() + dataAt, length, mode == kFileAppend, now()))
            return refuse(kRapiCardError, 16);
        return words({card.find(place->path)->size}, 16);
    }

    RapiAnswer makeDirectory(const RapiRequest& request)
    {
        std::vector<std::string> strings;
        if (!stringsOf(request.params, 0, strings) || strings.empty())
            return refuse(kRapiBadRecord);
        std::uint32_t error = 0;
        const std::optional<Located> place = locate(strings[0], error);
        if (!place) return refuse(error);
        return makeAt(*place);
    }

    RapiAnswer makeAt(const Located& place)
    {
        if (place.path.empty()) return refuse(kRapiPathExists);
        Card& card = *place.volume->card;
        const std::optional<CardEntry> folder =
            card.find(CardPath(place.path.begin(), place.path.end() - 1));
        if (!folder || !folder->directory()) return refuse(kRapiNoSuchPath);
        if (card.find(place.path)) return refuse(kRapiPathExists);
        if (!card.makeDirectory(place.path, now())) return refuse(kRapiCardError);
        return RapiAnswer{};
    }

    // The folder after the highest numbered one in DCIM of the first
    // volume (100 on a card without one), named by its three digits and the
    // five characters given.
    RapiAnswer makeDcfDirectory(const RapiRequest& request)
    {
        std::vector<std::string> strings;
        if (!stringsOf(request.params, 0, strings) || strings.empty())
            return refuse(kRapiBadRecord, 4);
        const std::string name = strings[0];
        if (name.size() != kDcfNameLength || !validCardName(name))
            return refuse(kRapiValueRefused, 4);
        if (m_state.volumes.empty() || !m_state.volumes.front().card)
            return refuse(kRapiNoSuchVolume, 4);
        Located dcim{&m_state.volumes.front(), {"DCIM"}};
        Card& card = *dcim.volume->card;
        const std::optional<CardEntry> existing = card.find(dcim.path);
        if (existing && !existing->directory()) return refuse(kRapiPathExists, 4);
        if (!existing && !card.makeDirectory(dcim.path, now())) return refuse(kRapiCardError, 4);
        std::uint32_t highest = 0;
        for (const CardEntry& entry : card.children(dcim.path)) {
            const std::string& n = entry.name;
            if (entry.directory() && n.size() >= 3 &&
                std::isdigit(static_cast<unsigned char>(n[0])) &&
                std::isdigit(static_cast<unsigned char>(n[1])) &&
                std::isdigit(static_cast<unsigned char>(n[2])))
                highest = std::max<std::uint32_t>(
                    highest, static_cast<std::uint32_t>(std::stoul(n.substr(0, 3))));
        }
        const std::uint32_t number = highest == 0 ? kFirstDcfNumber : highest + 1;
        if (number > kLastDcfNumber) return refuse(kRapiNoDcfNumber, 4);
        char digits[4];
        std::snprintf(digits, sizeof(digits), "%03u", static_cast<unsigned>(number));
        Located folder = dcim;
        folder.path.push_back(digits + cardName(name));
        RapiAnswer made = makeAt(folder);
        if (made.errorCode != 0) return refuse(made.errorCode, 4);
        return words({number}, 4);
    }

    // Delete, attributes and times take a list of full paths after `at`.
    // Every path is checked before anything changes: a list with one bad
    // path changes nothing.
    enum class ListOp { kDelete, kAttributes, kTimes };

    RapiAnswer pathList(const RapiRequest& request, ListOp op)
    {
        const std::size_t at = op == ListOp::kDelete ? 0 : 4;
        const std::uint32_t value = wordAt(request.params, 0);
        std::vector<std::string> strings;
        if (request.params.size() < at || !stringsOf(request.params, at, strings) ||
            strings.empty())
            return refuse(kRapiBadRecord);
        if (op == ListOp::kAttributes &&
            (value & ~std::uint32_t{kAttributeReadOnly | kAttributeArchive}) != 0)
            return refuse(kRapiValueRefused);
        std::vector<Located> places;
        std::set<std::pair<const StorageVolume*, CardPath>> seen;
        for (const std::string& text : strings) {
            std::uint32_t error = 0;
            std::optional<Located> place = locate(text, error);
            if (!place) return refuse(error);
            if (place->path.empty()) return refuse(kRapiBadRecord);  // the root stays
            const std::optional<CardEntry> found = place->volume->card->find(place->path);
            if (!found) return refuse(kRapiNoSuchPath);
            if (op == ListOp::kDelete) {
                if (found->attributes & kAttributeReadOnly) return refuse(kRapiProtected);
                if (found->directory() && !place->volume->card->children(place->path).empty())
                    return refuse(kRapiNotEmpty);
            }
            if (seen.insert({place->volume, place->path}).second) places.push_back(*place);
        }
        for (const Located& place : places) {
            Card& card = *place.volume->card;
            bool done = false;
            switch (op) {
                case ListOp::kDelete:
                    done = card.remove(place.path);
                    break;
                case ListOp::kAttributes:
                    done = card.setAttributes(place.path, static_cast<std::uint16_t>(value));
                    break;
                case ListOp::kTimes:
                    done = card.setTime(place.path, value);
                    break;
            }
            if (!done) return refuse(kRapiCardError);
        }
        return RapiAnswer{};
    }

    RapiAnswer format(const RapiRequest& request)
    {
        std::vector<std::string> strings;
        if (request.params.size() <= kFormatPadding ||
            !stringsOf(request.params, kFormatPadding, strings) || strings.empty())
            return refuse(kRapiBadRecord, 4);
        std::string name = strings[0];
        if (!name.empty() && (name[0] == '/' || name[0] == '\\')) name.erase(0, 1);
        name = name.substr(0, name.find(':'));
        const StorageVolume* volume = volumeNamed(name);
        if (volume == nullptr || !volume->card) return refuse(kRapiNoSuchVolume, 4);
        volume->card->format();
        return words({0}, 4);
    }

    RapiAnswer driveStrings() const
    {
        std::vector<std::uint8_t> data;
        for (const StorageVolume& volume : m_state.volumes) {
            data.insert(data.end(), volume.name.begin(), volume.name.end());
            data.push_back(0);
        }
        data.push_back(0);
        return announce(std::move(data));
    }

    RapiAnswer freeSpace(const RapiRequest& request) const
    {
        std::vector<std::string> strings;
        if (!stringsOf(request.params, 0, strings) || strings.empty())
            return refuse(kRapiBadRecord, 8);
        const StorageVolume* volume = volumeNamed(strings[0]);
        if (volume == nullptr || !volume->card) return refuse(kRapiNoSuchVolume, 8);
        const Card& card = *volume->card;
        const std::uint64_t free =
            card.capacity() > card.used() ? card.capacity() - card.used() : 0;
        return words({static_cast<std::uint32_t>(free / 1024),
                      static_cast<std::uint32_t>(card.capacity() / 1024)},
                     8);
    }

private:
    StorageState& m_state;
    const SettingsState& m_settings;
    const std::uint32_t& m_modelId;
};

}  // namespace

void registerStorage(RemoteApi& engine, StorageState& storage, const SettingsState& settings,
                     const std::uint32_t& modelId)
{
    auto family = std::make_shared<Storage>(storage, settings, modelId);
    engine.define(0x1120000E, [family](const RapiRequest&) { return family->driveStrings(); });
    engine.define(0x1110000D, [family](const RapiRequest& r) { return family->freeSpace(r); });
    engine.define(0x12100014, [family](const RapiRequest& r) { return family->format(r); });
    engine.define(0x1120000B, [family](const RapiRequest& r) { return family->listing(r); });
    engine.define(0x11100007, [family](const RapiRequest& r) { return family->makeDirectory(r); });
    engine.define(0x11100008,
                  [family](const RapiRequest& r) { return family->makeDcfDirectory(r); });
    engine.define(0x11200001, [family](const RapiRequest& r) { return family->readFile(r); });
    engine.define(0x11100004, [family](const RapiRequest& r) { return family->fileSize(r); });
    engine.define(0x11400003, [family](const RapiRequest& r) { return family->putFile(r); });
    engine.define(0x1110000A, [family](const RapiRequest& r) {
        return family->pathList(r, Storage::ListOp::kDelete);
    });
    engine.define(0x11100005, [family](const RapiRequest& r) {
        return family->pathList(r, Storage::ListOp::kAttributes);
    });
    engine.define(0x11100006, [family](const RapiRequest& r) {
        return family->pathList(r, Storage::ListOp::kTimes);
    });
}

}  // namespace sim
