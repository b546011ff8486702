#include "transfer.h"

#include "interrupt.h"
#include "output.h"
#include "progress.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#ifdef _WIN32
#include <sys/utime.h>
#else
#include <utime.h>
#endif

namespace dslrctl {

namespace fs = std::filesystem;

namespace {

// Large reads keep the camera busy; each is short enough for Ctrl-C and the
// progress display to follow closely.
constexpr std::uint32_t kReadBlock = 256 * 1024;

// The temporary file of a download: removed unless it was renamed.
class PartFile {
public:
    explicit PartFile(const fs::path& target)
        : m_path(target.parent_path() / ("." + target.filename().string() + ".dslrctl-part"))
    {
        m_stream.open(m_path, std::ios::binary | std::ios::trunc);
        if (!m_stream) throw std::runtime_error("cannot write " + m_path.string());
    }
    ~PartFile()
    {
        if (m_stream.is_open()) m_stream.close();
        if (!m_kept) {
            std::error_code ignored;
            fs::remove(m_path, ignored);
        }
    }
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    void write(const std::uint8_t* data, std::size_t length)
    {
        m_stream.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(length));
        if (!m_stream) throw std::runtime_error("cannot write " + m_path.string());
    }

    void keepAs(const fs::path& target, std::time_t time)
    {
        m_stream.close();
        if (!m_stream) throw std::runtime_error("cannot write " + m_path.string());
        if (time != 0) {
#ifdef _WIN32
            _utimbuf times{time, time};
            _utime(m_path.string().c_str(), &times);
#else
            utimbuf times{time, time};
            ::utime(m_path.c_str(), &times);
#endif
        }
        fs::rename(m_path, target);
        m_kept = true;
    }

private:
    fs::path m_path;
    std::ofstream m_stream;
    bool m_kept = false;
};

}  // namespace

std::uint64_t download(const Camera& camera, const Output& output, const Announce& announce,
                       const std::string& target, std::time_t time)
{
    const fs::path path(target);
    if (path.has_parent_path()) fs::create_directories(path.parent_path());
    PartFile part(path);
    const std::uint32_t length = announce();
    Progress progress(output, path.filename().string(), length);
    std::vector<std::uint8_t> block(std::min(length, kReadBlock));
    try {
        for (std::uint32_t done = 0; done < length;) {
            stopIfInterrupted();
            const std::uint32_t count = std::min(length - done, kReadBlock);
            camera.read(block.data(), count);
            part.write(block.data(), count);
            done += count;
            progress.update(done);
        }
    } catch (const Interrupted&) {
        progress.finish();
        camera.resetTransfer();
        throw;
    }
    progress.finish();
    part.keepAs(path, time);
    return length;
}

std::uint64_t upload(const Camera& camera, const Output& output, const std::string& source,
                     const std::string& destination)
{
    std::ifstream in(source, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + source);
    const std::uint64_t total = fs::file_size(source);
    Progress progress(output, fs::path(source).filename().string(), total);
    std::vector<char> block(kWriteBlock);
    std::uint64_t done = 0;
    // The first block creates the file (or replaces it), the others append.
    // A failure or Ctrl-C after the first block deletes what reached the
    // camera, so that no partial file stays on the card either.
    try {
        do {
            stopIfInterrupted();
            in.read(block.data(), kWriteBlock);
            const auto count = static_cast<std::uint32_t>(in.gcount());
            if (count == 0 && done != 0) break;
            Camera::check("basePutFile", camera->basePutFile(destination.c_str(), count,
                                                              done == 0 ? 0 : 1, block.data()));
            done += count;
            progress.update(done);
        } while (done < total);
    } catch (...) {
        progress.finish();
        if (done != 0) {
            const std::string list = destination + '\0' + '\0';
            camera->baseDeleteFiles(list.data());
        }
        throw;
    }
    progress.finish();
    return done;
}

}  // namespace dslrctl
