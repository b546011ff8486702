#include "sim/release.h"

#include "sim/camera_options.h"
#include "sim/jpeg_image.h"
#include "sim/record_fields.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace sim {

namespace {

constexpr std::size_t kExtLong = 60;
constexpr std::size_t kExtShort = 44;
constexpr std::uint32_t kExtVersion = 1;
constexpr std::size_t kControlHead = 8;    // control code and parameter size
constexpr std::size_t kRefusalBlock = 64;  // more than any release reply holds
constexpr std::size_t kReleasedDataParams = 16;
constexpr std::uint32_t kValuesOf16Bits = 2;
constexpr std::uint32_t kLastFileNumber = 9999;
constexpr unsigned kThumbnailWidth = 160;
constexpr unsigned kThumbnailHeight = 106;
constexpr unsigned kSeedBase = 16;  // released pictures differ from the demo card's

// The picture each image size makes: a quarter of the sensor's image size
// on each side (3072x2048, 2048x1360, 1536x1024), so that a release is quick.
struct Picture {
    unsigned width;
    unsigned height;
};
constexpr Picture kPictures[] = {{768, 512}, {512, 340}, {384, 256}};

// A value in the width the request used for its own (2, 3 or 4 bytes,
// least significant first).
std::vector<std::uint8_t> sized(std::uint32_t value, std::size_t width)
{
    std::vector<std::uint8_t> bytes;
    appendField(bytes, value);
    bytes.resize(width);
    return bytes;
}

// The values each parameter may take, by parameter number.
const std::map<std::uint32_t, std::vector<std::uint16_t>>& availableValues()
{
    static const std::map<std::uint32_t, std::vector<std::uint16_t>> values = {
        {1, {0x48, 0x50, 0x58, 0x60, 0x68}},                    // wISO: 100 to 1600
        {2, {0x20, 0x28, 0x30, 0x38, 0x40, 0x48, 0x50}},        // wAv: f/2.8 to f/22
        {3, {0x50, 0x58, 0x60, 0x68, 0x70, 0x78, 0x80, 0x88}},  // wTv: 1/30 to 1/4000
        {4, {0, 1, 2}},                                         // image size: large to small
        {5, {1, 2, 3}},                                         // file format: JPEG, RAW, both
        {6, {1, 2}},                                            // quality: normal, fine
    };
    return values;
}

bool allowed(std::uint32_t parameter, std::uint32_t value)
{
    const std::vector<std::uint16_t>& values = availableValues().at(parameter);
    return std::find(values.begin(), values.end(), value) != values.end();
}

// The image size, file format and quality that a release or a size query
// names, all three checked.
bool validTriple(std::uint8_t size, std::uint8_t format, std::uint8_t quality)
{
    return allowed(4, size) && allowed(5, format) && allowed(6, quality);
}

// A release-control reply: the echoed code, the block's size, the block.
RapiAnswer controlReply(std::uint32_t code, const std::vector<std::uint8_t>& block = {})
{
    RapiAnswer answer;
    appendField(answer.record, code);
    appendField(answer.record, static_cast<std::uint32_t>(block.size()));
    answer.record.insert(answer.record.end(), block.begin(), block.end());
    return answer;
}

// A refused control code still answers with a block as large as any the
// family sends, so that a host never waits for bytes that do not come.
RapiAnswer refuseControl(std::uint32_t code, std::uint32_t error)
{
    RapiAnswer answer = controlReply(code, std::vector<std::uint8_t>(kRefusalBlock, 0));
    answer.errorCode = error;
    return answer;
}

RapiAnswer refuse(std::uint32_t error, std::size_t recordSize)
{
    RapiAnswer answer;
    answer.errorCode = error;
    answer.record.assign(recordSize, 0);
    return answer;
}

std::vector<std::uint8_t> imageEvent(std::uint32_t sequenceId, std::uint32_t kind, std::size_t size)
{
    std::vector<std::uint8_t> parameters;
    appendField(parameters, sequenceId);
    parameters.push_back(static_cast<std::uint8_t>(kind));
    appendField(parameters, static_cast<std::uint32_t>(size));
    return parameters;
}

bool digits(const std::string& text, std::size_t at, std::size_t count)
{
    if (text.size() < at + count) return false;
    return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(at),
                       text.begin() + static_cast<std::ptrdiff_t>(at + count),
                       [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
}

class Release {
public:
    Release(ReleaseState& state, StorageState& storage, const SettingsState& settings,
            EventQueue& events, const std::uint32_t& modelId)
        : m_state(state),
          m_storage(storage),
          m_settings(settings),
          m_events(events),
          m_modelId(modelId)
    {
    }

    RapiAnswer control(const RapiRequest& request)
    {
        const std::uint32_t code = fieldAt<std::uint32_t>(request.params, 0);
        const std::uint32_t size = fieldAt<std::uint32_t>(request.params, 4);
        if (request.params.size() != kControlHead + std::size_t{size} + 1)
            return refuseControl(code, kRapiBadRecord);
        const std::vector<std::uint8_t> block(request.params.begin() + kControlHead,
                                              request.params.end() - 1);
        switch (code) {
            case 0:  // INIT
            case 1:  // EXIT
                if (size != 0) return refuseControl(code, kRapiBadRecord);
                m_state.active = code == 0;
                return controlReply(code);
            case 4:
                return size == 0 ? release(code) : refuseControl(code, kRapiBadRecord);
            case 7:
                return setParams(code, block);
            case 9: {
                const auto mode = fieldAt<std::uint16_t>(block, 0);
                if (size != 4) return refuseControl(code, kRapiBadRecord);
                if (mode < kTransferToComputer || mode > kTransferToBoth)
                    return refuseControl(code, kRapiValueRefused);
                m_state.transferMode = mode;
                return controlReply(code);
            }
            case 10:
                return controlReply(code, {m_state.params.begin(), m_state.params.end()});
            case 13:
                return controlReply(code, sized(m_state.availableShots, 4));
            case 16:
                return controlReply(code, sized(static_cast<std::uint32_t>(extSize()), 4));
            case 17:
                return controlReply(code, sized(kExtVersion, 4));
            case 18:
                return extParams(code, block);
            case 19:
                return setExtParams(code, block);
            case 27:
            case 28:
                return values(code, block);
            case 29:
                return imageDataSize(code, block);
            default:
                return refuseControl(code, kRapiUnknownControl);
        }
    }

    // 0x12200026: the held image of a kind and release, its length
    // announced and its bytes sent as the data phase.
    RapiAnswer releasedData(const RapiRequest& request) const
    {
        if (request.params.size() != kReleasedDataParams)
            return refuse(kRapiBadRecord, kReleasedDataParams);
        const auto kind = fieldAt<std::uint32_t>(request.params, 8);
        const auto sequenceId = fieldAt<std::uint32_t>(request.params, 12);
        const std::vector<std::uint8_t>* image = m_state.held.ofKind(kind);
        if (sequenceId != m_state.held.sequenceId || image == nullptr || image->empty())
            return refuse(kRapiNoImageHeld, kReleasedDataParams);
        RapiAnswer answer;
        appendField(answer.record, static_cast<std::uint32_t>(image->size()));
        answer.record.resize(kReleasedDataParams, 0);
        answer.data = bytesSource(*image);
        return answer;
    }

    // The transfer reset abandons the held image; it gets no reply.
    RapiAnswer resetTransfer()
    {
        m_state.held = HeldImage{};
        RapiAnswer answer;
        answer.replies = false;
        return answer;
    }

    RapiAnswer uiLock(const RapiRequest& request, bool lock)
    {
        if (request.params.size() != 4) return refuse(kRapiBadRecord, 0);
        m_state.uiLocked = lock;
        m_state.uiLockParam = fieldAt<std::uint32_t>(request.params, 0);
        return RapiAnswer{};
    }

private:
    std::size_t extSize() const
    {
        return m_modelId == kModelQ402 || m_modelId == kModelQ611 ? kExtLong : kExtShort;
    }

    RapiAnswer setParams(std::uint32_t code, const std::vector<std::uint8_t>& block)
    {
        if (block.size() != m_state.params.size()) return refuseControl(code, kRapiBadRecord);
        if (!validTriple(block[kParamImageSize], block[kParamFileFormat], block[kParamQuality]) ||
            !allowed(1, fieldAt<std::uint16_t>(block, kParamIso)) ||
            !allowed(2, fieldAt<std::uint16_t>(block, kParamAv)) ||
            !allowed(3, fieldAt<std::uint16_t>(block, kParamTv)))
            return refuseControl(code, kRapiValueRefused);
        std::copy(block.begin(), block.end(), m_state.params.begin());
        return controlReply(code);
    }

    // The request names the size it wants in its first word: 4 for the
    // record's size alone, or the model's whole record.
    RapiAnswer extParams(std::uint32_t code, const std::vector<std::uint8_t>& block) const
    {
        const auto wanted = fieldAt<std::uint32_t>(block, 0);
        if (block.size() < 4 || (wanted != 4 && wanted != extSize()))
            return refuseControl(code, kRapiBadRecord);
        std::vector<std::uint8_t> record(m_state.extParams.begin(),
                                         m_state.extParams.begin() + extSize());
        const auto size = static_cast<std::uint32_t>(extSize());
        std::memcpy(record.data(), &size, sizeof(size));
        record.resize(wanted);
        return controlReply(code, record);
    }

    // Either form is taken from any model; its size word must tell its size,
    // and the camera keeps what its own form holds.
    RapiAnswer setExtParams(std::uint32_t code, const std::vector<std::uint8_t>& block)
    {
        if ((block.size() != kExtShort && block.size() != kExtLong) ||
            fieldAt<std::uint32_t>(block, 0) != block.size())
            return refuseControl(code, kRapiBadRecord);
        std::copy_n(block.begin() + 4, std::min(block.size(), extSize()) - 4,
                    m_state.extParams.begin() + 4);
        return controlReply(code);
    }

    // 27: the size of parameter's values record; 28: the record (count,
    // value type, the 16-bit values). The parameter number comes in 2 or 4
    // bytes, and 27 answers in the same width.
    RapiAnswer values(std::uint32_t code, const std::vector<std::uint8_t>& block) const
    {
        if (block.size() != 2 && block.size() != 4) return refuseControl(code, kRapiBadRecord);
        const std::uint32_t parameter =
            block.size() == 2 ? fieldAt<std::uint16_t>(block, 0) : fieldAt<std::uint32_t>(block, 0);
        const auto found = availableValues().find(parameter);
        if (found == availableValues().end()) return refuseControl(code, kRapiValueRefused);
        std::vector<std::uint8_t> record;
        appendField(record, static_cast<std::uint32_t>(found->second.size()));
        appendField(record, kValuesOf16Bits);
        for (std::uint16_t value : found->second) appendField(record, value);
        if (code == 27)
            return controlReply(code,
                                sized(static_cast<std::uint32_t>(record.size()), block.size()));
        return controlReply(code, record);
    }

    // The bytes the next release of that size, format and quality would
    // make, in the width of the request (a 3-byte answer holds up to
    // 16 MiB, more than any image here): the camera makes the JPEG to know.
    RapiAnswer imageDataSize(std::uint32_t code, const std::vector<std::uint8_t>& block) const
    {
        if (block.size() != 3 && block.size() != 4) return refuseControl(code, kRapiBadRecord);
        if (!validTriple(block[0], block[1], block[2]))
            return refuseControl(code, kRapiValueRefused);
        const Picture picture = kPictures[block[0]];
        const std::size_t jpeg = block[1] != 2 ? demoJpeg(picture.width, picture.height,
                                                          m_state.lastSequenceId + 1 + kSeedBase)
                                                     .size()
                                               : 0;
        const std::size_t raw = block[1] != 1 ? kRawImageSize : 0;
        return controlReply(code, sized(static_cast<std::uint32_t>(jpeg + raw), block.size()));
    }

    RapiAnswer release(std::uint32_t code)
    {
        if (!m_state.active) return refuseControl(code, kRapiNotReleasing);
        if (m_state.availableShots == 0) return refuseControl(code, kRapiNoShotsLeft);
        const std::uint32_t sequenceId = m_state.lastSequenceId + 1;
        HeldImage image = shoot(m_state.params, sequenceId);
        if (m_state.transferMode & kTransferToCard) {
            if (const std::uint32_t error = store(image)) return refuseControl(code, error);
        }
        m_state.lastSequenceId = sequenceId;
        --m_state.availableShots;
        if (m_state.transferMode & kTransferToComputer) {
            if (!image.jpeg.empty())
                m_events.push(eventRecord(kEventJpegHeld,
                                          imageEvent(sequenceId, kImageJpeg, image.jpeg.size())));
            if (!image.raw.empty())
                m_events.push(eventRecord(kEventRawHeld,
                                          imageEvent(sequenceId, kImageRaw, image.raw.size())));
            m_state.held = std::move(image);
        } else {
            m_state.held = HeldImage{};
        }
        return controlReply(code);
    }

    // The image's files go to the first card under the next DCF names: the
    // highest numbered folder of DCIM (100 and the directory suffix on a
    // card without one) and the number after the highest file number there,
    // the JPEG and RAW prefixes in front. Nothing is written unless all fits.
    std::uint32_t store(const HeldImage& image)
    {
        if (m_storage.volumes.empty() || !m_storage.volumes.front().card) return kRapiNoSuchVolume;
        Card& card = *m_storage.volumes.front().card;
        const std::uint32_t now = cameraClock(m_settings);
        CardPath folder = {"DCIM"};
        std::string highest;
        for (const CardEntry& entry : card.children(folder))
            if (entry.directory() && digits(entry.name, 0, 3))
                highest = std::max(highest, entry.name);
        const std::uint64_t bytes = image.jpeg.size() + image.raw.size();
        if (card.used() + bytes > card.capacity()) return kRapiCardFull;
        if (highest.empty()) {
            highest = "100" + cardName(m_settings.suffix);
            if (!card.find(folder) && !card.makeDirectory(folder, now)) return kRapiCardError;
            if (!card.makeDirectory({"DCIM", highest}, now)) return kRapiCardError;
        }
        folder.push_back(highest);
        std::uint32_t number = 0;
        for (const CardEntry& entry : card.children(folder))
            if (!entry.directory() && digits(entry.name, 4, 4))
                number = std::max<std::uint32_t>(
                    number, static_cast<std::uint32_t>(std::stoul(entry.name.substr(4, 4))));
        if (++number > kLastFileNumber) return kRapiNoDcfNumber;
        char digitsText[5];
        std::snprintf(digitsText, sizeof(digitsText), "%04u", static_cast<unsigned>(number));
        const struct {
            const std::vector<std::uint8_t>& bytes;
            const std::string& prefix;
            const char* extension;
            std::uint32_t kind;
        } files[] = {{image.jpeg, m_settings.prefixes[0], ".JPG", kImageJpeg},
                     {image.raw, m_settings.prefixes[1], ".RVX", kImageRaw}};
        for (const auto& file : files) {
            if (file.bytes.empty()) continue;
            CardPath path = folder;
            path.push_back(cardName(file.prefix + digitsText + file.extension));
            if (!card.write(path, file.bytes.data(), file.bytes.size(), false, now))
                return kRapiCardError;
            m_events.push(eventRecord(kEventStoredOnCard,
                                      imageEvent(image.sequenceId, file.kind, file.bytes.size())));
        }
        return 0;
    }

    ReleaseState& m_state;
    StorageState& m_storage;
    const SettingsState& m_settings;
    EventQueue& m_events;
    const std::uint32_t& m_modelId;
};

}  // namespace

const std::vector<std::uint8_t>* HeldImage::ofKind(std::uint32_t kind) const
{
    switch (kind) {
        case kImageJpeg:
            return &jpeg;
        case kImageRaw:
            return &raw;
        case kImageThumbnail:
            return &thumbnail;
        default:
            return nullptr;
    }
}

ReleaseState::ReleaseState()
{
    params[kParamImageSize] = 0;
    params[kParamFileFormat] = 1;
    params[kParamQuality] = 2;
    const std::uint16_t exposure[3] = {0x48, 0x30, 0x68};  // ISO 100, f/5.6, 1/250
    std::memcpy(params.data() + kParamIso, exposure, sizeof(exposure));
    const std::uint32_t head[2] = {static_cast<std::uint32_t>(kExtLong), kExtVersion};
    std::memcpy(extParams.data(), head, sizeof(head));
    const std::uint16_t colour[2] = {5200, 1};  // Kelvin, colour matrix
    std::memcpy(extParams.data() + 40, colour, sizeof(colour));
}

HeldImage shoot(const std::array<std::uint8_t, 48>& params, std::uint32_t sequenceId)
{
    const Picture picture = kPictures[std::min<std::size_t>(params[kParamImageSize], 2)];
    const unsigned seed = sequenceId + kSeedBase;
    const std::uint8_t format = params[kParamFileFormat];
    HeldImage image;
    image.sequenceId = sequenceId;
    if (format != 2) image.jpeg = demoJpeg(picture.width, picture.height, seed);
    if (format != 1) image.raw = rawImage(seed);
    image.thumbnail = demoJpeg(kThumbnailWidth, kThumbnailHeight, seed);
    return image;
}

void registerRelease(RemoteApi& engine, ReleaseState& release, StorageState& storage,
                     const SettingsState& settings, EventQueue& events,
                     const std::uint32_t& modelId)
{
    auto family = std::make_shared<Release>(release, storage, settings, events, modelId);
    engine.define(0x12100025, [family](const RapiRequest& r) { return family->control(r); });
    engine.define(0x12200026, [family](const RapiRequest& r) { return family->releasedData(r); });
    engine.define(0x1110000F, [family](const RapiRequest&) { return family->resetTransfer(); });
    engine.define(0x12100021, [family](const RapiRequest& r) { return family->uiLock(r, true); });
    engine.define(0x12100022, [family](const RapiRequest& r) { return family->uiLock(r, false); });
}

}  // namespace sim
