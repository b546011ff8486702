#include "file_selection.h"

#include "commands.h"

#include <cctype>
#include <cstdlib>

namespace dslrctl {

namespace {

bool hasWildcards(const std::string& path) { return path.find_first_of("*?") != std::string::npos; }

std::vector<std::string> matchingFiles(const Camera& camera, const std::string& given)
{
    const std::string pattern = shownPath(cameraPath(given));
    const std::size_t wildcard = pattern.find_first_of("*?");
    const std::size_t colon = pattern.find(':');
    // List from the last folder before the first wildcard; a wildcard in the
    // volume's name lists every volume.
    std::vector<std::string> roots;
    if (wildcard < colon) {
        for (const Volume& volume : camera.volumes()) roots.push_back(volume.name + ":\\");
    } else {
        roots.push_back(cameraPath(pattern.substr(0, pattern.rfind('/', wildcard) + 1)));
    }
    std::vector<std::string> found;
    for (const std::string& root : roots) {
        Entry self;
        if (!camera.stat(root, self) || !self.directory()) continue;
        for (const Entry& entry : camera.list(root, 63))
            if (!entry.directory() && wildcardMatch(pattern, shownPath(entry.path)))
                found.push_back(shownPath(entry.path));
    }
    if (found.empty()) throw UsageError("no camera file matches " + pattern);
    return found;
}

}  // namespace

std::vector<Entry> numberedFiles(const Camera& camera)
{
    std::vector<Entry> files;
    for (const Volume& volume : camera.volumes())
        for (const Entry& entry : camera.list(volume.name + ":\\", 63))
            if (!entry.directory()) files.push_back(entry);
    return files;
}

std::map<std::string, std::size_t> fileNumbers(const Camera& camera)
{
    std::map<std::string, std::size_t> numbers;
    for (const Entry& entry : numberedFiles(camera))
        numbers.emplace(shownPath(entry.path), numbers.size() + 1);
    return numbers;
}

std::vector<std::size_t> parseNumbers(const std::string& text)
{
    std::vector<std::size_t> numbers;
    std::size_t at = 0;
    while (at <= text.size()) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        const std::string part = text.substr(at, end - at);
        const std::size_t dash = part.find('-');
        const std::string low = part.substr(0, dash);
        const std::string high = dash == std::string::npos ? low : part.substr(dash + 1);
        const auto whole = [](const std::string& word) {
            return !word.empty() && word.size() < 7 &&
                   word.find_first_not_of("0123456789") == std::string::npos;
        };
        if (!whole(low) || !whole(high) || std::stoul(low) == 0 ||
            std::stoul(low) > std::stoul(high))
            throw UsageError("bad file numbers '" + text +
                             "': give numbers and ranges such as 1-3,7");
        for (std::size_t n = std::stoul(low); n <= std::stoul(high); ++n) numbers.push_back(n);
        at = end + 1;
    }
    return numbers;
}

bool wildcardMatch(const std::string& pattern, const std::string& text)
{
    // Backtracking to the last star, which never crosses a '/'.
    std::size_t p = 0, t = 0, star = std::string::npos, resume = 0;
    while (t < text.size()) {
        const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[t])));
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = t;
        } else if (p < pattern.size() &&
                   ((pattern[p] == '?' && text[t] != '/') ||
                    std::toupper(static_cast<unsigned char>(pattern[p])) == c)) {
            ++p;
            ++t;
        } else if (star != std::string::npos && text[resume] != '/') {
            p = star + 1;
            t = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

std::vector<std::string> selectedPaths(const Camera& camera, const Options& options)
{
    std::vector<std::string> paths;
    for (const std::string& given : options.paths) {
        if (!hasWildcards(given)) {
            paths.push_back(given);
            continue;
        }
        for (const std::string& path : matchingFiles(camera, given)) paths.push_back(path);
    }
    if (options.picks.empty()) return paths;
    const std::vector<std::size_t> numbers = parseNumbers(options.picks);
    const std::vector<Entry> files = numberedFiles(camera);
    for (std::size_t n : numbers) {
        if (n > files.size())
            throw UsageError("no file number " + std::to_string(n) + ": the cards hold " +
                             std::to_string(files.size()) + " files (see dslrctl ls -n)");
        paths.push_back(shownPath(files[n - 1].path));
    }
    return paths;
}

}  // namespace dslrctl
