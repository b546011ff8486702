// ISO speed, aperture and shutter speed as photographers write them, and the
// camera's codes for them: exposure values in eighths of a stop.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace dslrctl {

enum class Exposure { iso, aperture, shutter };

// A code with its nominal value ("ISO 400", "f/5.6", "1/250", "2\"").
struct ExposureStop {
    std::uint16_t code;
    std::string name;
    double value;  // ISO speed, f-number or seconds, as the name says
};

// Every whole and third stop the tool has a name for, in code order.
const std::vector<ExposureStop>& exposureStops(Exposure kind);
// The value the rule gives a code: exact, not rounded to a nominal one.
double exactValue(Exposure kind, std::uint16_t code);
// "f/5.6"; a code between the named stops is shown as its hex code.
std::string exposureName(Exposure kind, std::uint16_t code);
// "400", "ISO 400", "f/5.6", "5.6", "1/250", "0.5", "2\"", "2s": the code of a
// named stop. Empty when the text names none (hex codes are the caller's).
std::optional<std::uint16_t> parseExposure(Exposure kind, const std::string& text);

}  // namespace dslrctl
