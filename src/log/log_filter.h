// Which records the debug flag word lets through, and the marker each record
// carries. Both are decided on the formatted message.
#pragma once

#include <cstdint>

bool LogFilter_Passes(std::uint32_t flags, std::uint32_t level, const char* message);
const char* LogFilter_Marker(std::uint32_t level, const char* message);
