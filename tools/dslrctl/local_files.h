// The host side of a download: errors in the system's words, the rule for a
// file that is already there (ask, replace, skip), and the final placement of
// a finished temporary file that never replaces a file it was not told to.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace dslrctl {

class Output;

// A failure on the host: "cannot write shots/x.jpg: No space left on device".
class LocalError : public std::runtime_error {
public:
    LocalError(const std::string& action, const std::filesystem::path& path, int error);
    explicit LocalError(const std::string& message) : std::runtime_error(message) {}
};

// What a download does with a local file of its name that is already there.
enum class Existing {
    Ask,      // ask on a terminal; refuse without one
    Replace,  // --force-overwrite
    Skip,     // --skip-existing, --new
};

enum class Decision { Write, Replace, Skip };

// The decision for `target` as things stand. Asks "overwrite X? [y/N]" on
// stderr when stdin and stderr are terminals; without a terminal a file that
// is there is refused with a LocalError naming it.
Decision decideExisting(const std::filesystem::path& target, Existing rule);

// Makes `directory` and its parents; a LocalError says why not.
void makeDirectories(const std::filesystem::path& directory);

// Moves the finished `part` to `target`. With `replace` false it never goes
// over a file that is there, even one that appeared since the decision:
// returns false then and leaves `part` where it was.
bool placeFile(const std::filesystem::path& part, const std::filesystem::path& target,
               bool replace);

// `NAME` in `directory` if free, else NAME_1, NAME_2, ... before the extension.
std::filesystem::path freeName(const std::filesystem::path& directory, const std::string& name);

}  // namespace dslrctl
