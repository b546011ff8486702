// The camera's image-processing family of Remote API commands: develop
// parameters, gamma look-up tables, direct and parameterised white balance,
// custom functions, personal functions (fixed and extended), user colour
// matrices, JPEG quality and white-balance shift. Records are kept in the
// layout of the connected model; a record of the other generation is
// refused, and so are values the camera has no setting for.
#pragma once

#include "sim/remote_api.h"

#include <cstdint>
#include <map>
#include <vector>

namespace sim {

using Record = std::vector<std::uint8_t>;

struct ImageParamsState {
    // Records by selector, selector word included, as a get would answer
    // them after the selector. A selector with no record, or with one of
    // another model's layout (the model changed), answers its factory record.
    std::map<std::uint32_t, Record> develop;          // selectors 1 to 3
    std::map<std::uint32_t, Record> gamma;            // 1 to 3
    std::map<std::uint32_t, Record> whiteBalance;     // 1 to 3
    std::map<std::uint32_t, Record> colorMatrix;      // 1 to 7; 6 and 7 are the user's
    std::map<std::uint32_t, Record> customFunctions;  // 64-byte blocks, selectors 0 to 15
    std::uint32_t kelvin = 5500;
    Record personalFunctions;    // 114 bytes
    Record personalFunctionsEx;  // wNumOfItems and the item chain
    Record jpegQuality;          // 4 16-bit qualities
    Record whiteBalanceShift;    // 8 bytes, passed through
};

// The camera as it leaves the factory (the records that do not depend on the
// model; the others are made for the model when first asked for).
ImageParamsState defaultImageParams();

// The camera refuses a value it has no setting for (a selector, a field out
// of its range, a preset colour matrix) with this error.
constexpr std::uint32_t kRapiOutOfRange = 0x00A50401;

// The size of a family's record for a model (0 when the model has none), by
// the family's get command.
std::size_t imageRecordSize(std::uint32_t getCommand, std::uint32_t modelId);

// Whether an extended personal-function record is a sound chain: items of
// at least their 14-byte head, each holding its values, ending exactly at the
// record's end.
bool soundPersonalChain(const Record& record);

// Registers the family's handlers, which keep their state in `state` and
// read the model through `modelId`; both must outlive the engine.
void registerImageParams(RemoteApi& engine, ImageParamsState& state, const std::uint32_t& modelId);

}  // namespace sim
