#include "camera_checks.h"

#include "VKRNQ402.h"

#include <cstring>
#include <stdexcept>

namespace dslrctl {

namespace fs = std::filesystem;

namespace {

// A part that names one entry inside its folder and nothing else.
bool plainPart(const std::string& part)
{
    return !part.empty() && part != "." && part != ".." &&
           part.find_first_of(std::string("/\\:\0", 4)) == std::string::npos;
}

bool imageEventFits(const CameraEvent& event)
{
    // The packed record, or the same padded to whole words.
    if (event.parameters.size() < sizeof(dsIMAGE_NOTIFY) || event.parameters.size() > 12)
        return false;
    const std::uint8_t format = event.parameters[4];  // 1 JPEG, 2 RAW
    if (event.id == kEventJpegHeld) return format == 1;
    if (event.id == kEventRawHeld) return format == 2;
    return format == 1 || format == 2;
}

}  // namespace

std::optional<fs::path> hostPathUnder(const fs::path& directory, const std::string& path)
{
    const std::string shown = shownPath(path);
    const std::size_t colon = shown.find(':');
    if (colon == std::string::npos || !plainPart(shown.substr(0, colon))) return std::nullopt;
    fs::path result = directory / shown.substr(0, colon);
    bool named = false;
    for (std::size_t at = colon + 1; at < shown.size();) {
        const std::size_t end = std::min(shown.find('/', at), shown.size());
        const std::string part = shown.substr(at, end - at);
        at = end + 1;
        if (part.empty()) continue;  // a doubled separator
        if (!plainPart(part)) return std::nullopt;
        result /= part;
        named = true;
    }
    if (!named) return std::nullopt;
    return result;
}

void checkAnnouncedLength(const Camera& camera, const std::string& what, std::uint32_t announced,
                          std::uint64_t expected)
{
    if (announced == expected) return;
    camera.resetTransfer();
    throw std::runtime_error(what + ": the camera announced " + std::to_string(announced) +
                             " bytes for a file of " + std::to_string(expected) + "; not saved");
}

void checkListingLength(const Camera& camera, std::uint32_t announced)
{
    constexpr std::uint32_t kLongestListing = 64u << 20;
    if (announced <= kLongestListing) return;
    camera.resetTransfer();
    throw std::runtime_error("the camera announced a listing of " + std::to_string(announced) +
                             " bytes, more than any card holds; not read");
}

bool wellFormedEvent(const CameraEvent& event)
{
    const std::size_t size = event.parameters.size();
    switch (event.id) {
        case kEventJpegHeld:
        case kEventRawHeld:
        case kEventStored:
            return imageEventFits(event);
        case kEventNumbers:
            return size == 4 || size == 8;
        case kEventNumber:
            return size == 4;
        case kEventLost:
            return size == 0;
        default:
            return size <= kLongestEventParameters;
    }
}

}  // namespace dslrctl
