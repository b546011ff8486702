// A card backed by a host directory, served by dslrsim in its own process:
// listed and downloaded through the library and compared with the host's
// files; an upload, attributes, times and a delete land in the directory.

#if !defined(_WIN32) && defined(DSLRSIM_PATH)

#include "VKRNQ402.h"
#include "support/card_io.h"
#include "support/child_process.h"
#include "support/connected_object.h"
#include "support/fake_device.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

Bytes hostFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void putHostFile(const fs::path& path, std::size_t size, unsigned seed)
{
    std::ofstream out(path, std::ios::binary);
    for (std::size_t i = 0; i < size; ++i) out.put(static_cast<char>(i * seed + seed));
}

TEST(DslrsimStorage, HostDirectoryCardReadAndWritten)
{
    const fs::path root = fs::temp_directory_path() / uniqueName("dslrsim-card");
    fs::create_directories(root / "DCIM" / "100TEST");
    putHostFile(root / "DCIM" / "100TEST" / "IMG_0001.JPG", 70000, 3);
    putHostFile(root / "DCIM" / "100TEST" / "raw_0002.rvx", 300000, 5);
    putHostFile(root / "NOTES.TXT", 10, 7);
    putHostFile(root / "a name too long.jpeg", 10, 9);

    const std::string address = "unix:/tmp/" + uniqueName("dslrsim-storage") + ".sock";
    Dslrsim server(address, {"--card", "ATA01=" + root.string()});
    ASSERT_TRUE(server.ready()) << server.readAll(2000);
    EXPECT_NE(server.readLine(2000).find("a name too long.jpeg"), std::string::npos)
        << "the name the camera cannot show is reported";

    ConnectedObject camera(address);
    ASSERT_TRUE(camera.connected());

    const std::map<std::string, fs::path> hostOf = {
        {"ATA01:\\DCIM\\100TEST\\IMG_0001.JPG", root / "DCIM" / "100TEST" / "IMG_0001.JPG"},
        {"ATA01:\\DCIM\\100TEST\\RAW_0002.RVX", root / "DCIM" / "100TEST" / "raw_0002.rvx"},
        {"ATA01:\\NOTES.TXT", root / "NOTES.TXT"}};
    const std::vector<Listed> records = listCard(camera.get(), "ATA01:\\");
    ASSERT_EQ(records.size(), 5u);
    int files = 0;
    for (const Listed& record : records) {
        if (record.attributes & 0x10) continue;
        SCOPED_TRACE(record.path);
        ASSERT_EQ(hostOf.count(record.path), 1u);
        const Bytes expected = hostFile(hostOf.at(record.path));
        EXPECT_EQ(record.size, expected.size());
        EXPECT_EQ(downloadFile(camera.get(), record.path, 0xFF00), expected);
        EXPECT_EQ(downloadFile(camera.get(), record.path, 4099), expected);
        ++files;
    }
    EXPECT_EQ(files, 3);

    // An upload of several blocks lands in the directory under the camera's name.
    Bytes data(2 * 0xFF00 + 77);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i ^ 0x5A);
    ASSERT_EQ(uploadFile(camera.get(), "ATA01:\\DCIM\\up.bin", data), vkRN_OK);
    EXPECT_EQ(hostFile(root / "DCIM" / "UP.BIN"), data);

    // Read-only is the owner's write permission; a protected file stays.
    const std::string list = pathList({"ATA01:\\NOTES.TXT"});
    ASSERT_EQ(camera->baseSetFileAttribs(list.data(), 0x21), vkRN_OK);
    EXPECT_EQ(fs::status(root / "NOTES.TXT").permissions() & fs::perms::owner_write,
              fs::perms::none);
    EXPECT_NE(camera->baseDeleteFiles(list.data()), vkRN_OK);
    ASSERT_EQ(camera->baseSetFileAttribs(list.data(), 0x20), vkRN_OK);
    ASSERT_EQ(camera->baseDeleteFiles(list.data()), vkRN_OK);
    EXPECT_FALSE(fs::exists(root / "NOTES.TXT"));
    EXPECT_TRUE(fs::exists(root / "a name too long.jpeg")) << "what the camera cannot see stays";

    camera.disconnect();
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
    fs::remove_all(root);
}

}  // namespace

#endif
