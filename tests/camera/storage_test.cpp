// Storage through the device object's slots against the in-process camera:
// whole cards listed and every file downloaded, uploads of several blocks,
// delete, attributes and times seen in the next listing, DCF numbering,
// format, volumes, the paths each camera generation receives, and the
// allocation-failure sweep.

#include "VKRNQ402.h"
#include "camera/camera_clock.h"
#include "log/dbg_log.h"
#include "sim/memory_card.h"
#include "sim/storage.h"
#include "support/allocation_sweep.h"
#include "support/card_io.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"
#include "support/sim_object.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

class Storage : public SimObject {
protected:
    std::vector<Listed> list(const std::string& path, std::uint8_t depth = 0x3F)
    {
        return listCard(m_slots, path, depth);
    }
    Bytes download(const std::string& path, std::size_t part = 0, bool header = false)
    {
        return downloadFile(m_slots, path, part, header);
    }

    Bytes onCard(std::size_t volume, const sim::CardPath& path)
    {
        Bytes bytes;
        m_camera->storage().volumes[volume].card->read(path, 0xFFFFFFFF, bytes);
        return bytes;
    }

    std::string lastParams()
    {
        const Bytes params = lastRequest().params;
        return std::string(params.begin(), params.end());
    }
};

// The demo card: every file of the listing is what the card holds, read
// whole, in blocks and in odd parts; its header is the file's first part.
// (What the demo files are is the simulator suite's to check.)
TEST_F(Storage, WholeCardListedAndEveryFileDownloaded)
{
    const std::vector<Listed> entries = list("ATA01:\\");
    ASSERT_GE(entries.size(), 6u);
    EXPECT_EQ(entries[0].path, "ATA01:\\DCIM");
    EXPECT_EQ(entries[0].attributes, sim::kAttributeDirectory);
    EXPECT_EQ(entries[1].path, "ATA01:\\DCIM\\100VELOR");
    int files = 0;
    for (const Listed& entry : entries) {
        if (entry.attributes & sim::kAttributeDirectory) continue;
        SCOPED_TRACE(entry.path);
        ++files;
        // The demo card keeps its files in one folder.
        const std::string name = entry.path.substr(entry.path.rfind('\\') + 1);
        const Bytes expected = onCard(0, {"DCIM", "100VELOR", name});
        ASSERT_EQ(entry.size, expected.size());
        EXPECT_EQ(download(entry.path), expected);
        EXPECT_EQ(download(entry.path, 0xFF00), expected);
        EXPECT_EQ(download(entry.path, 0x1234 + files), expected);
        const std::size_t headerSize = std::min<std::size_t>(expected.size(), 16 * 1024);
        EXPECT_EQ(download(entry.path, 0, true),
                  Bytes(expected.begin(), expected.begin() + headerSize));
        uint32_t size = 0;
        EXPECT_EQ(m_slots->baseGetFileSize(entry.path.c_str(), &size), vkRN_OK);
        EXPECT_EQ(size, expected.size());
    }
    EXPECT_EQ(files, 4);
    // One level down, and only what matches the second string.
    EXPECT_EQ(list("ATA01:\\DCIM", 1).size(), 1u);
    Bytes pattern = subtreeRequest(0x41, "ATA01:\\DCIM\\100VELOR", "*.jpg");
    uint32_t length = 0;
    ASSERT_EQ(m_slots->baseGetDirs(pattern.data(), &length), vkRN_OK);
    EXPECT_EQ(length, 3 * (10 + std::strlen("ATA01:\\DCIM\\100VELOR\\IMG_0001.JPG") + 1) + 11);
}

// A file of several blocks goes up in successive calls (0 creates, 1
// appends) and comes back identical; the free space shrinks by its size.
TEST_F(Storage, UploadOfSeveralBlocksReadsBackIdentical)
{
    Bytes data(3 * 0xFF00 + 123);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 31 + 7);
    const char* path = "ATA02:\\Upload.bin";
    ASSERT_EQ(uploadFile(m_slots, path, data), vkRN_OK);
    EXPECT_EQ(lastParams().substr(12, 18), std::string("ATA02:/Upload.bin\0", 18));
    EXPECT_EQ(download("ATA02:\\UPLOAD.BIN", 0x4000), data);
    EXPECT_EQ(onCard(1, {"UPLOAD.BIN"}), data);

    dsDRIVE_FREE_SPACE space = {};
    ASSERT_EQ(m_object->_rapiGetDriveFreeSpace("ATA02", &space), vkRN_OK);
    EXPECT_EQ(+space.dwValue[0], 512000u - (data.size() + 1023) / 1024);

    // 0xFF00 bytes go; one more is refused before anything is allocated or sent.
    const std::size_t requests = sent();
    {
        FaultPlan counting;
        EXPECT_EQ(m_slots->basePutFile(path, 0xFF01, 0, data.data()), vkRNERROR_INVALID_PARAMETER);
        EXPECT_EQ(counting.calls(Op::Malloc) + counting.calls(Op::Calloc), 0u);
    }
    EXPECT_EQ(sent(), requests);
    EXPECT_EQ(m_slots->basePutFile(path, 0xFF00, 0, data.data()), vkRN_OK);
    EXPECT_EQ(onCard(1, {"UPLOAD.BIN"}), Bytes(data.begin(), data.begin() + 0xFF00));
}

// Each change shows in the next listing; what the library or the camera
// refuses changes nothing.
TEST_F(Storage, DeleteAttributesAndTimesShowInTheNextListing)
{
    const std::string folder = "ATA01:\\DCIM\\100VELOR";
    const std::string one = folder + "\\IMG_0001.JPG";
    const std::string list12 = pathList({folder, "IMG_0001.JPG", "IMG_0002.JPG"});
    const DWORD when = 1700000000;
    const DWORD cameraWhen = Clock_UtcToCamera(when);
    DslrObject* o = m_slots;
    struct Case {
        const char* name;
        std::function<DWORD()> run;
        DWORD result;
        std::function<void(const std::vector<Listed>&)> check;
    } cases[] = {
        // clang-format off
        {"times of two files", [&] { return o->baseSetFileTimes(list12.data(), when); }, vkRN_OK,
         [&](auto& l) {
             EXPECT_EQ(l[0].time, cameraWhen);
             EXPECT_EQ(l[1].time, cameraWhen);
             EXPECT_NE(l[2].time, cameraWhen);
         }},
        {"read-only", [&] { return o->baseSetFileAttribs(pathList({one}).data(), 0x10021); },
         vkRN_OK, [](auto& l) { EXPECT_EQ(l[0].attributes, 0x21); }},
        {"hidden refused", [&] { return o->baseSetFileAttribs(pathList({one}).data(), 0x0002); },
         vkRNERROR_INVALID_PARAMETER, [](auto& l) { EXPECT_EQ(l[0].attributes, 0x21); }},
        {"a protected file stays", [&] { return o->baseDeleteFiles(list12.data()); },
         cameraError(sim::kRapiProtected), [](auto& l) { EXPECT_EQ(l.size(), 4u); }},
        {"writable again", [&] { return o->baseSetFileAttribs(pathList({one}).data(), 0x0020); },
         vkRN_OK, [](auto& l) { EXPECT_EQ(l[0].attributes, 0x20); }},
        {"two deleted", [&] { return o->baseDeleteFiles(list12.data()); }, vkRN_OK,
         [](auto& l) {
             ASSERT_EQ(l.size(), 2u);
             EXPECT_EQ(l[0].path, "ATA01:\\DCIM\\100VELOR\\IMG_0003.JPG");
         }},
        {"gone already", [&] { return o->baseDeleteFiles(pathList({one}).data()); },
         cameraError(sim::kRapiNoSuchPath), [](auto& l) { EXPECT_EQ(l.size(), 2u); }},
        {"no volume", [&] { return o->baseDeleteFiles(pathList({"DCIM\\100"}).data()); },
         vkRNERROR_OUT_OF_MEMORY, nullptr},
        {"empty list", [&] { return o->baseSetFileTimes("\0", when); }, vkRNERROR_INVALID_PARAMETER, nullptr},
        {"null list", [&] { return o->baseSetFileAttribs(nullptr, 0); }, vkRNERROR_INVALID_PARAMETER, nullptr},
    };
    // clang-format on
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(test.run(), test.result);
        if (test.check) test.check(list(folder, 1));
    }
}

// The camera numbers a DCF folder after the highest one in DCIM; the
// library writes the number in three digits before the name.
TEST_F(Storage, DcfFoldersAreNumberedAsTheCameraNumbersThem)
{
    struct Case {
        const char* existing;
        const char* made;
    } cases[] = {{"004VELOR", "005ABCDE"}, {"041VELOR", "042ABCDE"}, {"122VELOR", "123ABCDE"}};
    ASSERT_EQ(m_slots->baseFormatVol("ATA01", 0), vkRN_OK);
    EXPECT_TRUE(list("ATA01:\\").empty()) << "format empties the volume";
    ASSERT_EQ(m_slots->basecreateDir("ATA01:\\DCIM"), vkRN_OK);
    for (const Case& test : cases) {
        ASSERT_EQ(m_slots->basecreateDir((std::string("ATA01:\\DCIM\\") + test.existing).c_str()),
                  vkRN_OK);
        char name[9] = {};
        ASSERT_EQ(m_slots->baseCreateDCFDir("ABCDE", name), vkRN_OK);
        EXPECT_STREQ(name, test.made);
        EXPECT_EQ(list("ATA01:\\DCIM\\").back().path, std::string("ATA01:\\DCIM\\") + test.made);
    }
    char name[9] = "unused";
    EXPECT_EQ(m_slots->baseCreateDCFDir("ABCD", name), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(m_slots->baseCreateDCFDir("ABCDEF", name), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(m_slots->basecreateDir("ATA01:\\DCIM\\004VELOR"), cameraError(sim::kRapiPathExists));
    // A number of four digits makes no DCF name.
    m_camera->defineRapiCommand(0x11100008, [](const sim::RapiRequest&) {
        return sim::RapiAnswer{0, {0xE8, 0x03, 0, 0}, {}, true};  // 1000
    });
    EXPECT_EQ(m_slots->baseCreateDCFDir("ABCDE", name), vkRNERROR_TRANSFER_FAILED);
    EXPECT_STREQ(name, "unused");
}

// Packed volume entries, as many as the caller has room for, the count the
// camera reports; a volume whose free space cannot be read is still listed.
TEST_F(Storage, VolumesArePackedAndCounted)
{
    sim::StorageState three = m_camera->storage();
    three.volumes.push_back({"CF3", three.volumes[1].card});
    struct Case {
        std::size_t volumes;
        uint16_t capacity;
        bool freeSpaceFails;
    } cases[] = {{2, 1, false}, {3, 3, false}, {2, 2, true}};
    for (const Case& test : cases) {
        SCOPED_TRACE(std::to_string(test.volumes) + " volumes, room for " +
                     std::to_string(test.capacity));
        sim::StorageState state = three;
        state.volumes.resize(test.volumes);
        m_camera->setStorage(state);
        if (test.freeSpaceFails)
            m_camera->injectRapiFault(0x1110000D, {0x00A50042, std::nullopt, std::nullopt});
        Bytes info(273, 0xEE);
        uint16_t count = test.capacity;
        ASSERT_EQ(m_slots->baseGetVols(info.data(), &count), vkRN_OK);
        EXPECT_EQ(count, test.volumes);
        const DWORD entries = wordAt(info.data());
        ASSERT_EQ(entries, std::min<DWORD>(test.volumes, test.capacity));
        std::size_t at = 4;
        for (DWORD i = 0; i < entries; ++i) {
            dsVOLUME_INFO_ENTRY entry;
            std::memcpy(&entry, &info[at], sizeof(entry));
            EXPECT_EQ(+entry.wReserved1, 1);
            EXPECT_EQ(+entry.wReserved2, 1);
            const std::string name = reinterpret_cast<const char*>(&info[at + 12]);
            EXPECT_EQ(name, state.volumes[i].name);
            const bool failed = test.freeSpaceFails && i == 0;
            EXPECT_EQ(+entry.dwFreeSpace2, failed ? 0 : state.volumes[i].card->capacity() / 1024);
            at += 12 + name.size() + 1;
        }
        EXPECT_EQ(info[at], 0xEE) << "nothing after the last entry";
    }
}

// What arrives at the camera: this camera takes "ATA01:" paths, earlier
// ones '/ATA01'; creation and writes send slashes and keep the letter case.
TEST_F(Storage, PathsEachCameraGenerationReceives)
{
    const std::string file = "atA01:\\dcim\\100velor\\img_0003.jpg";
    uint32_t n = 0;
    struct Case {
        const char* name;
        std::function<DWORD(DslrObject*)> run;
        std::size_t skip;  // bytes before the path
        std::string thisCamera, earlierCamera;
    } cases[] = {
        // clang-format off
        {"file", [&](DslrObject* o) { return o->baseGetFile(file.c_str(), &n); }, 4,
         "ATA01:\\DCIM\\100VELOR\\IMG_0003.JPG", "/ATA01\\DCIM\\100VELOR\\IMG_0003.JPG"},
        {"size", [&](DslrObject* o) { return o->baseGetFileSize(file.c_str(), &n); }, 0,
         "ATA01:\\DCIM\\100VELOR\\IMG_0003.JPG", "/ATA01\\DCIM\\100VELOR\\IMG_0003.JPG"},
        {"times", [&](DslrObject* o) { return o->baseSetFileTimes(pathList({file}).data(), 1); }, 4,
         "ATA01:\\DCIM\\100VELOR\\IMG_0003.JPG", "/ATA01\\DCIM\\100VELOR\\IMG_0003.JPG"},
        {"attributes",
         [&](DslrObject* o) { return o->baseSetFileAttribs(pathList({file}).data(), 0x20); }, 4,
         "ATA01:/DCIM/100VELOR/IMG_0003.JPG", "ATA01:/DCIM/100VELOR/IMG_0003.JPG"},
        {"directory", [](DslrObject* o) { return o->basecreateDir("ATA02:\\New"); }, 0, "ATA02:/New", "ATA02:/New"},
        {"write", [](DslrObject* o) { return o->basePutFile("ATA02:\\New\\a.txt", 1, 0, "x"); }, 12,
         "ATA02:/New/a.txt", "ATA02:/New/a.txt"},
        {"format", [](DslrObject* o) { return o->baseFormatVol("ata02", 0); }, 168, "ATA02", "ATA02"},
    };
    // clang-format on
    for (std::uint32_t model : {0x80000402u, 0x80000301u}) {
        configureModel(model);
        ASSERT_EQ(m_slots->baseCloseCameraComm(), vkRN_OK);
        ASSERT_EQ(m_slots->baseOpenCameraComm(0, nullptr, 0), vkRN_OK);
        m_camera->setStorage(sim::defaultStorage(0));
        for (const Case& test : cases) {
            SCOPED_TRACE(std::string(test.name) +
                         (model == 0x80000402u ? " (this)" : " (earlier)"));
            EXPECT_EQ(test.run(m_slots), vkRN_OK);
            const std::string& expected =
                model == 0x80000402u ? test.thisCamera : test.earlierCamera;
            EXPECT_EQ(lastParams().substr(test.skip, expected.size() + 1), expected + '\0');
        }
        // The camera answers listings in its own syntax.
        EXPECT_EQ(list("ATA01:\\DCIM", 1).front().path,
                  model == 0x80000402u ? "ATA01:\\DCIM\\100VELOR" : "/ATA01\\DCIM\\100VELOR");
    }
}

// What the camera refuses it refuses whole: the card stays as it was.
TEST_F(Storage, CameraRefusalsChangeNothing)
{
    sim::StorageState state = m_camera->storage();
    state.volumes[1].card = std::make_shared<sim::MemoryCard>(0x20000);  // 128 KiB
    m_camera->setStorage(state);
    const Bytes block(0xFF00, 0x11);
    ASSERT_EQ(m_slots->basePutFile("ATA02:\\A.BIN", 0xFF00, 0, block.data()), vkRN_OK);
    DslrObject* o = m_slots;
    struct Case {
        const char* name;
        std::function<DWORD()> run;
        DWORD result;
    } cases[] = {
        // clang-format off
        {"card full",
         [&] {
             o->basePutFile("ATA02:\\A.BIN", 0xFF00, 1, block.data());
             return o->basePutFile("ATA02:\\A.BIN", 0xFF00, 1, block.data());
         },
         cameraError(sim::kRapiCardFull)},
        {"append to no file", [&] { return o->basePutFile("ATA02:\\B.BIN", 1, 1, "x"); },
         cameraError(sim::kRapiNoSuchPath)},
        {"unknown file parameter", [&] { return o->basePutFile("ATA02:\\B.BIN", 1, 7, "x"); },
         cameraError(sim::kRapiBadRecord)},
        {"a name longer than 8.3",
         [&] { return o->basePutFile("ATA02:\\LONGNAME1.JPG", 1, 0, "x"); },
         cameraError(sim::kRapiValueRefused)},
        {"out of the card", [&] { return o->basecreateDir("ATA02:\\..\\X"); }, cameraError(sim::kRapiValueRefused)},
        {"no such volume", [&] { return o->basecreateDir("ATA09:\\X"); }, cameraError(sim::kRapiNoSuchVolume)},
        {"no parent", [&] { return o->basecreateDir("ATA02:\\X\\Y"); }, cameraError(sim::kRapiNoSuchPath)},
        {"a directory that holds files",
         [&] { return o->baseDeleteFiles(pathList({"ATA01:\\DCIM"}).data()); },
         cameraError(sim::kRapiNotEmpty)},
    };
    // clang-format on
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(test.run(), test.result);
        const std::vector<Listed> second = list("ATA02:\\");
        ASSERT_EQ(second.size(), 1u);
        EXPECT_EQ(second[0].size, 2u * 0xFF00) << "the first append fitted";
        EXPECT_EQ(list("ATA01:\\DCIM", 1).size(), 1u);
    }
}

// Debug bit 21: ATA02 is asked of ATA01 and its listing named ATA02 again;
// bit 16 adds the file read's timing lines.
TEST_F(Storage, VolumeRenamingAndTimingTraces)
{
    LogCapture log(DBGFLAG_RENAME_ATA02 | DBGFLAG_EXTRA_TIMING | 0x7F);
    m_object->m_bDirSubtreeMode = 0;
    const std::vector<Listed> entries = list("ATA02:\\DCIM", 1);
    EXPECT_EQ(lastParams().substr(1, 12), std::string("ATA01:\\DCIM\0", 12));
    EXPECT_EQ(m_object->m_bDirSubtreeMode, 1);
    ASSERT_FALSE(entries.empty());
    EXPECT_EQ(entries[0].path, "ATA02:\\DCIM\\100VELOR");
    uint32_t length = 0;
    EXPECT_EQ(m_slots->baseGetFile("ATA02:\\DCIM\\100VELOR\\IMG_0001.JPG", &length), vkRN_OK);
    EXPECT_EQ(lastParams().substr(4, 34),
              std::string("ATA01:\\DCIM\\100VELOR\\IMG_0001.JPG\0", 34));
    EXPECT_TRUE(log.contains("EnterLLFunction(GetFile)"));
    EXPECT_TRUE(
        log.contains("LeaveLLFunction(GetFile:DataLength (" + std::to_string(length) + ")byte"));
    EXPECT_TRUE(log.contains("  Utl_SwapBufferData: bingo!!"));
    const std::string longPath = "ATA02:\\" + std::string(250, 'A');
    EXPECT_EQ(m_slots->baseGetFile(longPath.c_str(), &length), vkRNERROR_INVALID_PARAMETER);
}

// Every allocation of every operation fails once in turn (the common
// judgement of tests/support/allocation_sweep.h): the caller's out value
// untouched but for a listing whose request could not be sent (its length
// is 0; a file's length stays); only a volume's free space may fail without
// failing the list.
TEST_F(Storage, EveryAllocationFailure)
{
    DslrObject* o = m_slots;
    const std::string jpg = "ATA01:\\DCIM\\100VELOR\\IMG_0001.JPG";
    const std::string list2 = pathList({"ATA01:\\DCIM\\100VELOR", "IMG_0001.JPG", "IMG_0002.JPG"});
    const Bytes dirs = subtreeRequest(1, "ATA01:\\DCIM\\");
    const SweptOperation operations[] = {
        // clang-format off
        {"baseGetFile", [&](void* r) { return o->baseGetFile(jpg.c_str(), static_cast<uint32_t*>(r)); }},
        {"baseGetParsingHeader",
         [&](void* r) { return o->baseGetParsingHeader(jpg.c_str(), static_cast<uint32_t*>(r)); }},
        {"baseGetFile", [&](void* r) { return o->baseGetFileSize(jpg.c_str(), r); }},
        {"baseGetDirs",
         [&](void* r) {
             Bytes copy = dirs;
             return o->baseGetDirs(copy.data(), static_cast<uint32_t*>(r));
         },
         kZeroesLengthUnsent},
        {"baseCreateDCFDir", [&](void* r) { return o->baseCreateDCFDir("ABCDE", static_cast<char*>(r)); }},
        {"basecreateDir", [&](void*) { return o->basecreateDir("ATA02:\\SWEEP"); }, 0, "baseGetFile: dslrSend"},
        {"in base", [&](void*) { return o->basePutFile("ATA02:\\A.TXT", 3, 0, "abc"); }},
        {"baseFormatVol", [&](void*) { return o->baseFormatVol("ATA02", 0); }},
        {"baseDeleteFiles", [&](void*) { return o->baseDeleteFiles(pathList({jpg}).data()); }},
        {"baseSetFileAttribs", [&](void*) { return o->baseSetFileAttribs(list2.data(), 0x20); }, 0,
         "dslrSendRemoteAPICommand has error(0x2000003) in baseDeleteFiles()"},
        {"baseSetFileTimes", [&](void*) { return o->baseSetFileTimes(list2.data(), 1); }},
        {"_rapiGet",
         [&](void* r) {
             uint16_t count = 2;
             return o->baseGetVols(r, &count);
         },
         kReadMayFail | kMaySurvive, "_rapiGetDriveFreeSpace"},
    };
    // clang-format on
    for (const SweptOperation& operation : operations)
        sweepOperation(operation, [&] { m_camera->setStorage(sim::defaultStorage(0)); });
}

}  // namespace
