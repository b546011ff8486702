#include "transfer.h"

#include "interrupt.h"
#include "output.h"
#include "progress.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
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

// The temporary file of a download: removed unless it was placed.
class PartFile {
public:
    explicit PartFile(const fs::path& target)
        : m_path(target.parent_path() / ("." + target.filename().string() + ".dslrctl-part"))
    {
        m_stream.open(m_path, std::ios::binary | std::ios::trunc);
        if (!m_stream) throw LocalError("write", m_path, errno);
    }
    ~PartFile()
    {
        if (m_stream.is_open()) m_stream.close();
        if (!m_placed) {
            std::error_code ignored;
            fs::remove(m_path, ignored);
        }
    }
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    void write(const std::uint8_t* data, std::size_t length)
    {
        errno = 0;
        m_stream.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(length));
        if (!m_stream) throw LocalError("write", m_path, errno != 0 ? errno : EIO);
    }

    // Closes the file with its time and moves it to `target` as `decision`
    // allows; a file that appeared there meanwhile is decided on again.
    // Returns false when it is left (skipped).
    bool place(const fs::path& target, std::time_t time, Decision decision, Existing rule)
    {
        errno = 0;
        m_stream.close();
        if (!m_stream) throw LocalError("write", m_path, errno != 0 ? errno : EIO);
        if (time != 0) {
#ifdef _WIN32
            _utimbuf times{time, time};
            _utime(m_path.string().c_str(), &times);
#else
            utimbuf times{time, time};
            ::utime(m_path.c_str(), &times);
#endif
        }
        if (!placeFile(m_path, target, decision == Decision::Replace)) {
            if (decideExisting(target, rule) == Decision::Skip) return false;
            placeFile(m_path, target, true);
        }
        m_placed = true;
        return true;
    }

private:
    fs::path m_path;
    std::ofstream m_stream;
    bool m_placed = false;
};

// Reads the announced data block by block, handing each to `sink`.
void receive(const Camera& camera, std::uint32_t length, Progress& progress,
             const std::function<void(const std::uint8_t*, std::uint32_t)>& sink)
{
    std::vector<std::uint8_t> block(std::min(length, kReadBlock));
    try {
        for (std::uint32_t done = 0; done < length;) {
            stopIfInterrupted();
            const std::uint32_t count = std::min(length - done, kReadBlock);
            camera.read(block.data(), count);
            sink(block.data(), count);
            done += count;
            progress.update(done);
        }
    } catch (...) {
        // Ctrl-C, or a local failure that ends the transfer early: the
        // camera abandons it, so that the next file can be asked for.
        progress.finish();
        camera.resetTransfer();
        throw;
    }
    progress.finish();
}

// Writes a picture held in memory to `target`; false when skipped.
bool saveBytes(const std::vector<std::uint8_t>& bytes, const fs::path& target, std::time_t time,
               Existing rule)
{
    const Decision decision = decideExisting(target, rule);
    if (decision == Decision::Skip) return false;
    makeDirectories(target.parent_path());
    PartFile part(target);
    part.write(bytes.data(), bytes.size());
    return part.place(target, time, decision, rule);
}

// The places a picture goes when its own cannot take it.
std::vector<fs::path> rescueFolders()
{
    std::error_code error;
    std::vector<fs::path> folders = {fs::current_path(error)};
    const char* temporary = std::getenv("TMPDIR");
    folders.emplace_back(temporary != nullptr && *temporary != '\0' ? temporary : "/tmp");
    return folders;
}

Saved rescue(const std::vector<std::uint8_t>& bytes, const fs::path& target, std::time_t time,
             const std::string& problem)
{
    std::string reasons = problem;
    for (const fs::path& folder : rescueFolders()) {
        try {
            const fs::path place = freeName(folder, target.filename().string());
            saveBytes(bytes, place, time, Existing::Ask);
            return {place.string(), bytes.size(), false, problem};
        } catch (const std::exception& error) {
            reasons += "; " + std::string(error.what());
        }
    }
    throw LocalError("is lost: " + reasons);
}

// After an upload cut off midway: removes the partial file while the camera
// is still there, and says what became of it.
std::string cutOffNote(const Camera& camera, const std::string& destination, std::uint64_t sent)
{
    const std::string list = destination + '\0' + '\0';
    const std::string shown = shownPath(destination);
    const std::string cut = "cut off after " + std::to_string(sent) + " bytes: ";
    if (camera->baseDeleteFiles(list.data()) == vkRN_OK)
        return cut + "the partial file " + shown + " was removed from the camera";
    return cut + "a partial file " + shown + " may be left on the camera";
}

}  // namespace

Saved download(const Camera& camera, const Output& output, const Announce& announce,
               const std::string& target, std::time_t time, const SaveRules& rules, const Job* job)
{
    const fs::path path(target);
    if (rules.rescue) {
        // Held by the camera for this computer only: into memory first, so
        // that a refusal or a full disk here still leaves it somewhere.
        const std::uint32_t length = announce();
        Progress progress(output, path.filename().string(), length, job);
        std::vector<std::uint8_t> bytes;
        // The length is the camera's word: room grows with what arrives.
        bytes.reserve(std::min(length, kReadBlock * 64));
        receive(camera, length, progress,
                [&](const std::uint8_t* data, std::uint32_t count) { bytes.insert(bytes.end(), data, data + count); });
        try {
            if (!saveBytes(bytes, path, time, rules.existing)) return {"", 0, true, ""};
        } catch (const LocalError& error) {
            return rescue(bytes, path, time, error.what());
        }
        return {target, length, false, ""};
    }
    const Decision decision = decideExisting(path, rules.existing);
    if (decision == Decision::Skip) return {"", 0, true, ""};
    makeDirectories(path.parent_path());
    PartFile part(path);
    const std::uint32_t length = announce();
    Progress progress(output, path.filename().string(), length, job);
    receive(camera, length, progress,
            [&](const std::uint8_t* data, std::uint32_t count) { part.write(data, count); });
    if (!part.place(path, time, decision, rules.existing)) return {"", 0, true, ""};
    return {target, length, false, ""};
}

std::uint64_t upload(const Camera& camera, const Output& output, const std::string& source,
                     const std::string& destination)
{
    std::ifstream in(source, std::ios::binary);
    if (!in) throw LocalError("read", source, errno);
    const std::uint64_t total = fs::file_size(source);
    Progress progress(output, fs::path(source).filename().string(), total);
    std::vector<char> block(kWriteBlock);
    std::uint64_t done = 0;
    // The first block creates the file (or replaces it), the others append.
    // A failure or Ctrl-C after the first block deletes what reached the
    // camera, so that no partial file stays on the card either.
    const std::string shown = shownPath(destination);
    try {
        do {
            stopIfInterrupted();
            in.read(block.data(), kWriteBlock);
            const auto count = static_cast<std::uint32_t>(in.gcount());
            if (count == 0 && done != 0) break;
            const std::uint32_t result =
                camera->basePutFile(destination.c_str(), count, done == 0 ? 0 : 1, block.data());
            if (result != vkRN_OK)
                throw CameraError("upload to " + shown, result,
                                  done == 0 ? "" : cutOffNote(camera, destination, done));
            done += count;
            progress.update(done);
        } while (done < total);
    } catch (const Interrupted&) {
        progress.finish();
        if (done != 0) output.error(cutOffNote(camera, destination, done));
        throw;
    }
    progress.finish();
    return done;
}

}  // namespace dslrctl
