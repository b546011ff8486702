// ls, get, get-all, put, rm, mkdir and format: the camera's cards.

#include "camera.h"
#include "camera_checks.h"
#include "commands.h"
#include "transfer.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace dslrctl {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

std::string attributeText(const Entry& entry)
{
    std::string text = entry.directory() ? "d" : "-";
    text += (entry.attributes & 0x01) != 0 ? "r" : "w";
    text += (entry.attributes & 0x20) != 0 ? "a" : "-";
    return text;
}

json entryJson(const Entry& entry)
{
    return {{"path", shownPath(entry.path)},
            {"type", entry.directory() ? "directory" : "file"},
            {"size", entry.size},
            {"time", isoTime(entry.time)},
            {"attributes", entry.attributes},
            {"read_only", (entry.attributes & 0x01) != 0}};
}

std::string entryLine(const Entry& entry)
{
    char size[16];
    std::snprintf(size, sizeof(size), "%10u", static_cast<unsigned>(entry.size));
    return attributeText(entry) + " " + size + "  " + isoTime(entry.time) + "  " + shownPath(entry.path);
}

std::vector<std::string> volumeRoots(const Camera& camera)
{
    std::vector<std::string> roots;
    for (const Volume& volume : camera.volumes()) roots.push_back(volume.name + ":\\");
    return roots;
}

// A path list of one path: the path, then the empty string that ends it.
std::string pathList(const std::string& path) { return path + '\0' + '\0'; }

// The host file a card file goes to under `directory`: VOLUME/FOLDERS/NAME,
// never outside it, whatever name the camera gives.
fs::path hostPathOf(const fs::path& directory, const std::string& path)
{
    const std::optional<fs::path> target = hostPathUnder(directory, path);
    if (!target)
        throw std::runtime_error("the camera names a file " + shownPath(path) +
                                 " that would be written outside " + directory.string() +
                                 "; not saved");
    return *target;
}

struct Totals {
    std::uint64_t files = 0, bytes = 0, skipped = 0;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::string text() const
    {
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        char rate[64];
        std::snprintf(rate, sizeof(rate), " in %.2f s", seconds);
        return std::to_string(files) + " files, " + byteCount(bytes) + rate +
               (skipped != 0 ? ", " + std::to_string(skipped) + " already there" : "");
    }
};

json downloadEntry(const Camera& camera, const Output& output, const Entry& entry,
                   const fs::path& target, Totals& totals)
{
    const std::string path = entry.path;
    const std::uint64_t bytes = download(
        camera, output,
        [&] {
            std::uint32_t length = 0;
            Camera::check("baseGetFile", camera->baseGetFile(path.c_str(), &length));
            checkAnnouncedLength(camera, shownPath(path), length, entry.size);
            return length;
        },
        target.string(), entry.time);
    totals.files += 1;
    totals.bytes += bytes;
    output.text(shownPath(path) + " -> " + target.string() + " (" + byteCount(bytes) + ")");
    return {{"path", shownPath(path)}, {"saved", target.string()}, {"bytes", bytes}};
}

}  // namespace

int runList(const Options& options, const Output& output)
{
    Camera camera(options.port);
    std::vector<std::string> paths;
    for (const std::string& path : options.paths) paths.push_back(cameraPath(path));
    if (paths.empty()) paths = volumeRoots(camera);
    json entries = json::array();
    for (const std::string& path : paths) {
        Entry self;
        if (!camera.stat(path, self)) throw CameraError("baseGetDirs(" + shownPath(path) + ")", 0x02000201u);
        const std::vector<Entry> found =
            self.directory() ? camera.list(path, options.recursive ? 63 : 1) : std::vector<Entry>{self};
        for (const Entry& entry : found) {
            output.text(entryLine(entry));
            entries.push_back(entryJson(entry));
        }
    }
    output.document({{"entries", entries}});
    return 0;
}

int runGet(const Options& options, const Output& output)
{
    Camera camera(options.port);
    Totals totals;
    json files = json::array();
    for (const std::string& given : options.paths) {
        const std::string path = cameraPath(given);
        Entry entry;
        if (!camera.stat(path, entry)) throw CameraError("baseGetFile(" + shownPath(path) + ")", 0x02000201u);
        if (entry.directory())
            throw UsageError(shownPath(path) + " is a directory (get-all downloads everything)");
        entry.path = path;
        files.push_back(downloadEntry(camera, output, entry,
                                      fs::path(options.outputDir) / baseName(path), totals));
    }
    output.detail(totals.text());
    output.document({{"files", files}});
    return 0;
}

int runGetAll(const Options& options, const Output& output)
{
    Camera camera(options.port);
    Totals totals;
    json files = json::array();
    for (const std::string& root : volumeRoots(camera)) {
        for (const Entry& entry : camera.list(root, 63)) {
            if (entry.directory()) continue;
            const fs::path target = hostPathOf(options.outputDir, entry.path);
            std::error_code missing;
            if (options.skipExisting && fs::file_size(target, missing) == entry.size && !missing) {
                totals.skipped += 1;
                output.detail("already there: " + target.string());
                files.push_back({{"path", shownPath(entry.path)}, {"saved", target.string()},
                                 {"bytes", entry.size}, {"skipped", true}});
                continue;
            }
            files.push_back(downloadEntry(camera, output, entry, target, totals));
        }
    }
    output.text(totals.text());
    output.document({{"files", files}, {"count", totals.files}, {"bytes", totals.bytes},
                     {"skipped", totals.skipped}});
    return 0;
}

int runPut(const Options& options, const Output& output)
{
    const std::string& source = options.paths[0];
    std::error_code error;
    if (!fs::is_regular_file(source, error)) throw UsageError("no such file: " + source);
    Camera camera(options.port);
    std::string destination = cameraPath(options.paths[1]);
    Entry entry;
    if (destination.back() == '\\' || (camera.stat(destination, entry) && entry.directory())) {
        std::string name = fs::path(source).filename().string();
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        destination += (destination.back() == '\\' ? "" : "\\") + name;
    }
    const std::uint64_t bytes = upload(camera, output, source, destination);
    output.text(source + " -> " + shownPath(destination) + " (" + byteCount(bytes) + ")");
    output.document({{"source", source}, {"path", shownPath(destination)}, {"bytes", bytes}});
    return 0;
}

int runRemove(const Options& options, const Output& output)
{
    Camera camera(options.port);
    json removed = json::array();
    for (const std::string& given : options.paths) {
        const std::string path = cameraPath(given);
        const std::string list = pathList(path);
        Camera::check("baseDeleteFiles", camera->baseDeleteFiles(list.data()));
        output.text("removed " + shownPath(path));
        removed.push_back(shownPath(path));
    }
    output.document({{"removed", removed}});
    return 0;
}

int runMakeDirectory(const Options& options, const Output& output)
{
    Camera camera(options.port);
    const std::string path = cameraPath(options.paths[0]);
    Camera::check("basecreateDir", camera->basecreateDir(path.c_str()));
    output.text("created " + shownPath(path));
    output.document({{"created", shownPath(path)}});
    return 0;
}

int runFormat(const Options& options, const Output& output)
{
    std::string volume = options.paths[0];
    std::transform(volume.begin(), volume.end(), volume.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (!volume.empty() && volume.back() == ':') volume.pop_back();
    if (volume.empty() || volume.find_first_of(":/\\") != std::string::npos)
        throw UsageError("format takes a volume name, such as ATA02");
    if (!options.yes) {
        std::cerr << "Erase every file on " << volume << "? [y/N] " << std::flush;
        std::string answer;
        if (!std::getline(std::cin, answer) || (answer != "y" && answer != "yes")) {
            output.error(volume + " not formatted");
            return 1;
        }
    }
    Camera camera(options.port);
    Camera::check("baseFormatVol", camera->baseFormatVol(volume.c_str(), 0));
    output.text("formatted " + volume);
    output.document({{"formatted", volume}});
    return 0;
}

}  // namespace dslrctl
