// A card file opened for the host to read in pieces: any range of it, what
// the file held when it was opened (a memory card), and a read of what a
// host program cut off the file meanwhile fails (a directory card).

#include "sim/directory_card.h"
#include "sim/memory_card.h"
#include "support/fake_device.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

std::vector<std::uint8_t> pattern(std::size_t size)
{
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 13 + 1);
    return bytes;
}

TEST(CardSource, RangesOfAFileWhatItHeldAndWhatWasCutOff)
{
    const std::vector<std::uint8_t> bytes = pattern(100000);
    const fs::path root = fs::temp_directory_path() / uniqueName("card-source");
    fs::create_directories(root);
    std::ofstream(root / "F.BIN", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    sim::DirectoryCard directory(root);
    sim::MemoryCard memory(1 << 20);
    ASSERT_TRUE(memory.write({"F.BIN"}, bytes.data(), bytes.size(), false, 0));

    for (sim::Card* card :
         {static_cast<sim::Card*>(&directory), static_cast<sim::Card*>(&memory)}) {
        EXPECT_FALSE(card->open({"NONE.BIN"}, 10).read);
        EXPECT_EQ(card->open({"F.BIN"}, 500).length, 500u);
        const sim::ByteSource source = card->open({"F.BIN"}, bytes.size());
        ASSERT_EQ(source.length, bytes.size());
        for (const auto& [offset, count] :
             {std::pair<std::size_t, std::size_t>{0, 1}, {0xFF00, 30000}, {99999, 1}, {4099, 0}}) {
            std::vector<std::uint8_t> got(count);
            ASSERT_TRUE(source.read(offset, got.data(), count)) << offset;
            EXPECT_TRUE(std::equal(got.begin(), got.end(), bytes.begin() + offset)) << offset;
        }
    }

    {
        const sim::ByteSource fromMemory = memory.open({"F.BIN"}, bytes.size());
        const sim::ByteSource fromDirectory = directory.open({"F.BIN"}, bytes.size());
        const std::vector<std::uint8_t> other = pattern(10);
        ASSERT_TRUE(memory.write({"F.BIN"}, other.data(), other.size(), false, 0));
        fs::resize_file(root / "F.BIN", 50000);
        std::vector<std::uint8_t> got(100);
        ASSERT_TRUE(fromMemory.read(60000, got.data(), got.size()));
        EXPECT_TRUE(std::equal(got.begin(), got.end(), bytes.begin() + 60000));
        EXPECT_FALSE(fromDirectory.read(60000, got.data(), got.size()));
    }  // the file is closed: Windows removes no open file
    fs::remove_all(root);
}

}  // namespace
