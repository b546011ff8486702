// Files on the host side of a card backed by a directory: scratch folders,
// files of pseudo-random bytes, and whole files read back for comparison.
#pragma once

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

// A fresh folder under the system's temporary folder.
fs::path scratchFolder(const std::string& name);
// A file of `size` bytes that depend on `seed`, its folders made as needed.
void writeHostFile(const fs::path& path, std::size_t size, unsigned seed);
std::string hostBytes(const fs::path& path);
