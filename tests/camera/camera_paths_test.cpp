// Camera path names and lists: conversions by camera model, list lengths,
// the expansion of path lists, and directory listings.

#include "camera/camera_paths.h"
#include "support/fault_plan.h"
#include "support/fresh_object.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

using CameraPaths = FreshObject;

// How a single path reaches either camera generation is the storage suite's
// to check against the simulated camera; here, the lists and cut strings.
TEST_F(CameraPaths, OlderModelConversionOfListsAndCutStrings)
{
    struct Case {
        std::string in, out;
    } cases[] = {
        {"ATA01:\\A\0ATA02:\\B\0"s, "/ATA01\\A\0/ATA02\\B\0"s},
        // A string the region cuts keeps its volume syntax.
        {"ATA01:\\A\0ata02:"s, "/ATA01\\A\0ATA02:"s},
        {"\\NOVOLUME\0"s, "\\NOVOLUME\0"s},
    };
    m_object->m_dwModelID = 0x80000529;
    for (const Case& test : cases) {
        SCOPED_TRACE(test.in);
        std::string out(test.in.size(), 'x');
        EXPECT_EQ(m_object->Utl_Q317PathChange(test.in.data(), out.data(),
                                               static_cast<DWORD>(test.in.size())),
                  1u);
        EXPECT_EQ(out, test.out);
    }
}

TEST_F(CameraPaths, RootedOrVolumePathsOnly)
{
    struct Case {
        std::string in;
        DWORD result;
        std::string out;
    } cases[] = {
        {"/dcim\0"s, vkRN_OK, "/DCIM\0"s},
        {"ata01:\0"s, vkRN_OK, "ATA01:\0"s},
        {"dcim\\100\0"s, vkRNERROR_INVALID_PARAMETER, "dcim\\100\0"s},
        {"dcim\0x:"s, vkRNERROR_INVALID_PARAMETER, "dcim\0x:"s},  // only the first string counts
    };
    for (const Case& test : cases) {
        std::string region = test.in;
        EXPECT_EQ(m_object->Utl_Q317PathChange2(region.data(), static_cast<DWORD>(region.size())),
                  test.result);
        EXPECT_EQ(region, test.out);
    }
}

TEST_F(CameraPaths, ListLengths)
{
    EXPECT_EQ(_GetTotalPathLength("A\0BC\0"), 6u);
    EXPECT_EQ(_GetTotalPathLength("\0"), 1u);
    const std::string subtree = "\x01"s + "ATA01:\\\0"s + "\0\0"s;
    EXPECT_EQ(_LenDirSubtree(reinterpret_cast<const BYTE*>(subtree.data())), 11u);
    const std::string withSecond = "\x41"s + "ATA01:\\\0"s + "x\0"s + "\0\0"s;
    EXPECT_EQ(_LenDirSubtree(reinterpret_cast<const BYTE*>(withSecond.data())), 13u);
}

TEST_F(CameraPaths, TrimmingDropsOneTrailingBackslashPerEntry)
{
    std::string list = "\x01"s + "ATA01:\\DCIM\\\0"s + "\x41"s + "ATA02:\\\0"s + "s\0"s + "\0\0"s;
    DWORD length = static_cast<DWORD>(list.size());
    Utl_TrimDirSubtree(reinterpret_cast<BYTE*>(list.data()), &length);
    const std::string expected =
        "\x01"s + "ATA01:\\DCIM\0"s + "\x41"s + "ATA02:\0"s + "s\0"s + "\0\0"s;
    EXPECT_EQ(length, expected.size());
    EXPECT_EQ(list.substr(0, length), expected);
    EXPECT_EQ(list.substr(length), std::string(list.size() - length, '\0'));
}

TEST_F(CameraPaths, PathListExpansion)
{
    struct Case {
        std::string list;
        DWORD result;
        std::string expanded;
    } cases[] = {
        {"ATA01:/DCIM/100ABCDE\0IMG_0001.JPG\0IMG_0002.JPG\0\0"s, 1,
         "ATA01:/DCIM/100ABCDE/IMG_0001.JPG\0ATA01:/DCIM/100ABCDE/IMG_0002.JPG\0\0"s},
        {"ATA01:/DCIM/100ABCDE\0..\0./101ABCDE\0A.JPG\0\0"s, 1, "ATA01:/DCIM/101ABCDE/A.JPG\0\0"s},
        {"/X\0/Y\0\0"s, 1, "/X\0/Y\0\0"s},
        {"ATA01:/DCIM\0IMG\\A.JPG\0\0"s, 1, "ATA01:/DCIM\\IMG\\A.JPG\0\0"s},
        {"ATA01:\\D\0..\\E\0F\0\0"s, 1, "ATA01:\\E\\F\0\0"s},
        {"ONLY\0\0"s, 0, "ONLY\0\0"s},
        {"NOSEP\0..\0F\0\0"s, 1, "/F\0\0"s},           // nothing left of a base without separator
        {"A:/B\0..NAME\0\0"s, 1, "A:/B/..NAME\0\0"s},  // dots without a separator: a name
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.list);
        const DWORD total = static_cast<DWORD>(test.list.size());
        const DWORD needed = m_object->Utl_MakePathLength(test.list.data(), total);
        EXPECT_GE(needed, total);
        std::vector<char> output(needed + 16, '#');
        DWORD written = 0;
        EXPECT_EQ(Utl_MakePathList(test.list.data(), total, output.data(), &written), test.result);
        EXPECT_EQ(std::string(output.data(), written), test.expanded);
        EXPECT_LE(written, needed);
        EXPECT_EQ(output[needed], '#') << "nothing past the measured size";
    }
    // The walk's scratch space is the library's own: its failure is a result.
    const std::string list = "A:/B\0C\0\0"s;
    std::vector<char> output(64, '#');
    DWORD written = 7;
    FaultPlan plan;
    plan.fail(Op::Calloc, 1);
    EXPECT_EQ(m_object->Utl_MakePathLength(list.data(), 8), 0u);
    plan.fail(Op::Calloc, 2);
    EXPECT_EQ(Utl_MakePathList(list.data(), 8, output.data(), &written), vkRNERROR_OUT_OF_MEMORY);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(plan.outstandingAllocations(), 0u);
}

TEST_F(CameraPaths, ListingWalk)
{
    auto record = [](WORD attribute, DWORD size, DWORD time, const std::string& path) {
        std::string bytes(10, '\0');
        std::memcpy(&bytes[0], &attribute, 2);
        std::memcpy(&bytes[2], &size, 4);
        std::memcpy(&bytes[6], &time, 4);
        return bytes + path + '\0';
    };
    std::string listing = record(0x20, 1000, 7, "ATA01:\\DCIM\\A.JPG") + record(0, 0, 0, "");
    const std::string before = listing;
    EXPECT_EQ(m_object->Utl_SwapBufferData(reinterpret_cast<BYTE*>(listing.data()), 0), 0u);
    EXPECT_EQ(m_object->Utl_SwapBufferData(reinterpret_cast<BYTE*>(listing.data()),
                                           static_cast<DWORD>(listing.size())),
              1u);
    EXPECT_EQ(listing, before) << "numbers and paths are handed on as the camera sent them";
}

}  // namespace
