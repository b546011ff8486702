// A card backed by a host directory, read and write: what the camera stores
// lands in the directory and what is put there appears on the card.
//
// What the directory cannot express, and how it is handled:
// - Names: the camera shows only entries whose names it could have made (8.3
//   letters, digits, '_' and '-', any letter case), and no symbolic links.
//   Other entries are left out of every listing and cannot be reached; a
//   name that differs from a shown one only in letter case is left out too.
//   skipped() lists them so that the server can say so. Names the camera
//   creates are written in upper case.
// - Attributes: read-only is the owner's write permission; the archive bit
//   is kept by the card for as long as it lives (set on every file at first).
// - Times: the host keeps UTC, the camera local standard time; the card
//   converts with the C runtime's zone offset, as the camera's clock does.
// - Capacity: what the files hold plus the space free on the host's file
//   system.
// - Format removes every entry the camera shows, with everything below it.
#pragma once

#include "sim/card.h"

#include <filesystem>
#include <map>
#include <optional>

namespace sim {

class DirectoryCard final : public Card {
public:
    explicit DirectoryCard(std::filesystem::path root);

    // Whether the root is a directory the card can use.
    bool usable() const;
    // Host entries the camera cannot show, relative to the root.
    std::vector<std::string> skipped() const;

    std::uint64_t capacity() const override;
    std::uint64_t used() const override;
    std::optional<CardEntry> find(const CardPath& path) const override;
    std::vector<CardEntry> children(const CardPath& directory) const override;
    ByteSource open(const CardPath& file, std::size_t limit) const override;
    bool write(const CardPath& file, const std::uint8_t* bytes, std::size_t count, bool append,
               std::uint32_t time) override;
    bool makeDirectory(const CardPath& directory, std::uint32_t time) override;
    bool remove(const CardPath& path) override;
    bool setAttributes(const CardPath& path, std::uint16_t attributes) override;
    bool setTime(const CardPath& path, std::uint32_t time) override;
    void format() override;

private:
    // The shown entries of a host directory: card name to host path.
    std::map<std::string, std::filesystem::path> shown(const std::filesystem::path& directory,
                                                       std::vector<std::string>* left) const;
    std::optional<std::filesystem::path> resolve(const CardPath& path) const;
    std::optional<CardEntry> entryOf(const std::string& name,
                                     const std::filesystem::path& host) const;
    std::string key(const CardPath& path) const;

    std::filesystem::path m_root;
    std::map<std::string, bool> m_archive;  // by card path; absent: set
};

}  // namespace sim
