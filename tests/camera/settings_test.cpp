// Camera information and settings through the device object's slots against
// the in-process camera: every tag read and written, the length rules of the
// prefixes and suffix, the clock under zones with daylight saving, the model
// description, the drive strings, and the canned answers of debug bit 22.

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "sim/settings.h"
#include "support/allocation_sweep.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/sim_object.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr DWORD kRefused = cameraError(sim::kRapiValueRefused);

std::string text(const std::vector<char>& bytes) { return std::string(bytes.data()); }

void setZone(const char* zone)
{
#ifdef _WIN32
    _putenv_s("TZ", zone);
    _tzset();
#else
    setenv("TZ", zone, 1);
    tzset();
#endif
}

using Settings = SimObject;

TEST_F(Settings, EveryReadTagAnswersFromTheCamera)
{
    const sim::SettingsState state = m_camera->settings();
    DWORD before = 0;
    struct Case {
        uint32_t tag;
        std::size_t size;
        DWORD result;
        std::function<void(const std::vector<char>&)> check;
    } cases[] = {
        {OWNER_NAME, 32, 0, [&](auto& r) { EXPECT_EQ(text(r), state.owner); }},
        {READ_FIRM_VERSION, 40, 0, [](auto& r) { EXPECT_EQ(text(r), "Firmware Version 1.2.3.0"); }},
        {READ_BATT_STATUS, 4, 0, [&](auto& r) { EXPECT_EQ(wordAt(r.data()), state.battery); }},
        {READ_BODY_ID, 4, 0, [&](auto& r) { EXPECT_EQ(wordAt(r.data()), state.bodyId); }},
        {DIRECTORY_SUFFIX, 6, 0, [](auto& r) { EXPECT_EQ(text(r), "VELOR"); }},
        {NAME_PREFIX_EX, 15, 0,
         [](auto& r) {
             EXPECT_EQ(std::string(r.data()), "IMG_");
             EXPECT_EQ(std::string(r.data() + 5), "RAW_");
             EXPECT_EQ(std::string(r.data() + 10), "SND_");
         }},
        {READ_CAMERA_FUNCTION_INFO, 1056, 0,
         [&](auto& r) {
             const auto expected = sim::functionInfoRecord(0x80000402, state);
             EXPECT_EQ(std::memcmp(r.data(), expected.data(), 1056), 0);
             dsCAMERA_FUNCTION_INFO info;
             std::memcpy(&info, r.data(), sizeof(info));
             EXPECT_EQ(+info.wSize, 1056);
             EXPECT_EQ(+info.dwModelID, 0x80000402u);
             EXPECT_STREQ(info.entries[0].cName, "Large:Raw");
             EXPECT_EQ(+info.dwSetting[5], 0x8000000Fu);
         }},
        {CAMERA_TIME, 4, 0,
         [&](auto& r) {
             // The camera's clock runs on: it read some time between the
             // two looks at this process's clock.
             const DWORD after = static_cast<DWORD>(std::time(nullptr));
             const DWORD read = wordAt(r.data());
             EXPECT_LE(before, read);
             EXPECT_LE(read, after);
         }},
        {CURRENT_DIRECTORY, 4, vkRNERROR_NOT_SUPPORTED, nullptr},
        {0, 4, vkRNERROR_NOT_SUPPORTED, nullptr},
        {7, 4, vkRNERROR_NOT_SUPPORTED, nullptr},
        {RESET_NAME_PREFIX, 4, vkRNERROR_NOT_SUPPORTED, nullptr},
        {15, 4, vkRNERROR_NOT_SUPPORTED, nullptr},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.tag);
        std::vector<char> record(test.size + 1, 0);
        before = static_cast<DWORD>(std::time(nullptr));
        EXPECT_EQ(m_slots->baseReadSetting(test.tag, record.data()), test.result);
        if (test.check) test.check(record);
        if (test.tag != OWNER_NAME && test.tag != READ_CAMERA_FUNCTION_INFO) {
            EXPECT_EQ(m_slots->baseReadSetting(test.tag, nullptr),
                      test.result == 0 ? kBad : test.result);
        }
    }
    LogCapture log(0x5);
    EXPECT_EQ(m_slots->baseReadSetting(4, nullptr), vkRNERROR_NOT_SUPPORTED);
    EXPECT_EQ(m_slots->baseReadSetting(CURRENT_DIRECTORY, nullptr), vkRNERROR_NOT_SUPPORTED);
    EXPECT_EQ(log.count("baseReadSetting: unknown operation tag."), 1) << "tag 4 only";
    EXPECT_EQ(log.count("<ERROR>"), 1);
    EXPECT_EQ(log.count("baseReadSetting: CURRENT_DIRECTORY"), 1);
}

// Writes read back what was written; what the library or the camera refuses
// changes nothing.
TEST_F(Settings, WritesReadBackAndRefusalsChangeNothing)
{
    const std::string longName(32, 'N');
    const dsFILE_NAME_PREFIX jpgOnly = {"ABCD", "X", "Y"};
    const dsFILE_NAME_PREFIX threeOneOne = {"ABC", "X", "Y"};
    const dsFILE_NAME_PREFIX none = {"", "", ""};
    struct Case {
        const char* name;
        uint32_t tag;
        const void* record;
        bool bit23;
        DWORD result;
        bool sent;
        std::function<void(const sim::SettingsState&)> check;
    } cases[] = {
        // clang-format off
        {"owner", OWNER_NAME, "Ann Example", false, 0, true, [](auto& s) { EXPECT_EQ(s.owner, "Ann Example"); }},
        {"owner of 31 characters", OWNER_NAME, longName.c_str() + 1, false, 0, true,
         [&](auto& s) { EXPECT_EQ(s.owner, longName.substr(1)); }},
        {"owner too long for the camera", OWNER_NAME, longName.c_str(), false, kRefused, true,
         [&](auto& s) { EXPECT_EQ(s.owner, longName.substr(1)); }},
        {"suffix", DIRECTORY_SUFFIX, "ABCDE", false, 0, true, [](auto& s) { EXPECT_EQ(s.suffix, "ABCDE"); }},
        {"suffix of 4", DIRECTORY_SUFFIX, "WXYZ", false, kBad, false, [](auto& s) { EXPECT_EQ(s.suffix, "ABCDE"); }},
        {"suffix of 6", DIRECTORY_SUFFIX, "UVWXYZ", false, kBad, false, nullptr},
        {"suffix of 6, bit 23: the camera refuses", DIRECTORY_SUFFIX, "UVWXYZ", true, kRefused,
         true, [](auto& s) { EXPECT_EQ(s.suffix, "ABCDE"); }},
        {"suffix reset", RESET_DIRECTORY_SUFFIX, nullptr, false, 0, true,
         [](auto& s) { EXPECT_EQ(s.suffix, "VELOR"); }},
        {"prefix 4-1-1", NAME_PREFIX_EX, &jpgOnly, false, 0, true,
         [](auto& s) {
             EXPECT_EQ(s.prefixes[0], "ABCD");
             EXPECT_EQ(s.prefixes[1], "RAW_");
         }},
        {"prefix 3-1-1", NAME_PREFIX_EX, &threeOneOne, false, kBad, false, nullptr},
        {"prefix 3-1-1, bit 23: the camera refuses", NAME_PREFIX_EX, &threeOneOne, true, kRefused,
         true, [](auto& s) { EXPECT_EQ(s.prefixes[0], "ABCD"); }},
        {"prefix empty", NAME_PREFIX_EX, &none, false, kBad, false, nullptr},
        {"prefix null", NAME_PREFIX_EX, nullptr, false, kBad, false, nullptr},
        {"prefix reset", RESET_NAME_PREFIX, nullptr, false, 0, true,
         [](auto& s) { EXPECT_EQ(s.prefixes, sim::factoryPrefixes()); }},
        {"suffix null", DIRECTORY_SUFFIX, nullptr, false, kBad, false, nullptr},
        {"read-only tag", READ_BODY_ID, "x", false, vkRNERROR_NOT_SUPPORTED, false, nullptr},
        {"unknown tag", 4, "x", false, vkRNERROR_NOT_SUPPORTED, false, nullptr},
        {"current directory", CURRENT_DIRECTORY, "x", false, vkRNERROR_NOT_SUPPORTED, false, nullptr},
    };
    // clang-format on
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        const std::size_t before = sent();
        {
            LogCapture log(test.bit23 ? std::uint32_t{DBGFLAG_RECORD_RANGE_CHECKS} : 0u);
            EXPECT_EQ(m_slots->baseWriteSetting(test.tag, test.record), test.result);
        }
        EXPECT_EQ(sent(), before + (test.sent ? 1 : 0));
        if (test.check) test.check(m_camera->settings());
    }
    // What the camera holds is what a read answers.
    std::vector<char> owner(32);
    ASSERT_EQ(m_slots->baseReadSetting(OWNER_NAME, owner.data()), vkRN_OK);
    EXPECT_EQ(text(owner), longName.substr(1));
}

// The application counts UTC; the camera's word is its wall clock. A write
// adds the zone's standard offset whatever the date; a read takes daylight
// saving from the date. So a time written in summer reads back one hour
// early, in winter or in a zone without daylight saving unchanged.
TEST_F(Settings, ClockWritesStandardTimeAndReadsTheDatesOwnDaylightSaving)
{
    const char* saved = std::getenv("TZ");
    const std::string savedZone = saved != nullptr ? saved : "";
#ifdef _WIN32
    const char* berlin = "CET-1CEST";
    const char* newYork = "EST5EDT";
#else
    const char* berlin = "CET-1CEST,M3.5.0,M10.5.0/3";
    const char* newYork = "EST5EDT,M3.2.0,M11.1.0";
#endif
    const char* tokyo = "JST-9";
    constexpr DWORD kJuly = 1721048400;     // 2024-07-15 13:00 on the camera's clock
    constexpr DWORD kJanuary = 1705323600;  // 2024-01-15 13:00 on the camera's clock
    struct Case {
        const char* zone;
        DWORD written;   // the application's UTC count
        DWORD camera;    // the camera's word for it
        DWORD readBack;  // 13:00 local on that date, as UTC
    } cases[] = {
        {berlin, kJuly - 3600, kJuly, kJuly - 7200},
        {berlin, kJanuary - 3600, kJanuary, kJanuary - 3600},
        {newYork, kJuly + 18000, kJuly, kJuly + 14400},
        {newYork, kJanuary + 18000, kJanuary, kJanuary + 18000},
        {tokyo, kJuly - 32400, kJuly, kJuly - 32400},
        {tokyo, kJanuary - 32400, kJanuary, kJanuary - 32400},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(std::string(test.zone) + " " + std::to_string(test.camera));
        setZone(test.zone);
        DWORD record = test.written;
        ASSERT_EQ(m_slots->baseWriteSetting(CAMERA_TIME, &record), vkRN_OK);
        EXPECT_EQ(record, test.camera);
        EXPECT_EQ(wordAt(lastRequest().params.data()), test.camera);
        // The camera answers with exactly the word it was given, so the
        // verdict does not depend on its clock running on.
        m_camera->defineRapiCommand(0x12100003, [word = test.camera](const sim::RapiRequest&) {
            Bytes record(12, 0);
            std::memcpy(record.data(), &word, sizeof word);
            return sim::RapiAnswer{0, record, {}, true};
        });
        DWORD read = 0;
        ASSERT_EQ(m_slots->baseReadSetting(CAMERA_TIME, &read), vkRN_OK);
        EXPECT_EQ(read, test.readBack);
    }
    setZone(savedZone.empty() ? "UTC" : savedZone.c_str());

    // A camera that says 0 is read as 0, not as a time of some zone.
    m_camera->defineRapiCommand(0x12100003, [](const sim::RapiRequest&) {
        return sim::RapiAnswer{0, Bytes(12, 0), {}, true};
    });
    DWORD read = 0xFFFFFFFF;
    ASSERT_EQ(m_slots->baseReadSetting(CAMERA_TIME, &read), vkRN_OK);
    EXPECT_EQ(read, 0u);
}

TEST_F(Settings, ModelDescriptionAndFirmwareVersion)
{
    struct Case {
        const char* modelName;
        DWORD firmware;
        const char* description;
        const char* version;
    } cases[] = {
        {"Velor ARX-4D", 0x01020300, "ARX-4D", "Firmware Version 1.2.3.0"},
        {"Other Camera", 0xFFFFFFFF, "Other Camera", "Firmware Version 255.255.255.255"},
        {"Velor", 0x00000A00, "", "Firmware Version 0.0.10.0"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.modelName);
        sim::SettingsState state = m_camera->settings();
        state.modelName = test.modelName;
        state.firmwareVersion = test.firmware;
        m_camera->setSettings(state);
        dsMODEL_DESCRIP description = {};
        ASSERT_EQ(m_slots->baseGetModelDescrip(&description), vkRN_OK);
        EXPECT_EQ(+description.dwModelID, 0x80000402u);
        EXPECT_STREQ(description.cModelName, test.description);
        char version[33];
        ASSERT_EQ(m_slots->baseReadSetting(READ_FIRM_VERSION, version), vkRN_OK);
        EXPECT_STREQ(version, test.version);
    }
    // A failed property read still leaves the model ID.
    m_camera->injectRapiFault(0x12100001, {0x00A50042, std::nullopt, std::nullopt});
    dsMODEL_DESCRIP description = {};
    EXPECT_EQ(m_slots->baseGetModelDescrip(&description), 0x02000042u);
    EXPECT_EQ(+description.dwModelID, 0x80000402u);
    EXPECT_STREQ(description.cModelName, "");
}

TEST_F(Settings, DriveStringsAndFreeSpace)
{
    char strings[32];
    std::memset(strings, 0x55, sizeof(strings));
    ASSERT_EQ(m_object->_rapiGetLogicalDriveStrings(strings), vkRN_OK);
    EXPECT_EQ(std::memcmp(strings, "ATA01\0ATA02\0\0", 13), 0);
    EXPECT_EQ(static_cast<unsigned char>(strings[13]), 0x55) << "only the announced bytes";
    dsDRIVE_FREE_SPACE space = {};
    ASSERT_EQ(m_object->_rapiGetDriveFreeSpace("ATA02", &space), vkRN_OK);
    EXPECT_EQ(+space.dwValue[0], 512000u) << "an empty card";
    EXPECT_EQ(+space.dwValue[1], 512000u);
    EXPECT_EQ(m_object->_rapiGetDriveFreeSpace("ATA09", &space),
              cameraError(sim::kRapiNoSuchVolume));
    EXPECT_EQ(m_object->_rapiGetDriveFreeSpace(nullptr, &space), kBad);

    // Drive strings longer than the caller's area are not read at all.
    sim::StorageState state = m_camera->storage();
    state.volumes[0].name = "VOLUME-NUMBER-ONE";
    state.volumes[1].name = "VOLUME-NUMBER-TWO";
    m_camera->setStorage(state);
    std::memset(strings, 0x55, sizeof(strings));
    LogCapture log(0x1);
    EXPECT_EQ(m_object->_rapiGetLogicalDriveStrings(strings), vkRNERROR_TRANSFER_FAILED);
    EXPECT_TRUE(log.contains("_rapiGetLogicalDriveStrings: Out Of ReadLength(37)"));
    EXPECT_EQ(static_cast<unsigned char>(strings[0]), 0x55);
}

// With debug bit 22 the operations answer from the canned camera and the
// camera hears nothing at all.
TEST_F(Settings, CannedAnswersSendNoCommand)
{
    std::strcpy(m_object->m_portName, "sim:camera7");
    m_camera->clearRecords();
    const std::size_t requests = sent();
    LogCapture log(DBGFLAG_CANNED_ANSWERS);
    std::vector<char> owner(32);
    EXPECT_EQ(m_slots->baseReadSetting(OWNER_NAME, owner.data()), vkRN_OK);
    EXPECT_EQ(text(owner), "Mr.Velor");
    // The clock read answers at once, leaving the caller's word.
    for (auto [tag, expected] : {std::pair<uint32_t, DWORD>{CAMERA_TIME, 0x12345678},
                                 {READ_BATT_STATUS, 0x10000006},
                                 {READ_BODY_ID, 7}}) {
        DWORD value = 0x12345678;
        EXPECT_EQ(m_slots->baseReadSetting(tag, &value), vkRN_OK);
        EXPECT_EQ(value, expected) << tag;
    }
    DWORD timeRecord[3] = {};
    EXPECT_EQ(m_object->_rapiGetCameraTime(timeRecord), vkRN_OK);
    EXPECT_EQ(timeRecord[0], 1000000000u);
    dsCAMERA_FUNCTION_INFO info;
    std::memset(&info, 0xEE, sizeof(info));
    EXPECT_EQ(m_slots->baseReadSetting(READ_CAMERA_FUNCTION_INFO, &info), vkRN_OK);
    EXPECT_EQ(+info.wSize, 1056);
    EXPECT_EQ(+info.dwModelID, 0x80000529u);
    EXPECT_STREQ(info.cModelName, "Velor ARX-7QM");
    EXPECT_EQ(+info.dwNumOfEntries, 5u);
    EXPECT_STREQ(info.entries[4].cName, "Small:Valiable");
    EXPECT_EQ(+info.entries[0].dwValue[2], 4u);
    EXPECT_EQ(+info.dwFixedValue[2], 0x9Fu);
    EXPECT_EQ(+info.wFixedValue, 11);
    EXPECT_EQ(+info.dwSetting[5], 0x8000000Fu);
    EXPECT_EQ(+info.dwFunction[0], 0u);
    BYTE volumes[32] = {};
    WORD count = 0;
    EXPECT_EQ(m_slots->baseGetVols(volumes, &count), vkRN_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(volumes[0], 1);
    dsVOLUME_INFO_ENTRY entry;
    std::memcpy(&entry, volumes + 4, sizeof(entry));
    EXPECT_EQ(+entry.dwFreeSpace1, 0x40000000u);
    EXPECT_STREQ(reinterpret_cast<const char*>(volumes + 16), "A:");
    // An empty prefix is answered before the length checks; a short suffix after them.
    const dsFILE_NAME_PREFIX prefix = {"", "", ""};
    DWORD clock = 1000;
    const struct {
        uint32_t tag;
        const void* record;
        DWORD result;
    } writes[] = {{OWNER_NAME, "Someone", vkRN_OK},          {CAMERA_TIME, &clock, vkRN_OK},
                  {NAME_PREFIX_EX, &prefix, vkRN_OK},        {DIRECTORY_SUFFIX, "ABCDE", vkRN_OK},
                  {DIRECTORY_SUFFIX, "ABCD", kBad},          {RESET_NAME_PREFIX, nullptr, vkRN_OK},
                  {RESET_DIRECTORY_SUFFIX, nullptr, vkRN_OK}};
    for (const auto& write : writes)
        EXPECT_EQ(m_slots->baseWriteSetting(write.tag, write.record), write.result) << write.tag;
    EXPECT_TRUE(m_camera->received().empty()) << m_camera->received().size() << " commands";
    EXPECT_EQ(sent(), requests);
    EXPECT_EQ(m_camera->settings().owner, sim::SettingsState().owner);
}

// Debug bit 26 replaces the camera's function information with the canned
// record after a successful read.
TEST_F(Settings, CannedFunctionInfoReplacesTheCamerasRecord)
{
    LogCapture log(DBGFLAG_CANNED_FUNCTION_INFO | 0x4);
    dsCAMERA_FUNCTION_INFO info = {};
    const std::size_t requests = sent();
    ASSERT_EQ(m_slots->baseReadSetting(READ_CAMERA_FUNCTION_INFO, &info), vkRN_OK);
    EXPECT_EQ(sent(), requests + 1) << "the camera was asked";
    EXPECT_EQ(+info.dwModelID, 0x80000529u);
    EXPECT_TRUE(log.contains("529 FunctionInfo Set"));
}

// Every allocation of every operation fails once in turn (the common
// judgement of tests/support/allocation_sweep.h), but for the first word
// where the operation always writes one (the clock and the battery state
// read 0, the model description holds the model ID). A failure inside the
// drive strings' data read is a failed read.
TEST_F(Settings, EveryAllocationFailure)
{
    DslrObject* o = m_slots;
    Dslr1394Object* self = m_object;
    auto read = [o](uint32_t tag) {
        return [o, tag](void* r) { return o->baseReadSetting(tag, r); };
    };
    const dsFILE_NAME_PREFIX prefix = {"ABCD", "EFGH", "IJKL"};
    const SweptOperation operations[] = {
        // clang-format off
        {"_rapiGetOwnerName", read(OWNER_NAME)},
        {"_rapiGetCameraTime", read(CAMERA_TIME), kWritesFirstWord},
        {"_rapiGetCameraProperty:", read(READ_FIRM_VERSION)},
        {"_rapiGetCurrentBatt", read(READ_BATT_STATUS), kWritesFirstWord},
        {"_rapiGetCameraBodyID", read(READ_BODY_ID)},
        {"_rapiGetCameraFunctionInfo", read(READ_CAMERA_FUNCTION_INFO)},
        {"_rapiGetDirNameSuffix", read(DIRECTORY_SUFFIX)},
        {"_rapiGetFileNamePrefix", read(NAME_PREFIX_EX)},
        {"_rapiGetCameraProperty", [o](void* r) { return o->baseGetModelDescrip(r); }, kWritesFirstWord},
        {"_rapiGetLogicalDriveStrings",
         [self](void* r) { return self->_rapiGetLogicalDriveStrings(static_cast<char*>(r)); },
         kReadMayFail},
        {"_rapiGetDriveFreeSpace", [self](void* r) { return self->_rapiGetDriveFreeSpace("ATA01", r); }},
        {"_rapiSetOwnerName", [o](void*) { return o->baseWriteSetting(OWNER_NAME, "Ann"); }},
        {"_rapiSetCameraTime",
         [o](void*) {
             DWORD clock = 1700000000;
             return o->baseWriteSetting(CAMERA_TIME, &clock);
         }},
        {"_rapiSetDirectoryNameSuffix", [o](void*) { return o->baseWriteSetting(DIRECTORY_SUFFIX, "ABCDE"); }},
        {"_rapiSetFileNamePrefix", [o, &prefix](void*) { return o->baseWriteSetting(NAME_PREFIX_EX, &prefix); }},
        {"_rapiResetFileNamePrefix", [o](void*) { return o->baseWriteSetting(RESET_NAME_PREFIX, nullptr); }},
        {"_rapiResetDirectoryNameSuffix", [o](void*) { return o->baseWriteSetting(RESET_DIRECTORY_SUFFIX, nullptr); }},
    };
    // clang-format on
    for (const SweptOperation& operation : operations) sweepOperation(operation);
}

}  // namespace
