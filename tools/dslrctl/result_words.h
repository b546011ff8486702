// Result codes in words, for messages a person reads.
#pragma once

#include <cstdint>
#include <string>

namespace dslrctl {

// "invalid parameter", "no such file or directory on the card", ...
std::string resultWords(std::uint32_t code);

// "baseGetFile failed: 0x02000060, invalid parameter"
std::string failureText(const std::string& operation, std::uint32_t code);

}  // namespace dslrctl
