// dslrctl's exposure table: the photographers' names of the camera's codes.

#ifdef DSLRCTL_PATH

#include "dslrctl/exposure_values.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using dslrctl::Exposure;

// Each named stop lies within one step of the value its code stands for,
// and reads back to its code; then the spellings people type.
TEST(ExposureValues, NamesAndSpellingsFindTheirCodes)
{
    for (Exposure kind : {Exposure::iso, Exposure::aperture, Exposure::shutter}) {
        // An f-number grows by a factor of two over two stops.
        const double stepsPerDoubling = kind == Exposure::aperture ? 16 : 8;
        for (const dslrctl::ExposureStop& stop : dslrctl::exposureStops(kind)) {
            SCOPED_TRACE(stop.name);
            EXPECT_LT(std::fabs(stepsPerDoubling *
                                std::log2(stop.value / dslrctl::exactValue(kind, stop.code))),
                      1.0);
            EXPECT_EQ(dslrctl::parseExposure(kind, stop.name), stop.code);
            EXPECT_EQ(dslrctl::exposureName(kind, stop.code), stop.name);
        }
    }
    struct Row {
        Exposure kind;
        const char* text;
        int code;  // -1: no stop
    };
    const Row rows[] = {
        {Exposure::iso, "400", 0x58},        {Exposure::iso, "ISO 100", 0x48},
        {Exposure::iso, "iso1600", 0x68},    {Exposure::iso, "125", 0x4B},
        {Exposure::aperture, "f/5.6", 0x30}, {Exposure::aperture, "5.6", 0x30},
        {Exposure::aperture, "F22", 0x50},   {Exposure::aperture, "f/1.4", 0x10},
        {Exposure::aperture, "f/32", 0x58},  {Exposure::shutter, "1/250", 0x68},
        {Exposure::shutter, "1/160", 0x63},  {Exposure::shutter, "1/8000", 0x90},
        {Exposure::shutter, "0.5", 0x30},    {Exposure::shutter, "2\"", 0x20},
        {Exposure::shutter, "30s", 0x00},    {Exposure::iso, "450", -1},
        {Exposure::iso, "0x48", -1},         {Exposure::aperture, "f/5.5", -1},
        {Exposure::aperture, "", -1},        {Exposure::shutter, "1/256", -1},
        {Exposure::shutter, "1/", -1},       {Exposure::shutter, "-1/250", -1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        const auto code = dslrctl::parseExposure(row.kind, row.text);
        EXPECT_EQ(code ? int{*code} : -1, row.code);
    }
    EXPECT_EQ(dslrctl::exposureName(Exposure::aperture, 0x31), "0x31");
}

}  // namespace

#endif
