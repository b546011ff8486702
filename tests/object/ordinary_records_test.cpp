// The log records of ordinary paths, where the records are all there is to
// see: support people compare logs line by line, so safety measures must not
// add records to a path that needs none of them.

#include "memory/sense_message.h"
#include "msgchannel/ScsiScanManager.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"
#include "support/fresh_object.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <string>
#include <vector>

namespace {

using Records = std::vector<std::string>;

constexpr std::uint32_t kEverything = 0x7F;
constexpr std::uint32_t kErrorsOnly = 0x01;
constexpr std::uint32_t kChecksOnly = 0x04;

// Handle values and the test's port name vary from run to run.
Records normalised(const Records& messages, const std::string& port)
{
    Records result;
    for (std::string message : messages) {
        for (std::size_t at; (at = message.find(port)) != std::string::npos;)
            message.replace(at, port.size(), "PORT");
        result.push_back(std::regex_replace(message, std::regex("0x[0-9a-fA-F]+"), "0x?"));
    }
    return result;
}

// The system's text for an error code, as the log writes it.
std::string errorText(DWORD code)
{
    LPSTR text = nullptr;
    os::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, 0, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    std::string result = text != nullptr ? text : "";
    os::LocalFree(text);
    return result;
}

using OrdinaryRecords = FreshObject;

TEST_F(OrdinaryRecords, PathsWriteExactlyTheirOwnRecords)
{
    SenseMessage sense;
    sense.CreateSenseMessageBuffer(64);
    const std::string port = "sim:" + uniqueName("records");
    DslrObject* fresh = DSLR_GetObject();
    struct Case {
        const char* name;
        std::function<void()> run;
        Records expected;
    } cases[] = {
        {"first data-channel open",
         [&] { m_object->ScanMngrOpenPort(port.c_str()); },
         {"ScanMngrOpenPort()", "Utl_CreateMutexObject", "ScanMngrCreateMutex",
          "ScanMngrCreateMutex: cPortNamePtr(PORT)", "_ScanMngrCreateMutex: cPortNamePtr(PORT)",
          "_ScanMngrCreateMutex: cPortNamePtr(PORT) cPortNameStr(PORT_DSLR1394_)",
          "WindowsNT/2k System", "_ObtainAccessableMutex: befor CreateMutex(PORT_DSLR1394_)",
          "_ObtainAccessableMutex: after CreateMutex(PORT_DSLR1394_)",
          "ScanMngrCreateMutex: m_hDeviceAccessMutex(0x?)",
          "befor WaitForSingleObject in Utl_WaitForMutexObject()",
          "WaitForSingleObject(MutexHandle=0x?) return WAIT_OBJECT_0 in Utl_WaitForMutexObject()",
          "_ScanMngrOpenPort", "m_hDevice(0x?) INVALID_HADLE_VALUE(0x?)",
          "befor CreateFileA(PORT) in _ScanMngrOpenPort()",
          "_ScanMngrOpenPort: after CreateFileA(PORT) m_hDevice(0x?)",
          "ErrorString = " + errorText(0), "befor ReleaseMutex in Utl_ReleaseMutexObject()",
          "Release MutexHandle(0x?) in Utl_ReleaseMutexObject()"}},
        {"queue lock set up twice",
         [&] {
             m_object->_ScanMngrCritSecInit();
             m_object->_ScanMngrCritSecInit();
             m_object->_ScanMngrCritSecDest();
         },
         {"_ScanMngrCritSecInit: befor InitializeCriticalSection",
          "_ScanMngrCritSecInit: after InitializeCriticalSection",
          "_ScanMngrCritSecInit: befor InitializeCriticalSection",
          "_ScanMngrCritSecInit: after InitializeCriticalSection",
          "_ScanMngrCritSecDest: m_bCritObjFlg is TRUE",
          "_ScanMngrCritSecDest: befor DeleteCriticalSection",
          "_ScanMngrCritSecDest: after DeleteCriticalSection"}},
        {"sense check",
         [&] { sense.CheckSenseMessage(9, 0x80); },
         {"CheckSenseMessage()", "GetBufferPointer()", "GetBufferPointer()",
          "CheckSenseMessage()"}},
        {"teardown of a fresh object",
         [&] { DSLR_DeleteObject(fresh); },
         {"Initialize: Before delete m_scsiScanMngrPtr",
          "Initialize: Before delete m_scsiScanMngrPtr", "Utl_CloseHandle()",
          "HandleRef(0x?) in Utl_CloseHandle()", "Utl_CloseHandle()",
          "HandleRef(0x?) in Utl_CloseHandle()", "Utl_CloseHandle()",
          "HandleRef(0x?) in Utl_CloseHandle()"}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        LogCapture log(kEverything);
        test.run();
        EXPECT_EQ(normalised(log.messages(), port), test.expected);
    }
}

// The outcome texts of the message channel's two waits are checks, also
// when the wait failed, and begin with the class's five spaces.
TEST_F(OrdinaryRecords, WaitOutcomesAreChecks)
{
    ScsiScanManager* manager = m_object->m_scsiScanMngrPtr;
    struct Case {
        std::function<DWORD()> wait;
        const char* text;
    } cases[] = {
        {[&] { return manager->WaitForMutexObject(30000); },
         "     WaitForMutexObject: WaitForSingleObject return WAIT_FAILED"},
        {[&] { return manager->WaitForOverlappedObject(10000); },
         "     WaitForOverlappedObject: WaitForSingleObject return WAIT_FAILED"},
    };
    for (const Case& test : cases) {
        for (std::uint32_t flags : {kChecksOnly, kErrorsOnly}) {
            SCOPED_TRACE(std::string(test.text) + (flags == kChecksOnly ? " checks" : " errors"));
            LogCapture log(flags);
            FaultPlan plan;
            plan.fail(Op::WaitForSingleObject, 1);
            EXPECT_EQ(test.wait(), vkRNERROR_TRANSFER_FAILED);
            const Records messages = log.messages();
            const bool written =
                std::find(messages.begin(), messages.end(), test.text) != messages.end();
            EXPECT_EQ(written, flags == kChecksOnly);
        }
    }
}

os::Api g_beforeClobber;

// Every record leaves another error behind, as a file write on a real
// system may.
DWORD WINAPI clobberingTime()
{
    os::SetLastError(ERROR_ACCESS_DENIED);
    return g_beforeClobber.timeGetTime();
}

// The error text after a failed completion wait is the wait's own, not
// whatever the records written since left behind.
TEST_F(OrdinaryRecords, FailedCompletionWaitReportsItsOwnError)
{
    OVERLAPPED overlapped;
    m_object->_ScanMngrCreateOverlappedEvent(&overlapped, TRUE);
    BYTE status = 0;
    DWORD transferred = 0;
    {
        LogCapture log(kEverything);
        FaultPlan plan;
        plan.fail(Op::WaitForSingleObject, 1, ERROR_INVALID_HANDLE);
        g_beforeClobber = os::api();
        os::api().timeGetTime = clobberingTime;
        EXPECT_EQ(m_object->_ScanMngrWaitForAndCheckOverlappedResult(TRUE, nullptr, &overlapped,
                                                                     &status, &transferred, 1000),
                  vkRNERROR_TRANSFER_FAILED);
        EXPECT_TRUE(log.contains("ErrorString = " + errorText(ERROR_INVALID_HANDLE)));
        EXPECT_FALSE(log.contains("ErrorString = " + errorText(ERROR_ACCESS_DENIED)));
    }
    os::CloseHandle(overlapped.hEvent);
}

}  // namespace
