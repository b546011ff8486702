// Card operations through a device object's slots, as a host program does
// them: a directory listing read and parsed, a file read in parts, and the
// lists of paths the file operations take.
#pragma once

#include "VKRNQ402.h"
#include "support/bytes.h"

#include <initializer_list>
#include <string>

struct Listed {
    std::uint16_t attributes;
    std::uint32_t size;
    std::uint32_t time;
    std::string path;
};

// A directory-subtree request: depth byte, path, the second string where
// there is one, and the end of the list.
Bytes subtreeRequest(std::uint8_t depth, const std::string& path, const std::string& second = "");

// The entries of a listing, up to the end entry.
std::vector<Listed> listCard(DslrObject* slots, const std::string& path, std::uint8_t depth = 0x3F);

// A file announced and read in parts of `part` bytes (all of it at once for
// 0); its parsing header instead where asked.
Bytes downloadFile(DslrObject* slots, const std::string& path, std::size_t part = 0,
                   bool header = false);

// A file sent up in blocks of 0xFF00 bytes (the first call creates it, the
// others append); the first result that is not success, or success.
std::uint32_t uploadFile(DslrObject* slots, const std::string& path, const Bytes& data);

// A path list of the given strings and the final empty one.
std::string pathList(std::initializer_list<std::string> strings);
