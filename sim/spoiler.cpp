#include "sim/spoiler.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace sim {

namespace {

struct ClassName {
    SpoilClass spoil;
    const char* name;
};

constexpr ClassName kNames[kSpoilClassCount] = {
    {SpoilClass::kTruncated, "truncated"},
    {SpoilClass::kCountsMore, "counts-more"},
    {SpoilClass::kCountsLess, "counts-less"},
    {SpoilClass::kOtherTag, "other-tag"},
    {SpoilClass::kStall, "stall"},
    {SpoilClass::kFrameHeader, "frame-header"},
    {SpoilClass::kRapiHeader, "rapi-header"},
    {SpoilClass::kAnnounced, "announced-length"},
    {SpoilClass::kRecordWord, "record-word"},
    {SpoilClass::kListing, "listing"},
    {SpoilClass::kSense, "sense"},
};

constexpr std::size_t kFrameHeader = 8;
constexpr std::size_t kRapiHeader = 20;
constexpr std::size_t kRecordAt = kFrameHeader + kRapiHeader;
constexpr std::size_t kSenseFixed = 20;

// How many fitting replies may pass before the spoiled one: frequent kinds
// get a longer reach, so that a spoil falls anywhere in an operation.
std::uint32_t reachOf(SpoilClass spoil)
{
    switch (spoil) {
        case SpoilClass::kListing:
            return 3;
        case SpoilClass::kAnnounced:
        case SpoilClass::kSense:
            return 6;
        default:
            return 24;
    }
}

class SeededChoices : public Choices {
public:
    explicit SeededChoices(std::uint64_t seed) : m_state(seed) {}
    std::uint32_t below(std::uint32_t bound) override
    {
        // splitmix64: small, and the same sequence on every platform.
        std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        z ^= z >> 31;
        return static_cast<std::uint32_t>(z % bound);
    }

private:
    std::uint64_t m_state;
};

class ByteChoices : public Choices {
public:
    explicit ByteChoices(std::vector<std::uint8_t> bytes) : m_bytes(std::move(bytes)) {}
    std::uint32_t below(std::uint32_t bound) override
    {
        // As few bytes as the bound needs, so that a fuzzer's mutations of
        // one byte change one choice.
        std::uint32_t value = 0;
        for (std::uint64_t span = 1; span < bound && m_at < m_bytes.size(); span <<= 8)
            value = (value << 8) | m_bytes[m_at++];
        return value % bound;
    }
    bool more() const override { return m_at < m_bytes.size(); }

private:
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_at = 0;
};

void putWordAt(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint32_t word)
{
    if (offset + 4 <= bytes.size()) std::memcpy(bytes.data() + offset, &word, 4);
}

std::uint32_t wordIn(const std::vector<std::uint8_t>& bytes, std::size_t offset)
{
    std::uint32_t word = 0;
    if (offset + 4 <= bytes.size()) std::memcpy(&word, bytes.data() + offset, 4);
    return word;
}

// The same bytes, with `patch` laid over them from `offset`.
ByteSource patchedSource(ByteSource source, std::uint64_t offset, std::vector<std::uint8_t> patch)
{
    ByteSource patched;
    patched.length = source.length;
    patched.read = [source = std::move(source), offset, patch = std::move(patch)](
                       std::uint64_t at, std::uint8_t* out, std::size_t count) {
        if (!source.read(at, out, count)) return false;
        for (std::size_t i = 0; i < patch.size(); ++i) {
            const std::uint64_t position = offset + i;
            if (position >= at && position < at + count) out[position - at] = patch[i];
        }
        return true;
    };
    return patched;
}

// The same bytes cut or padded with zeros to another length.
ByteSource resizedSource(ByteSource source, std::uint64_t length)
{
    ByteSource resized;
    resized.length = length;
    resized.read = [source = std::move(source)](std::uint64_t at, std::uint8_t* out,
                                                std::size_t count) {
        std::memset(out, 0, count);
        if (at >= source.length) return true;
        const auto inside =
            static_cast<std::size_t>(std::min<std::uint64_t>(count, source.length - at));
        return source.read(at, out, inside);
    };
    return resized;
}

}  // namespace

bool isTransportSpoil(SpoilClass spoil) { return spoil <= SpoilClass::kStall; }

const char* spoilClassName(SpoilClass spoil)
{
    for (const ClassName& entry : kNames)
        if (entry.spoil == spoil) return entry.name;
    return "?";
}

std::vector<SpoilClass> allSpoilClasses()
{
    std::vector<SpoilClass> classes;
    for (const ClassName& entry : kNames) classes.push_back(entry.spoil);
    return classes;
}

bool parseSpoilClasses(const std::string& text, std::vector<SpoilClass>& classes)
{
    classes.clear();
    std::istringstream list(text);
    std::string name;
    while (std::getline(list, name, ',')) {
        if (name == "all") {
            const std::vector<SpoilClass> all = allSpoilClasses();
            classes.insert(classes.end(), all.begin(), all.end());
            continue;
        }
        const auto* found =
            std::find_if(std::begin(kNames), std::end(kNames),
                         [&](const ClassName& entry) { return name == entry.name; });
        if (found == std::end(kNames)) return false;
        classes.push_back(found->spoil);
    }
    return !classes.empty();
}

std::unique_ptr<Choices> seededChoices(std::uint64_t seed)
{
    return std::make_unique<SeededChoices>(seed);
}

std::unique_ptr<Choices> byteChoices(std::vector<std::uint8_t> bytes)
{
    return std::make_unique<ByteChoices>(std::move(bytes));
}

Spoiler::Spoiler(std::vector<SpoilClass> classes, std::unique_ptr<Choices> choices, unsigned limit)
    : m_classes(std::move(classes)), m_choices(std::move(choices)), m_limit(limit)
{
    plan();
}

void Spoiler::plan()
{
    m_planned = !m_classes.empty() && (m_limit == 0 || m_spoiled < m_limit) && m_choices->more();
    if (!m_planned) return;
    m_next = m_classes[m_choices->below(static_cast<std::uint32_t>(m_classes.size()))];
    m_countdown = m_choices->below(reachOf(m_next));
    m_onSense = isTransportSpoil(m_next) && m_choices->below(4) == 0;
}

void Spoiler::rearm()
{
    m_spoiled = 0;
    plan();
}

bool Spoiler::due(SpoilClass wanted, bool fits)
{
    if (!m_planned || m_next != wanted || !fits) return false;
    if (m_countdown > 0) {
        --m_countdown;
        return false;
    }
    ++m_spoiled;
    if (m_report) m_report(wanted);
    return true;
}

std::uint32_t Spoiler::spoiledWord(std::uint32_t word)
{
    switch (m_choices->below(8)) {
        case 0:
            return 0;
        case 1:
            return word + 1;
        case 2:
            return word - 1;
        case 3:
            return word * 2 + 1;
        case 4:
            return 0x7FFFFFFF;
        case 5:
            return 0xFFFFFFFF;
        case 6:
            return word ^ (1u << m_choices->below(32));
        default:
            return m_choices->below(0xFFFFFFFF);
    }
}

void Spoiler::spoilBytes(std::vector<std::uint8_t>& bytes, std::size_t from, std::size_t to)
{
    if (to <= from) return;
    const std::size_t at = from + m_choices->below(static_cast<std::uint32_t>(to - from));
    putWordAt(bytes, at - (at - from) % 4, spoiledWord(wordIn(bytes, at - (at - from) % 4)));
}

void Spoiler::spoilReply(ReplyKind kind, Reply& reply)
{
    if ((kind == ReplyKind::kHandshake && !m_handshakes) || kind == ReplyKind::kSense || !m_planned)
        return;
    std::vector<std::uint8_t>& head = reply.head;
    const bool rapi = head.size() >= kRecordAt;
    if (due(SpoilClass::kFrameHeader, head.size() >= kFrameHeader)) {
        spoilBytes(head, 0, kFrameHeader);
    } else if (due(SpoilClass::kRapiHeader, rapi)) {
        spoilBytes(head, kFrameHeader, kRecordAt);
    } else if (due(SpoilClass::kRecordWord, head.size() >= kRecordAt + 4)) {
        spoilBytes(head, kRecordAt, head.size());
    } else if (due(SpoilClass::kAnnounced, rapi && reply.body.length > 0)) {
        const std::uint64_t length = reply.body.length;
        switch (m_choices->below(3)) {
            case 0:
                putWordAt(head, kRecordAt, spoiledWord(wordIn(head, kRecordAt)));
                break;
            case 1:
                reply.body = resizedSource(std::move(reply.body),
                                           m_choices->below(static_cast<std::uint32_t>(length)));
                break;
            default:
                reply.body =
                    resizedSource(std::move(reply.body), length + 1 + m_choices->below(4096));
        }
    } else if (due(SpoilClass::kListing, kind == ReplyKind::kListing && reply.body.length > 0)) {
        // Words anywhere, bytes a host path could trip on, or a name that
        // climbs out of the folder it belongs to.
        static const std::vector<std::vector<std::uint8_t>> kTricks = {
            {0xFF},
            {0},
            {'\\'},
            {'/'},
            {':'},
            {'.', '.', '\\', '.', '.', '\\'},
            {'/', 't', 'm', 'p', '/'}};
        const std::uint64_t at = m_choices->below(static_cast<std::uint32_t>(reply.body.length));
        std::vector<std::uint8_t> patch;
        if (m_choices->below(2) == 0) {
            patch = kTricks[m_choices->below(static_cast<std::uint32_t>(kTricks.size()))];
        } else {
            patch.assign(4, 0);
            const std::uint32_t word = spoiledWord(0);
            std::memcpy(patch.data(), &word, 4);
        }
        reply.body = patchedSource(std::move(reply.body), at, std::move(patch));
    } else {
        return;
    }
    plan();
}

void Spoiler::spoilSense(std::vector<std::uint8_t>& sense)
{
    if (!due(SpoilClass::kSense, !sense.empty())) return;
    switch (m_choices->below(3)) {
        case 0:  // the fixed part: key, codes, lengths
            sense[m_choices->below(static_cast<std::uint32_t>(std::min(
                sense.size(), kSenseFixed)))] = static_cast<std::uint8_t>(m_choices->below(256));
            break;
        case 1:  // the event record's words
            spoilBytes(sense, kSenseFixed, sense.size());
            break;
        default:  // a short answer
            sense.resize(m_choices->below(static_cast<std::uint32_t>(sense.size())));
    }
    plan();
}

std::optional<TransportSpoil> Spoiler::spoilTransport(ReplyKind kind, std::uint32_t length)
{
    if (kind == ReplyKind::kHandshake || !m_planned || !isTransportSpoil(m_next))
        return std::nullopt;
    const SpoilClass spoil = m_next;
    if (!due(spoil, (kind == ReplyKind::kSense) == m_onSense)) return std::nullopt;
    TransportSpoil result{spoil, 0};
    switch (spoil) {
        case SpoilClass::kCountsMore:
            result.bytes = 1 + m_choices->below(length + 64);
            break;
        case SpoilClass::kCountsLess:
            result.bytes = 1 + m_choices->below(std::max<std::uint32_t>(length, 1));
            break;
        case SpoilClass::kOtherTag:
            result.bytes = 1 + m_choices->below(3);
            break;
        default:  // truncated, stall: what still travels of header and data
            result.bytes = m_choices->below(16 + length);
    }
    plan();
    return result;
}

}  // namespace sim
