#include "local_files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace dslrctl {

namespace fs = std::filesystem;

LocalError::LocalError(const std::string& action, const fs::path& path, int error)
    : std::runtime_error("cannot " + action + " " + path.string() + ": " + std::strerror(error))
{
}

Decision decideExisting(const fs::path& target, Existing rule)
{
    std::error_code error;
    if (!fs::exists(fs::symlink_status(target, error))) return Decision::Write;
    if (rule == Existing::Replace) return Decision::Replace;
    if (rule == Existing::Skip) return Decision::Skip;
    if (isatty(0) == 0 || isatty(2) == 0)
        throw LocalError(target.string() +
                         " already exists (give --force-overwrite to replace it, "
                         "--skip-existing to leave it)");
    std::cerr << "dslrctl: overwrite " << target.string() << "? [y/N] " << std::flush;
    std::string answer;
    if (!std::getline(std::cin, answer)) std::cerr << '\n';
    return answer == "y" || answer == "yes" ? Decision::Replace : Decision::Skip;
}

void makeDirectories(const fs::path& directory)
{
    if (directory.empty()) return;
    std::error_code error;
    fs::create_directories(directory, error);
    if (error) throw LocalError("make the folder", directory, error.value());
}

#ifndef _WIN32
namespace {

// A file system without hard links (FAT, exFAT, some network shares): the
// check and the rename are two steps, so a file made between them by another
// program would be replaced. Only this fallback has that window.
bool placeByCheckAndRename(const fs::path& part, const fs::path& target)
{
    std::error_code error;
    if (fs::exists(fs::symlink_status(target, error))) return false;
    fs::rename(part, target, error);
    if (error) throw LocalError("write", target, error.value());
    return true;
}

}  // namespace
#endif

bool placeFile(const fs::path& part, const fs::path& target, bool replace)
{
    if (replace) {
        std::error_code error;
        fs::rename(part, target, error);
        if (error) throw LocalError("write", target, error.value());
        return true;
    }
#ifdef _WIN32
    // The C runtime's rename never replaces an existing file.
    if (std::rename(part.string().c_str(), target.string().c_str()) == 0) return true;
    std::error_code error;
    if (fs::exists(target, error)) return false;
    throw LocalError("write", target, errno);
#else
    // A hard link is made only where no name is: the kernel checks and
    // places in one step. The temporary name is dropped afterwards.
    if (::link(part.c_str(), target.c_str()) == 0) {
        ::unlink(part.c_str());
        return true;
    }
    if (errno == EEXIST) return false;
    if (errno == EPERM || errno == ENOTSUP || errno == EOPNOTSUPP || errno == ENOSYS ||
        errno == EMLINK)
        return placeByCheckAndRename(part, target);
    throw LocalError("write", target, errno);
#endif
}

fs::path freeName(const fs::path& directory, const std::string& name)
{
    const fs::path plain(name);
    std::error_code error;
    fs::path candidate = directory / plain;
    for (unsigned number = 1; fs::exists(fs::symlink_status(candidate, error)); ++number)
        candidate = directory / (plain.stem().string() + "_" + std::to_string(number) +
                                 plain.extension().string());
    return candidate;
}

}  // namespace dslrctl
