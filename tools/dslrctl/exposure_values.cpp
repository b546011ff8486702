#include "exposure_values.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace dslrctl {

namespace {

// One stop is eight steps of the code. A third of a stop is 3 steps, two
// thirds 5, so that a third-stop dial lands on whole codes.
constexpr int kStep = 8;
constexpr int kThirds[3] = {0, 3, 5};

// The code of the first named stop, and the nominal values from there on in
// thirds of a stop (rounded as cameras and light meters print them).
struct Series {
    int firstCode;
    std::vector<double> values;
};

const Series& seriesOf(Exposure kind)
{
    // ISO 100 is 0x48; a stop up doubles the speed.
    static const Series iso{0x40, {50,   64,   80,   100,   125,   160,   200,   250,  320,  400,
                                   500,  640,  800,  1000,  1250,  1600,  2000,  2500, 3200, 4000,
                                   5000, 6400, 8000, 10000, 12800, 16000, 20000, 25600}};
    // f/5.6 is 0x30; a stop up closes the aperture by a factor of sqrt(2).
    static const Series aperture{
        0x10, {1.4, 1.6, 1.8, 2,  2.2, 2.5, 2.8, 3.2, 3.5, 4,  4.5, 5,  5.6, 6.3,
               7.1, 8,   9,   10, 11,  13,  14,  16,  18,  20, 22,  25, 29,  32}};
    // 1/250 s is 0x68; a stop up halves the time.
    static const Series shutter{
        0x00, {30,         25,         20,         15,         13,         10,         8,
               6,          5,          4,          3.2,        2.5,        2,          1.6,
               1.3,        1,          0.8,        0.6,        0.5,        0.4,        0.3,
               1.0 / 4,    1.0 / 5,    1.0 / 6,    1.0 / 8,    1.0 / 10,   1.0 / 13,   1.0 / 15,
               1.0 / 20,   1.0 / 25,   1.0 / 30,   1.0 / 40,   1.0 / 50,   1.0 / 60,   1.0 / 80,
               1.0 / 100,  1.0 / 125,  1.0 / 160,  1.0 / 200,  1.0 / 250,  1.0 / 320,  1.0 / 400,
               1.0 / 500,  1.0 / 640,  1.0 / 800,  1.0 / 1000, 1.0 / 1250, 1.0 / 1600, 1.0 / 2000,
               1.0 / 2500, 1.0 / 3200, 1.0 / 4000, 1.0 / 5000, 1.0 / 6400, 1.0 / 8000}};
    switch (kind) {
        case Exposure::iso:
            return iso;
        case Exposure::aperture:
            return aperture;
        default:
            return shutter;
    }
}

std::string nominalName(Exposure kind, double value)
{
    char text[32];
    if (kind == Exposure::iso)
        std::snprintf(text, sizeof(text), "ISO %.0f", value);
    else if (kind == Exposure::aperture)
        std::snprintf(text, sizeof(text), "f/%g", value);
    else if (value < 0.3)
        std::snprintf(text, sizeof(text), "1/%.0f", 1 / value);
    else
        std::snprintf(text, sizeof(text), "%g\"", value);
    return text;
}

// A whole decimal number, nothing after it.
std::optional<double> number(const std::string& text)
{
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos) return {};
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (*end != '\0' || !(value > 0)) return {};
    return value;
}

std::string withoutPrefix(const std::string& text, const char* prefix)
{
    const std::size_t n = std::char_traits<char>::length(prefix);
    if (text.size() <= n) return text;
    for (std::size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i]) return text;
    return text.substr(n);
}

// The value a photographer's text says, in the unit of the kind.
std::optional<double> writtenValue(Exposure kind, std::string text)
{
    if (kind == Exposure::iso) return number(withoutPrefix(withoutPrefix(text, "iso "), "iso"));
    if (kind == Exposure::aperture) return number(withoutPrefix(withoutPrefix(text, "f/"), "f"));
    const std::size_t slash = text.find('/');
    if (slash != std::string::npos) {
        const auto over = number(text.substr(0, slash)), under = number(text.substr(slash + 1));
        if (!over || !under) return {};
        return *over / *under;
    }
    if (!text.empty() && (text.back() == '"' || text.back() == 's')) text.pop_back();
    return number(text);
}

}  // namespace

const std::vector<ExposureStop>& exposureStops(Exposure kind)
{
    static const auto build = [](Exposure k) {
        const Series& series = seriesOf(k);
        std::vector<ExposureStop> stops;
        for (std::size_t i = 0; i < series.values.size(); ++i) {
            const int code = series.firstCode + static_cast<int>(i / 3) * kStep + kThirds[i % 3];
            stops.push_back({static_cast<std::uint16_t>(code), nominalName(k, series.values[i]),
                             series.values[i]});
        }
        return stops;
    };
    static const std::vector<ExposureStop> tables[3] = {
        build(Exposure::iso), build(Exposure::aperture), build(Exposure::shutter)};
    return tables[static_cast<int>(kind)];
}

double exactValue(Exposure kind, std::uint16_t code)
{
    // Stops from the reference points of the codes: ISO 100, f/1 and 1 s.
    switch (kind) {
        case Exposure::iso:
            return 100 * std::exp2((code - 0x48) / double(kStep));
        case Exposure::aperture:
            return std::exp2((code - 0x08) / double(2 * kStep));
        default:
            return std::exp2(-(code - 0x28) / double(kStep));
    }
}

std::string exposureName(Exposure kind, std::uint16_t code)
{
    for (const ExposureStop& stop : exposureStops(kind))
        if (stop.code == code) return stop.name;
    char hex[16];
    std::snprintf(hex, sizeof(hex), "0x%02X", static_cast<unsigned>(code));
    return hex;
}

std::optional<std::uint16_t> parseExposure(Exposure kind, const std::string& text)
{
    const std::optional<double> value = writtenValue(kind, text);
    if (!value) return {};
    // A stop is taken by its nominal value as written (1/125, not the 1/128
    // s it stands for); the margin only absorbs decimals such as 0.0080. The
    // nearest neighbours (f/5 and f/5.6) are 11 % apart, f/5.5 is neither.
    for (const ExposureStop& stop : exposureStops(kind))
        if (std::fabs(std::log(*value / stop.value)) < 0.005) return stop.code;
    return {};
}

}  // namespace dslrctl
