// Failing system calls while the port opens and closes: each gives its
// documented result, and no handle or block is left behind.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class PortFaults : public ::testing::Test {
protected:
    FakeDevice m_device{uniqueName("fault")};
};

TEST_F(PortFaults, EachFailingCallOfOpenPortGivesItsResult)
{
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
            ScsiScanManager* manager = new ScsiScanManager;
            EXPECT_EQ(manager->OpenPort(m_device.path()), c.result);
            if (c.text != nullptr) {
                EXPECT_TRUE(log.contains(c.text));
                EXPECT_EQ(manager->m_portOpenCount, 0u);
                EXPECT_EQ(manager->m_hDevice, INVALID_HANDLE_VALUE);
            } else {
                EXPECT_EQ(manager->ClosePort(), vkRN_OK);
            }
            delete manager;
            EXPECT_EQ(plan.outstandingAllocations(), 0u);
        }
        EXPECT_EQ(openHandleCount(), handles);
    }
}

TEST_F(PortFaults, ClosePortKeepsEverythingWhenTheMutexCannotBeHad)
{
    ScsiScanManager* manager = new ScsiScanManager;
    ASSERT_EQ(manager->OpenPort(m_device.path()), vkRN_OK);
    {
        LogCapture log(0x1 | 0x4);
        FaultPlan plan;
        plan.fail(Op::WaitForSingleObject, 1, ERROR_SUCCESS, WAIT_TIMEOUT);
        EXPECT_EQ(manager->ClosePort(), vkRNERROR_TRANSFER_FAILED);
        EXPECT_TRUE(log.contains("WaitForMutexObject: WaitForSingleObject return WAIT_TIMEOUT."));
        EXPECT_TRUE(log.contains("ClosePort: WaitForMutexObject went wrong."));
        EXPECT_EQ(manager->m_portOpenCount, 1u);
        EXPECT_NE(manager->m_hDevice, INVALID_HANDLE_VALUE);
    }
    {
        // A failing close is reported with the system's code, and the port
        // still ends closed.
        FaultPlan plan;
        plan.fail(Op::CloseHandle, 4, ERROR_INVALID_HANDLE);
        EXPECT_EQ(manager->ClosePort(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
        EXPECT_EQ(manager->m_portOpenCount, 0u);
    }
    delete manager;
}

TEST_F(PortFaults, AbandonedAndFailedWaits)
{
    ScsiScanManager* manager = new ScsiScanManager;
    ASSERT_EQ(manager->OpenPort(m_device.path()), vkRN_OK);
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
        EXPECT_EQ(manager->WaitForMutexObject(30000), c.result);
        EXPECT_TRUE(log.contains(c.text)) << c.text;
    }
    // The sense reads' time-out waits on through time-outs until it owns it.
    {
        FaultPlan plan;
        plan.fail(Op::WaitForSingleObject, 1, ERROR_SUCCESS, WAIT_TIMEOUT);
        EXPECT_EQ(manager->WaitForMutexObject(60000), vkRN_OK);
        EXPECT_EQ(plan.calls(Op::WaitForSingleObject), 2u);
        os::ReleaseMutex(manager->m_hAccessMutex);
    }
    EXPECT_EQ(manager->ClosePort(), vkRN_OK);
    delete manager;
}

}  // namespace
