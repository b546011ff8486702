#include "sim/memory_card.h"

#include <algorithm>
#include <cctype>

namespace sim {

bool validCardName(const std::string& name)
{
    const std::size_t dot = name.find('.');
    const std::size_t stem = dot == std::string::npos ? name.size() : dot;
    const std::size_t extension = dot == std::string::npos ? 0 : name.size() - dot - 1;
    if (stem < 1 || stem > 8 || (dot != std::string::npos && (extension < 1 || extension > 3)))
        return false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(name[i]);
        if (i == dot) continue;
        if (!std::isalnum(c) && c != '_' && c != '-') return false;
    }
    return true;
}

std::string cardName(const std::string& name)
{
    std::string upper = name;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

MemoryCard::MemoryCard(std::uint64_t capacity) : m_capacity(capacity)
{
    m_root.entry.attributes = kAttributeDirectory;
}

const MemoryCard::Node* MemoryCard::node(const CardPath& path) const
{
    const Node* at = &m_root;
    for (const std::string& name : path) {
        const auto child = at->children.find(name);
        if (child == at->children.end()) return nullptr;
        at = &child->second;
    }
    return at;
}

MemoryCard::Node* MemoryCard::node(const CardPath& path)
{
    return const_cast<Node*>(static_cast<const MemoryCard*>(this)->node(path));
}

MemoryCard::Node* MemoryCard::parentOf(const CardPath& path)
{
    if (path.empty()) return nullptr;
    Node* parent = node(CardPath(path.begin(), path.end() - 1));
    return parent != nullptr && parent->entry.directory() ? parent : nullptr;
}

std::optional<CardEntry> MemoryCard::find(const CardPath& path) const
{
    const Node* at = node(path);
    if (at == nullptr) return std::nullopt;
    return at->entry;
}

std::vector<CardEntry> MemoryCard::children(const CardPath& directory) const
{
    std::vector<CardEntry> entries;
    if (const Node* at = node(directory)) {
        for (const auto& child : at->children) entries.push_back(child.second.entry);
    }
    return entries;
}

ByteSource MemoryCard::open(const CardPath& file, std::size_t limit) const
{
    const Node* at = node(file);
    if (at == nullptr || at->entry.directory()) return {};
    // A write gives the file new bytes rather than changing these.
    return bytesSource(at->data, limit);
}

bool MemoryCard::write(const CardPath& file, const std::uint8_t* bytes, std::size_t count,
                       bool append, std::uint32_t time)
{
    Node* parent = parentOf(file);
    if (parent == nullptr) return false;
    Node& target = parent->children[file.back()];
    target.entry.name = file.back();
    m_used -= target.data->size();
    if (!append) {
        target.data = std::make_shared<std::vector<std::uint8_t>>();
    } else if (target.data.use_count() > 1) {
        target.data = std::make_shared<std::vector<std::uint8_t>>(*target.data);
    }
    target.data->insert(target.data->end(), bytes, bytes + count);
    m_used += target.data->size();
    target.entry.size = static_cast<std::uint32_t>(target.data->size());
    target.entry.time = time;
    return true;
}

bool MemoryCard::share(const CardPath& file, std::shared_ptr<std::vector<std::uint8_t>> bytes,
                       std::uint32_t time)
{
    Node* parent = parentOf(file);
    if (parent == nullptr || !bytes) return false;
    Node& target = parent->children[file.back()];
    m_used -= target.data->size();
    target.entry = {file.back(), kAttributeArchive, static_cast<std::uint32_t>(bytes->size()),
                    time};
    target.data = std::move(bytes);
    m_used += target.data->size();
    return true;
}

bool MemoryCard::makeDirectory(const CardPath& directory, std::uint32_t time)
{
    Node* parent = parentOf(directory);
    if (parent == nullptr || parent->children.count(directory.back()) != 0) return false;
    Node& made = parent->children[directory.back()];
    made.entry = {directory.back(), kAttributeDirectory, 0, time};
    return true;
}

bool MemoryCard::remove(const CardPath& path)
{
    Node* parent = parentOf(path);
    if (parent == nullptr) return false;
    const auto child = parent->children.find(path.back());
    if (child == parent->children.end() || !child->second.children.empty()) return false;
    m_used -= child->second.data->size();
    parent->children.erase(child);
    return true;
}

bool MemoryCard::setAttributes(const CardPath& path, std::uint16_t attributes)
{
    Node* at = node(path);
    if (at == nullptr || path.empty()) return false;
    // A directory stays a directory and a file a file.
    at->entry.attributes = static_cast<std::uint16_t>((attributes & ~kAttributeDirectory) |
                                                      (at->entry.attributes & kAttributeDirectory));
    return true;
}

bool MemoryCard::setTime(const CardPath& path, std::uint32_t time)
{
    Node* at = node(path);
    if (at == nullptr || path.empty()) return false;
    at->entry.time = time;
    return true;
}

void MemoryCard::format()
{
    m_root.children.clear();
    m_used = 0;
}

}  // namespace sim
