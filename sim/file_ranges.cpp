#include "sim/file_ranges.h"

#include <memory>

#ifdef _WIN32
#include <fstream>
#else
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace sim {

#ifdef _WIN32

RangeReader openFileRanges(const std::filesystem::path& path)
{
    auto in = std::make_shared<std::ifstream>(path, std::ios::binary);
    if (!*in) return {};
    return [in](std::uint64_t offset, std::uint8_t* out, std::size_t count) {
        in->clear();
        in->seekg(static_cast<std::streamoff>(offset));
        in->read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(count));
        return static_cast<std::size_t>(in->gcount()) == count;
    };
}

#else

namespace {

struct OpenFile {
    explicit OpenFile(int descriptor) : fd(descriptor) {}
    ~OpenFile() { ::close(fd); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    const int fd;
};

}  // namespace

RangeReader openFileRanges(const std::filesystem::path& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return {};
    auto file = std::make_shared<const OpenFile>(fd);
    return [file](std::uint64_t offset, std::uint8_t* out, std::size_t count) {
        while (count > 0) {
            const ssize_t got = ::pread(file->fd, out, count, static_cast<off_t>(offset));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return false;  // an error, or the file ends early
            out += got;
            offset += static_cast<std::uint64_t>(got);
            count -= static_cast<std::size_t>(got);
        }
        return true;
    };
}

#endif

}  // namespace sim
