// A card held in memory: a tree of directories and files with their
// contents, attributes and times.
#pragma once

#include "sim/card.h"

#include <map>
#include <memory>

namespace sim {

class MemoryCard final : public Card {
public:
    explicit MemoryCard(std::uint64_t capacity);

    std::uint64_t capacity() const override { return m_capacity; }
    std::uint64_t used() const override { return m_used; }
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

    // Puts a file whose contents other cards may share (the demo card's):
    // it is copied only when written to.
    bool share(const CardPath& file, std::shared_ptr<std::vector<std::uint8_t>> bytes,
               std::uint32_t time);

private:
    struct Node {
        CardEntry entry;
        std::shared_ptr<std::vector<std::uint8_t>> data =
            std::make_shared<std::vector<std::uint8_t>>();
        std::map<std::string, Node> children;
    };
    const Node* node(const CardPath& path) const;
    Node* node(const CardPath& path);
    Node* parentOf(const CardPath& path);

    std::uint64_t m_capacity;
    std::uint64_t m_used = 0;
    Node m_root;
};

}  // namespace sim
