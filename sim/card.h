// A memory card in one of the camera's slots, behind one small interface: in
// memory (sim/memory_card.cpp) or backed by a host directory
// (sim/directory_card.cpp). Paths are lists of names from the card's root,
// each name in the camera's form (upper case, at most 8.3 characters). The
// storage commands (sim/storage.cpp) check parents, protection and space
// before they ask a card to change anything, so a card only does what it is
// told.
#pragma once

#include "sim/byte_source.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// FAT attribute bits as the camera reports them.
constexpr std::uint16_t kAttributeReadOnly = 0x0001;
constexpr std::uint16_t kAttributeDirectory = 0x0010;
constexpr std::uint16_t kAttributeArchive = 0x0020;

struct CardEntry {
    std::string name;
    std::uint16_t attributes = kAttributeArchive;
    std::uint32_t size = 0;
    std::uint32_t time = 0;  // the camera's local standard time, in seconds
    bool directory() const { return (attributes & kAttributeDirectory) != 0; }
};

using CardPath = std::vector<std::string>;

class Card {
public:
    virtual ~Card() = default;

    virtual std::uint64_t capacity() const = 0;  // bytes
    virtual std::uint64_t used() const = 0;      // bytes held by files
    // The entry at a path (the empty path is the root directory).
    virtual std::optional<CardEntry> find(const CardPath& path) const = 0;
    // A directory's entries, by name.
    virtual std::vector<CardEntry> children(const CardPath& directory) const = 0;
    // Up to `limit` bytes of a file from its start, to be read in pieces
    // later: what the file holds now, even if it is written meanwhile where
    // the card can keep it so. A source without a reader when the file
    // cannot be read.
    virtual ByteSource open(const CardPath& file, std::size_t limit) const = 0;
    // The same bytes at once; false when they cannot be read.
    bool read(const CardPath& file, std::size_t limit, std::vector<std::uint8_t>& bytes) const;
    // Creates or replaces a file (or appends to it), giving it `time`.
    virtual bool write(const CardPath& file, const std::uint8_t* bytes, std::size_t count,
                       bool append, std::uint32_t time) = 0;
    virtual bool makeDirectory(const CardPath& directory, std::uint32_t time) = 0;
    // Removes a file or an empty directory.
    virtual bool remove(const CardPath& path) = 0;
    virtual bool setAttributes(const CardPath& path, std::uint16_t attributes) = 0;
    virtual bool setTime(const CardPath& path, std::uint32_t time) = 0;
    // Empties the card.
    virtual void format() = 0;
};

// Whether a name is one the camera keeps: 1 to 8 characters, optionally a
// dot and 1 to 3 more, of letters, digits, '_' and '-'.
bool validCardName(const std::string& name);
// The camera's form of a name: upper case.
std::string cardName(const std::string& name);

}  // namespace sim
