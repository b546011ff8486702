#include "support/host_files.h"

#include "support/fake_device.h"

#include <fstream>
#include <iterator>
#include <random>

fs::path scratchFolder(const std::string& name)
{
    fs::path path = fs::temp_directory_path() / uniqueName(name);
    fs::create_directories(path);
    return path;
}

void writeHostFile(const fs::path& path, std::size_t size, unsigned seed)
{
    fs::create_directories(path.parent_path());
    std::string data(size, '\0');
    std::mt19937 random(seed);
    for (char& c : data) c = static_cast<char>(random());
    std::ofstream(path, std::ios::binary) << data;
}

std::string hostBytes(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
