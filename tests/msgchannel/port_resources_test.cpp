// The message channel's port: its four resources, their names, the shared
// no-device flag, what two users of one port share, and what each failing
// system call of an open or close leaves (its result, no handle or block).

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "platform/platform_api.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using Manager = std::unique_ptr<ScsiScanManager>;
Manager newManager() { return Manager(new ScsiScanManager); }

TEST(PortNames, OnlyTheBaseNameEntersTheObjectNames)
{
    struct Case {
        const char* port;
        const char* mutexName;
        const char* mapName;
    } cases[] = {
        {"\\\\.\\Usbscan0", "_DSLR1394_Usbscan0", "TerminateFlagFileMap_Q317_Usbscan0"},
        {"a\\b\\cam", "_DSLR1394_cam", "TerminateFlagFileMap_Q317_cam"},
        {"sim:cam/1", "_DSLR1394_sim:cam/1", "TerminateFlagFileMap_Q317_sim:cam/1"},
        {"trailing\\", "_DSLR1394_", "TerminateFlagFileMap_Q317_"},
    };
    for (const Case& c : cases) {
        Manager manager = newManager();
        std::snprintf(manager->m_portName, kPortNameSize, "%s", c.port);
        char name[kPortNameSize] = {};
        ASSERT_EQ(manager->CreateMutexObjectName(name), vkRN_OK);
        EXPECT_STREQ(name, c.mutexName);
        char mapName[kPortNameSize] = {};
        ASSERT_EQ(manager->CreateMapFileObjectName(mapName), vkRN_OK);
        EXPECT_STREQ(mapName, c.mapName);
    }
    Manager manager = newManager();
    std::string longBase(250, 'n');
    std::snprintf(manager->m_portName, kPortNameSize, "%s", longBase.c_str());
    char name[kPortNameSize] = {};
    EXPECT_EQ(manager->CreateMapFileObjectName(name), vkRNERROR_INVALID_PARAMETER);
}

TEST(Port, BadPortNamesAreRefusedAndLeaveThePortClosed)
{
    std::string tooLong(kPortNameSize, 'p');
    struct Case {
        const char* port;
        DWORD result;
    } cases[] = {
        {nullptr, vkRNERROR_INVALID_PARAMETER},
        {"", vkRNERROR_INVALID_PARAMETER},
        {"x", vkRNERROR_INVALID_PARAMETER},
        {tooLong.c_str(), vkRNERROR_INVALID_PARAMETER},
        {"/nonexistent-device-path/vkrn0", vkRNERROR_DEVICE_NOT_AVAILABLE},
    };
    for (const Case& c : cases) {
        Manager manager = newManager();
        EXPECT_EQ(manager->OpenPort(c.port), c.result);
        EXPECT_EQ(manager->m_portOpenCount, 0u);
        EXPECT_EQ(manager->m_hDevice, INVALID_HANDLE_VALUE);
        EXPECT_EQ(manager->ClosePort(), vkRNERROR_PORT_NOT_OPEN);
    }
}

using OpenedPort = FakePort;

TEST_F(OpenedPort, OpensAreCountedAndTheLastCloseClosesEverything)
{
    const auto handles = [&] {
        return std::vector<HANDLE>{m_manager->m_hDevice, m_manager->m_hAccessMutex,
                                   m_manager->m_hOverlappedEvent, m_manager->m_hMapFile};
    };
    const std::vector<HANDLE> opened = handles();
    for (HANDLE h : opened) EXPECT_NE(h, INVALID_HANDLE_VALUE);
    EXPECT_EQ(m_manager->ReadMapFile(), 1u);

    ASSERT_EQ(m_manager->OpenPort(m_device.path()), vkRN_OK);
    EXPECT_EQ(m_manager->m_portOpenCount, 2u);
    EXPECT_EQ(m_manager->ClosePort(), vkRN_OK);
    EXPECT_EQ(m_manager->m_portOpenCount, 1u);
    EXPECT_EQ(handles(), opened);

    EXPECT_EQ(m_manager->ClosePort(), vkRN_OK);
    EXPECT_EQ(m_manager->m_portOpenCount, 0u);
    EXPECT_EQ(handles(), std::vector<HANDLE>(4, INVALID_HANDLE_VALUE));
    EXPECT_EQ(m_manager->ClosePort(), vkRNERROR_PORT_NOT_OPEN);
}

TEST(Port, TwoUsersOfOneBaseNameShareMutexAndFlag)
{
    std::string baseName = uniqueName("cam");
    FakeDevice first(baseName, uniqueName("left"));
    FakeDevice second(baseName, uniqueName("right"));
    Manager a = newManager();
    Manager b = newManager();
    ASSERT_EQ(a->OpenPort(first.path()), vkRN_OK);
    ASSERT_EQ(a->WriteMapFile(0), vkRN_OK);
    ASSERT_EQ(b->OpenPort(second.path()), vkRN_OK);
    EXPECT_EQ(a->ReadMapFile(), 1u);  // the newcomer raised the shared flag

    ASSERT_EQ(a->WaitForMutexObject(30000), vkRN_OK);
    DWORD otherThreadResult = 0;
    std::thread other([&] { otherThreadResult = b->WaitForMutexObject(50); });
    other.join();
    EXPECT_EQ(otherThreadResult, vkRNERROR_TRANSFER_FAILED);
    os::ReleaseMutex(a->m_hAccessMutex);

    EXPECT_EQ(b->ClosePort(), vkRN_OK);
    EXPECT_EQ(a->ClosePort(), vkRN_OK);
}

TEST_F(OpenedPort, FlagReadsAndProbeOnlyWhereTheSystemNeedsIt)
{
    {
        LogCapture log(0xFF);
        ASSERT_EQ(m_manager->WriteMapFile(0), vkRN_OK);
        EXPECT_EQ(m_manager->ReadMapFile(), 0u);
        EXPECT_TRUE(log.contains("     ReadMapFile: Get noDeviceFlag to MapFile(0)."));
        EXPECT_EQ(m_manager->CheckDeviceHandle(), vkRN_OK);
        EXPECT_FALSE(log.contains("CheckDeviceHandle"));
    }
    // Windows 98 opens the path again to see whether the device is there.
    OSVERSIONINFOA actual = m_manager->m_osVersionInfo;
    m_manager->m_osVersionInfo.dwPlatformId = VER_PLATFORM_WIN32_WINDOWS;
    m_manager->m_osVersionInfo.dwMajorVersion = 4;
    m_manager->m_osVersionInfo.dwMinorVersion = 10;
    // The port's own handle holds its device exclusively, so the probe is
    // shown another device that is there, then one that is not.
    FakeDevice present(uniqueName("cam"));
    std::snprintf(m_manager->m_portName, kPortNameSize, "%s", present.path());
    EXPECT_EQ(m_manager->CheckDeviceHandle(), vkRN_OK);
    std::snprintf(m_manager->m_portName, kPortNameSize, "%s", "/nonexistent-device-path/gone");
    EXPECT_EQ(m_manager->CheckDeviceHandle(), vkRNERROR_DEVICE_NOT_AVAILABLE);
    m_manager->m_osVersionInfo = actual;
    EXPECT_EQ(m_manager->ClosePort(), vkRN_OK);
}

#ifndef _WIN32

// Runs `body` in a child process and returns its exit status.
template <typename Body>
int inChild(Body body)
{
    pid_t pid = fork();
    if (pid == 0) _exit(body());
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
}

using PortAcrossProcesses = FakePort;

TEST_F(PortAcrossProcesses, SecondProcessOpensTheGuardedMutexAndRaisesTheFlag)
{
    ASSERT_EQ(m_manager->WriteMapFile(0), vkRN_OK);
    int status = inChild([&] {
        LogCapture log(0x4);
        Manager mine = newManager();
        if (mine->OpenPort(m_device.path()) != vkRN_OK) return 1;
        // The creator's descriptor keeps others from opening with full access.
        if (!log.contains("CreateMutexHandle: OpenMutex was successful")) return 2;
        return mine->ClosePort() == vkRN_OK ? 0 : 3;
    });
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(m_manager->ReadMapFile(), 1u);
    EXPECT_EQ(m_manager->ClosePort(), vkRN_OK);
}

TEST_F(PortAcrossProcesses, MutexOfAKilledOwnerIsTaken)
{
#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer does not see a lock taken over from a dead process
    // (EOWNERDEAD) as held and reports the release; the other builds run it.
    GTEST_SKIP() << "ownership taken over from a dead process is outside ThreadSanitizer's model";
#endif
    int status = inChild([&] {
        Manager mine = newManager();
        if (mine->OpenPort(m_device.path()) != vkRN_OK ||
            mine->WaitForMutexObject(30000) != vkRN_OK) {
            return 1;
        }
        raise(SIGKILL);
        return 2;
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    LogCapture log(0x4);
    EXPECT_EQ(m_manager->WaitForMutexObject(30000), vkRN_OK);
    EXPECT_TRUE(log.contains("WaitForMutexObject: WaitForSingleObject return WAIT_ABANDONED."));
    os::ReleaseMutex(m_manager->m_hAccessMutex);
    EXPECT_EQ(m_manager->ClosePort(), vkRN_OK);
}

#endif  // _WIN32

TEST(OpenPortFaults, EachFailingCallGivesItsResult)
{
    FakeDevice device(uniqueName("fault"));
    struct Case {
        Op op;
        DWORD error;
        DWORD result;
        const char* text;
    } cases[] = {
        {Op::GetVersionExA, ERROR_INVALID_PARAMETER, vkRNERROR_TRANSFER_FAILED,
         "OpenPort: GetVersionEx went wrong"},
        {Op::CreateFileA, ERROR_FILE_NOT_FOUND, vkRNERROR_DEVICE_NOT_AVAILABLE,
         "A handle was not able to be taken"},
        // Create refused and the fallback finds nothing: the system's code.
        {Op::CreateMutexA, ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND,
         "CreateMutexHandle: OpenMutex went wrong"},
        {Op::CreateEventA, ERROR_NOT_ENOUGH_MEMORY, vkRNERROR_TRANSFER_FAILED,
         "CreateEvent went wrong"},
        {Op::CreateFileMappingA, ERROR_NOT_ENOUGH_MEMORY, ERROR_NOT_ENOUGH_MEMORY,
         "CreateFileMapping went wrong(0x8)"},
        {Op::MapViewOfFile, ERROR_NOT_ENOUGH_MEMORY, vkRNERROR_OUT_OF_MEMORY,
         "WriteMapFile: MapViewOfFile went wrong"},
        {Op::UnmapViewOfFile, ERROR_INVALID_ADDRESS, vkRNERROR_TRANSFER_FAILED,
         "WriteMapFile: UnmapViewOfFile went wrong"},
        // Without a descriptor the objects get default security; the port opens.
        {Op::AllocateAndInitializeSid, ERROR_NOT_ENOUGH_MEMORY, vkRN_OK, nullptr},
        {Op::LocalAlloc, ERROR_NOT_ENOUGH_MEMORY, vkRN_OK, nullptr},
        {Op::InitializeAcl, ERROR_INVALID_PARAMETER, vkRN_OK, nullptr},
        {Op::AddAccessDeniedAce, ERROR_ALLOTTED_SPACE_EXCEEDED, vkRN_OK, nullptr},
        {Op::AddAccessAllowedAce, ERROR_ALLOTTED_SPACE_EXCEEDED, vkRN_OK, nullptr},
        {Op::SetSecurityDescriptorDacl, ERROR_INVALID_PARAMETER, vkRN_OK, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(OpName(c.op));
        std::size_t handles = openHandleCount();
        {
            LogCapture log(0x1);
            FaultPlan plan;
            plan.fail(c.op, 1, c.error);
            Manager manager = newManager();
            EXPECT_EQ(manager->OpenPort(device.path()), c.result);
            if (c.text != nullptr) {
                EXPECT_TRUE(log.contains(c.text));
                EXPECT_EQ(manager->m_portOpenCount, 0u);
                EXPECT_EQ(manager->m_hDevice, INVALID_HANDLE_VALUE);
            } else {
                EXPECT_EQ(manager->ClosePort(), vkRN_OK);
            }
            manager.reset();
            EXPECT_EQ(plan.outstandingAllocations(), 0u);
        }
        EXPECT_EQ(openHandleCount(), handles);
    }
}

using PortFaults = FakePort;

TEST_F(PortFaults, ClosePortKeepsEverythingWhenTheMutexCannotBeHad)
{
    {
        LogCapture log(0x1 | 0x4);
        FaultPlan plan;
        plan.fail(Op::WaitForSingleObject, 1, ERROR_SUCCESS, WAIT_TIMEOUT);
        EXPECT_EQ(m_manager->ClosePort(), vkRNERROR_TRANSFER_FAILED);
        EXPECT_TRUE(log.contains("WaitForMutexObject: WaitForSingleObject return WAIT_TIMEOUT."));
        EXPECT_TRUE(log.contains("ClosePort: WaitForMutexObject went wrong."));
        EXPECT_EQ(m_manager->m_portOpenCount, 1u);
        EXPECT_NE(m_manager->m_hDevice, INVALID_HANDLE_VALUE);
    }
    {
        // A failing close is reported with the system's code, and the port
        // still ends closed.
        FaultPlan plan;
        plan.fail(Op::CloseHandle, 4, ERROR_INVALID_HANDLE);
        EXPECT_EQ(m_manager->ClosePort(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
        EXPECT_EQ(m_manager->m_portOpenCount, 0u);
    }
}

TEST_F(PortFaults, AbandonedAndFailedWaits)
{
    struct Case {
        DWORD wait;
        DWORD result;
        const char* text;
    } cases[] = {
        {WAIT_ABANDONED, vkRN_OK, "return WAIT_ABANDONED."},
        {WAIT_FAILED, vkRNERROR_TRANSFER_FAILED, "return WAIT_FAILED."},
        {0x1234, vkRNERROR_TRANSFER_FAILED, "return Unknown_ErrorValue(0x1234)."},
    };
    for (const Case& c : cases) {
        LogCapture log(0x1 | 0x4);
        FaultPlan plan;
        plan.fail(Op::WaitForSingleObject, 1, ERROR_INVALID_HANDLE, c.wait);
        EXPECT_EQ(m_manager->WaitForMutexObject(30000), c.result);
        EXPECT_TRUE(log.contains(c.text)) << c.text;
    }
    // The sense reads' time-out waits on through time-outs until it owns it.
    {
        FaultPlan plan;
        plan.fail(Op::WaitForSingleObject, 1, ERROR_SUCCESS, WAIT_TIMEOUT);
        EXPECT_EQ(m_manager->WaitForMutexObject(60000), vkRN_OK);
        EXPECT_EQ(plan.calls(Op::WaitForSingleObject), 2u);
        os::ReleaseMutex(m_manager->m_hAccessMutex);
    }
    EXPECT_EQ(m_manager->ClosePort(), vkRN_OK);
}

}  // namespace
