// ls, get, get-all, put, rm, mkdir and format: the camera's cards.

#include "camera.h"
#include "camera_checks.h"
#include "commands.h"
#include "file_selection.h"
#include "progress.h"
#include "result_words.h"
#include "transfer.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <cstring>
#include <iostream>
#include <stdexcept>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

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

// "#12   " before a file when listings are numbered; blank before a folder.
std::string numberColumn(bool numbered, const json& record)
{
    if (!numbered) return "";
    char text[16] = "";
    if (record.contains("number"))
        std::snprintf(text, sizeof(text), "#%zu", record["number"].get<std::size_t>());
    std::snprintf(text + std::strlen(text), sizeof(text) - std::strlen(text), "%*s",
                  static_cast<int>(6 - std::min<std::size_t>(std::strlen(text), 5)), "");
    return text;
}

bool inputIsTerminal()
{
#ifdef _WIN32
    return _isatty(0) != 0;
#else
    return isatty(0) != 0;
#endif
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
        return std::to_string(files) + (files == 1 ? " file, " : " files, ") + byteCount(bytes) + rate +
               (skipped != 0 ? ", " + std::to_string(skipped) + " already there" : "");
    }
};

json downloadEntry(const Camera& camera, const Output& output, const Entry& entry,
                   const fs::path& target, const SaveRules& rules, Totals& totals, const Job* job = nullptr)
{
    const std::string path = entry.path;
    const Saved saved = download(
        camera, output,
        [&] {
            std::uint32_t length = 0;
            Camera::check("baseGetFile", camera->baseGetFile(path.c_str(), &length));
            checkAnnouncedLength(camera, shownPath(path), length, entry.size);
            return length;
        },
        target.string(), entry.time, rules, job);
    if (saved.skipped) {
        totals.skipped += 1;
        output.detail("already there, left as it was: " + target.string());
        return {{"path", shownPath(path)}, {"saved", target.string()}, {"bytes", 0}, {"skipped", true}};
    }
    totals.files += 1;
    totals.bytes += saved.bytes;
    output.text(shownPath(path) + " -> " + saved.path + " (" + byteCount(saved.bytes) + ")");
    return {{"path", shownPath(path)}, {"saved", saved.path}, {"bytes", saved.bytes}};
}

// The failures of a command with several paths: each is said with its path
// as it happens, and the command goes on with the next path.
struct Failures {
    json list = json::array();
    std::string firstReason;  // the first failure, for the summary

    // Runs `job` for the path `shown`; false after a failure. A camera
    // failure names the operation in words, the path and the code.
    template <typename Work>
    bool run(const Output& output, const std::string& operation, const std::string& shown, Work&& job)
    {
        std::string message, reason;
        try {
            job();
            return true;
        } catch (const CameraError& error) {
            message = std::string(error.what()).find(shown) != std::string::npos
                          ? error.what()
                          : failureText(operation + " " + shown, error.code());
            reason = resultWords(error.code());
            lost = lost || error.code() == vkRNERROR_DEVICE_NOT_AVAILABLE;
        } catch (const std::exception& error) {  // LocalError, UsageError
            message = reason = error.what();
        }
        output.error(message);
        list.push_back({{"path", shown}, {"error", message}});
        if (firstReason.empty()) firstReason = shown + ": " + reason;
        return false;
    }
    bool lost = false;  // the camera went away: no use trying further paths
    int status() const { return list.empty() ? 0 : 1; }
};

}  // namespace

int runList(const Options& options, const Output& output)
{
    Camera camera(options.port);
    std::vector<std::string> paths;
    for (const std::string& path : options.paths) paths.push_back(cameraPath(path));
    if (paths.empty()) paths = volumeRoots(camera);
    const std::map<std::string, std::size_t> numbers =
        options.numbered ? fileNumbers(camera) : std::map<std::string, std::size_t>{};
    json entries = json::array();
    for (const std::string& path : paths) {
        Entry self;
        std::vector<Entry> found;
        try {
            if (!camera.stat(path, self)) throw CameraError("list " + shownPath(path), 0x02000201u);
            found = self.directory() ? camera.list(path, options.recursive ? 63 : 1) : std::vector<Entry>{self};
        } catch (const CameraError& error) {
            if (std::string(error.what()).rfind("list ", 0) == 0) throw;
            throw CameraError("list " + shownPath(path), error.code());
        }
        for (const Entry& entry : found) {
            json record = entryJson(entry);
            const auto number = numbers.find(shownPath(entry.path));
            if (number != numbers.end()) record["number"] = number->second;
            output.text(numberColumn(options.numbered, record) + entryLine(entry));
            entries.push_back(record);
        }
    }
    output.document({{"entries", entries}});
    return 0;
}

int runGet(const Options& options, const Output& output)
{
    Camera camera(options.port);
    Totals totals;
    Failures failures;
    json files = json::array();
    const SaveRules rules{existingRule(options), false};
    for (const std::string& given : selectedPaths(camera, options)) {
        const std::string path = cameraPath(given);
        failures.run(output, "download", shownPath(path), [&] {
            Entry entry;
            if (!camera.stat(path, entry)) throw CameraError("download " + shownPath(path), 0x02000201u);
            if (entry.directory())
                throw UsageError(shownPath(path) + " is a directory (get-all downloads everything)");
            entry.path = path;
            files.push_back(downloadEntry(camera, output, entry,
                                          fs::path(options.outputDir) / baseName(path), rules, totals));
        });
        if (failures.lost) break;
    }
    output.detail(totals.text());
    json document = {{"files", files}};
    if (failures.status() != 0) document["failed"] = failures.list;
    output.document(document);
    return failures.status();
}

int runGetAll(const Options& options, const Output& output)
{
    Camera camera(options.port);
    Totals totals;
    Failures failures;
    json files = json::array();
    const SaveRules rules{existingRule(options), false};
    std::vector<Entry> entries;
    Job job;
    for (const std::string& root : volumeRoots(camera))
        for (const Entry& entry : camera.list(root, 63))
            if (!entry.directory()) {
                entries.push_back(entry);
                job.files += 1;
                job.bytes += entry.size;
            }
    for (const Entry& entry : entries) {
        const fs::path target = hostPathOf(options.outputDir, entry.path);
        failures.run(output, "download", shownPath(entry.path), [&] {
            // --skip-existing leaves a file already there; one of another
            // size is a different picture of the same name, and is refused.
            std::error_code missing;
            if (options.skipExisting && fs::file_size(target, missing) != entry.size && !missing)
                throw LocalError(target.string() + " already exists with another size than " +
                                 shownPath(entry.path) + " (give --force-overwrite to replace it)");
            files.push_back(downloadEntry(camera, output, entry, target, rules, totals, &job));
        });
        job.filesDone += 1;
        job.bytesDone += entry.size;
        if (failures.lost) break;
    }
    output.text(totals.text());
    json document = {{"files", files}, {"count", totals.files}, {"bytes", totals.bytes},
                     {"skipped", totals.skipped}, {"total", entries.size()}};
    if (failures.status() != 0) {
        document["failed"] = failures.list;
        output.error(std::to_string(totals.files) + " of " + std::to_string(entries.size()) +
                     " files saved; " + failures.firstReason);
    }
    output.document(document);
    return failures.status();
}

int runPut(const Options& options, const Output& output)
{
    const std::string& source = options.paths[0];
    std::error_code error;
    if (fs::is_directory(source, error))
        throw UsageError(source + " is a directory; put uploads one file");
    if (!fs::is_regular_file(source, error)) throw UsageError("no such file: " + source);
    Camera camera(options.port);
    std::string destination = cameraPath(options.paths[1]);
    Entry entry;
    bool directory = destination.back() == '\\';
    try {
        directory = directory || (camera.stat(destination, entry) && entry.directory());
    } catch (const CameraError& error) {
        throw CameraError("upload to " + shownPath(destination), error.code());
    }
    if (directory) {
        std::string name = fs::path(source).filename().string();
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        destination += (destination.back() == '\\' ? "" : "\\") + name;
    }
    const std::uint64_t bytes = upload(camera, output, source, destination);
    // Show the name the camera stored, which may differ in case from the one given.
    if (camera.stat(destination, entry) && !entry.path.empty())
        destination = destination.substr(0, destination.rfind('\\') + 1) + baseName(entry.path);
    output.text(source + " -> " + shownPath(destination) + " (" + byteCount(bytes) + ")");
    output.document({{"source", source}, {"path", shownPath(destination)}, {"bytes", bytes}});
    return 0;
}

int runRemove(const Options& options, const Output& output)
{
    Camera camera(options.port);
    Failures failures;
    json removed = json::array();
    for (const std::string& given : selectedPaths(camera, options)) {
        const std::string path = cameraPath(given);
        const std::string list = pathList(path);
        failures.run(output, "delete", shownPath(path), [&] {
            Camera::check("baseDeleteFiles", camera->baseDeleteFiles(list.data()));
            output.text("removed " + shownPath(path));
            removed.push_back(shownPath(path));
        });
        if (failures.lost) break;
    }
    json document = {{"removed", removed}};
    if (failures.status() != 0) document["failed"] = failures.list;
    output.document(document);
    return failures.status();
}

int runMakeDirectory(const Options& options, const Output& output)
{
    Camera camera(options.port);
    std::string path = cameraPath(options.paths[0]);
    if (path.size() > path.find('\\') + 1 && path.back() == '\\') path.pop_back();
    // With -p the folders above are made first, and one already there is fine.
    std::vector<std::string> folders;
    if (options.parents)
        for (std::size_t at = path.find('\\') + 1; (at = path.find('\\', at)) != std::string::npos; ++at)
            folders.push_back(path.substr(0, at));
    folders.push_back(path);
    for (const std::string& folder : folders) {
        Entry existing;
        if (options.parents && camera.stat(folder, existing) && existing.directory()) continue;
        const std::uint32_t result = camera->basecreateDir(folder.c_str());
        if (result != vkRN_OK) throw CameraError("make the directory " + shownPath(folder), result);
    }
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
        const bool answered = static_cast<bool>(std::getline(std::cin, answer));
        // A terminal echoes the answer and its Enter; piped input does not.
        if (!inputIsTerminal()) std::cerr << answer << '\n';
        if (!answered || (answer != "y" && answer != "yes")) {
            output.error(volume + " not formatted");
            return 1;
        }
    }
    Camera camera(options.port);
    const std::uint32_t result = camera->baseFormatVol(volume.c_str(), 0);
    if (result != vkRN_OK) throw CameraError("format " + volume, result);
    output.text("formatted " + volume);
    output.document({{"formatted", volume}});
    return 0;
}

}  // namespace dslrctl
