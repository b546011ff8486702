#include "sim/directory_card.h"

#include "sim/file_ranges.h"
#include "sim/settings.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <system_error>

namespace sim {

namespace fs = std::filesystem;

namespace {

// The file clock and the system clock count the same time from different
// epochs, whole seconds apart. Reading the two clocks one after the other
// leaves a skew of microseconds, so the distance is rounded: a file written
// at a whole second then keeps that second instead of falling to the one before.
std::chrono::seconds fileClockToSystem()
{
    return std::chrono::round<std::chrono::seconds>(
        std::chrono::system_clock::now().time_since_epoch() -
        fs::file_time_type::clock::now().time_since_epoch());
}

// The host keeps UTC; the camera local standard time.
std::uint32_t cameraTime(const fs::path& host)
{
    std::error_code error;
    const fs::file_time_type written = fs::last_write_time(host, error);
    if (error) return 0;
    const std::int64_t utc =
        (std::chrono::floor<std::chrono::seconds>(written.time_since_epoch()) + fileClockToSystem())
            .count();
    return static_cast<std::uint32_t>(utc - zoneOffset());
}

void setCameraTime(const fs::path& host, std::uint32_t time)
{
    const std::int64_t utc = static_cast<std::int64_t>(time) + zoneOffset();
    const fs::file_time_type file(std::chrono::duration_cast<fs::file_time_type::duration>(
        std::chrono::seconds(utc) - fileClockToSystem()));
    std::error_code error;
    fs::last_write_time(host, file, error);
}

}  // namespace

DirectoryCard::DirectoryCard(fs::path root) : m_root(std::move(root)) {}

bool DirectoryCard::usable() const
{
    std::error_code error;
    return fs::is_directory(m_root, error);
}

std::map<std::string, fs::path> DirectoryCard::shown(const fs::path& directory,
                                                     std::vector<std::string>* left) const
{
    std::map<std::string, fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator it(directory, error), end; !error && it != end;
         it.increment(error)) {
        const fs::path& host = it->path();
        const std::string name = host.filename().string();
        std::error_code kind;
        const bool usableKind =
            !it->is_symlink(kind) && (it->is_regular_file(kind) || it->is_directory(kind));
        const bool shownHere =
            usableKind && validCardName(name) && entries.emplace(cardName(name), host).second;
        if (!shownHere && left != nullptr)
            left->push_back(fs::relative(host, m_root, kind).generic_string());
    }
    return entries;
}

std::vector<std::string> DirectoryCard::skipped() const
{
    std::vector<std::string> left;
    std::vector<fs::path> pending = {m_root};
    while (!pending.empty()) {
        const fs::path directory = pending.back();
        pending.pop_back();
        for (const auto& entry : shown(directory, &left)) {
            std::error_code error;
            if (fs::is_directory(entry.second, error)) pending.push_back(entry.second);
        }
    }
    return left;
}

std::optional<fs::path> DirectoryCard::resolve(const CardPath& path) const
{
    fs::path at = m_root;
    for (const std::string& name : path) {
        const auto entries = shown(at, nullptr);
        const auto found = entries.find(name);
        if (found == entries.end()) return std::nullopt;
        at = found->second;
    }
    return at;
}

std::string DirectoryCard::key(const CardPath& path) const
{
    std::string text;
    for (const std::string& name : path) text += "\\" + name;
    return text;
}

std::optional<CardEntry> DirectoryCard::entryOf(const std::string& name, const fs::path& host) const
{
    std::error_code error;
    const fs::file_status status = fs::status(host, error);
    if (error) return std::nullopt;
    CardEntry entry;
    entry.name = name;
    entry.time = cameraTime(host);
    if (fs::is_directory(status)) {
        entry.attributes = kAttributeDirectory;
    } else {
        const std::uintmax_t size = fs::file_size(host, error);
        entry.size = error || size > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(size);
        entry.attributes = 0;
    }
    if ((status.permissions() & fs::perms::owner_write) == fs::perms::none)
        entry.attributes |= kAttributeReadOnly;
    return entry;
}

std::optional<CardEntry> DirectoryCard::find(const CardPath& path) const
{
    const std::optional<fs::path> host = resolve(path);
    if (!host) return std::nullopt;
    std::optional<CardEntry> entry = entryOf(path.empty() ? "" : path.back(), *host);
    if (entry && !entry->directory()) {
        const auto archive = m_archive.find(key(path));
        if (archive == m_archive.end() || archive->second) entry->attributes |= kAttributeArchive;
    }
    return entry;
}

std::vector<CardEntry> DirectoryCard::children(const CardPath& directory) const
{
    std::vector<CardEntry> entries;
    const std::optional<fs::path> host = resolve(directory);
    if (!host) return entries;
    for (const auto& child : shown(*host, nullptr)) {
        CardPath path = directory;
        path.push_back(child.first);
        if (std::optional<CardEntry> entry = find(path)) entries.push_back(*entry);
    }
    return entries;
}

std::uint64_t DirectoryCard::used() const
{
    std::uint64_t total = 0;
    std::vector<CardPath> pending = {{}};
    while (!pending.empty()) {
        const CardPath directory = pending.back();
        pending.pop_back();
        for (const CardEntry& entry : children(directory)) {
            CardPath path = directory;
            path.push_back(entry.name);
            if (entry.directory()) {
                pending.push_back(path);
            } else {
                total += entry.size;
            }
        }
    }
    return total;
}

std::uint64_t DirectoryCard::capacity() const
{
    std::error_code error;
    const fs::space_info space = fs::space(m_root, error);
    return used() + (error ? 0 : space.available);
}

// The file stays open while its bytes are read, range by range, so that no
// copy of a large file is held. A host program that changes the file
// meanwhile changes what is sent (a card in a camera cannot be written under
// it); a file shortened meanwhile fails the read of what is gone.
ByteSource DirectoryCard::open(const CardPath& file, std::size_t limit) const
{
    const std::optional<fs::path> host = resolve(file);
    if (!host) return {};
    RangeReader ranges = openFileRanges(*host);
    std::error_code error;
    const std::uintmax_t size = fs::file_size(*host, error);
    if (!ranges || error) return {};
    return {std::min<std::uint64_t>(limit, size), std::move(ranges)};
}

bool DirectoryCard::write(const CardPath& file, const std::uint8_t* bytes, std::size_t count,
                          bool append, std::uint32_t time)
{
    if (file.empty()) return false;
    const std::optional<fs::path> parent = resolve(CardPath(file.begin(), file.end() - 1));
    if (!parent) return false;
    const std::optional<fs::path> existing = resolve(file);
    const fs::path host = existing ? *existing : *parent / file.back();
    {
        std::ofstream out(host, std::ios::binary | (append ? std::ios::app : std::ios::trunc));
        if (!out) return false;
        out.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
        if (!out) return false;
    }
    setCameraTime(host, time);
    m_archive.erase(key(file));
    return true;
}

bool DirectoryCard::makeDirectory(const CardPath& directory, std::uint32_t time)
{
    if (directory.empty() || resolve(directory)) return false;
    const std::optional<fs::path> parent =
        resolve(CardPath(directory.begin(), directory.end() - 1));
    if (!parent) return false;
    const fs::path host = *parent / directory.back();
    std::error_code error;
    if (!fs::create_directory(host, error)) return false;
    setCameraTime(host, time);
    return true;
}

bool DirectoryCard::remove(const CardPath& path)
{
    const std::optional<fs::path> host = resolve(path);
    if (!host || path.empty()) return false;
    std::error_code error;
    if (!fs::remove(*host, error)) return false;
    m_archive.erase(key(path));
    return true;
}

bool DirectoryCard::setAttributes(const CardPath& path, std::uint16_t attributes)
{
    const std::optional<fs::path> host = resolve(path);
    if (!host || path.empty()) return false;
    std::error_code error;
    fs::permissions(
        *host, fs::perms::owner_write,
        (attributes & kAttributeReadOnly) ? fs::perm_options::remove : fs::perm_options::add,
        error);
    if (error) return false;
    m_archive[key(path)] = (attributes & kAttributeArchive) != 0;
    return true;
}

bool DirectoryCard::setTime(const CardPath& path, std::uint32_t time)
{
    const std::optional<fs::path> host = resolve(path);
    if (!host || path.empty()) return false;
    setCameraTime(*host, time);
    return true;
}

void DirectoryCard::format()
{
    for (const auto& entry : shown(m_root, nullptr)) {
        std::error_code error;
        fs::remove_all(entry.second, error);
    }
    m_archive.clear();
}

}  // namespace sim
