// The data channel's port: its mutex (named after the port's base name, shared
// by every user of the port, and letting one process of those on a camera
// served by dslrsim at the device at a time), and each failing resource of an
// open.

#include "object/Dslr1394Object.h"

#include "VKRNQ402.h"
#include "datachannel/utl_mutex.h"
#include "support/child_process.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

Dslr1394Object* newObject() { return static_cast<Dslr1394Object*>(DSLR_GetObject()); }

// A short port path that opens (the in-process camera) and ends in
// "\<base>": only the text after the last backslash names the mutex.
struct ShortPort {
    std::string base = uniqueName("p");
    std::string path = "sim:x\\" + base;
};

TEST(DataPort, MutexIsNamedAfterTheBaseNameAndSharedByEveryUser)
{
    ShortPort device;
    const std::string& base = device.base;
    Dslr1394Object* first = newObject();
    Dslr1394Object* second = newObject();
    ASSERT_EQ(first->ScanMngrOpenPort(device.path.c_str()), vkRN_OK);
    // The second user finds the mutex made by the first and opens it.
    ASSERT_EQ(second->ScanMngrOpenPort(device.path.c_str()), vkRN_OK);
    HANDLE named = os::OpenMutexA(SYNCHRONIZE, FALSE, (base + "_DSLR1394_").c_str());
    EXPECT_NE(named, nullptr);
    if (named != nullptr) os::CloseHandle(named);
    // That it keeps one user at a time off the camera is the two-process
    // test's below.
    EXPECT_EQ(first->ScanMngrClosePort(), vkRN_OK);
    EXPECT_EQ(second->ScanMngrClosePort(), vkRN_OK);
    DSLR_DeleteObject(first);
    DSLR_DeleteObject(second);
}

TEST(DataPort, EachFailingResourceOfAnOpen)
{
    ShortPort device;
    struct Case {
        Op op;
        DWORD result;
        const char* text;
    } cases[] = {
        {Op::GetVersionExA, vkRNERROR_TRANSFER_FAILED,
         "_ScanMngrCreateMutex: GetVersionEx has error"},
        {Op::AllocateAndInitializeSid, vkRNERROR_TRANSFER_FAILED,
         "ScanMngrCreateMutex: m_hDeviceAccessMutex Create Error"},
        {Op::InitializeAcl, vkRNERROR_TRANSFER_FAILED, "m_hDeviceAccessMutex Create Error"},
        {Op::AddAccessDeniedAce, vkRNERROR_TRANSFER_FAILED, "m_hDeviceAccessMutex Create Error"},
        {Op::CreateMutexA, vkRNERROR_TRANSFER_FAILED, "m_hDeviceAccessMutex Create Error"},
        {Op::WaitForSingleObject, vkRNERROR_TRANSFER_FAILED,
         "ScanMngrOpenPort: Utl_WaitForMutexObject return Error"},
        {Op::CreateFileA, vkRNERROR_DEVICE_NOT_AVAILABLE, "after CreateFile("},
    };
    const std::size_t handles = openHandleCount();
    for (const Case& test : cases) {
        SCOPED_TRACE(OpName(test.op));
        Dslr1394Object* object = newObject();
        {
            LogCapture log(0x1 | 0x2 | 0x4 | 0x8);
            FaultPlan plan;
            plan.fail(test.op, 1);
            EXPECT_EQ(object->ScanMngrOpenPort(device.path.c_str()), test.result);
            EXPECT_TRUE(log.contains(test.text));
            EXPECT_EQ(object->m_hDevice, INVALID_HANDLE_VALUE);
            EXPECT_EQ(plan.outstandingAllocations(), 0u);
        }
        // The mutex, if made, is not held: another open goes through.
        EXPECT_EQ(object->ScanMngrOpenPort(device.path.c_str()), vkRN_OK);
        EXPECT_EQ(object->ScanMngrClosePort(), vkRN_OK);
        DSLR_DeleteObject(object);
        EXPECT_EQ(openHandleCount(), handles);
    }
}

TEST(DataPort, RefusedPortNames)
{
    Dslr1394Object* object = newObject();
    EXPECT_EQ(object->ScanMngrOpenPort(nullptr), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(object->ScanMngrOpenPort(std::string(32, 'x').c_str()), vkRNERROR_INVALID_PARAMETER)
        << "32 characters do not fit the member with its terminator";
    EXPECT_EQ(object->m_hDeviceAccessMutex, nullptr) << "nothing was created";
    DSLR_DeleteObject(object);
}

// Waits on a mutex: 60000 ms means "through any number of time-outs".
TEST(DataPort, MutexWaitResults)
{
    struct Case {
        DWORD waitResult;
        DWORD timeout;
        BOOL owned;
        const char* text;
    } cases[] = {
        {WAIT_ABANDONED, 1000, 1, "return WAIT_ABANDONED in Utl_WaitForMutexObject()"},
        {WAIT_TIMEOUT, 1000, 0, "return WAIT_TIMEOUT in Utl_WaitForMutexObject()"},
        {WAIT_TIMEOUT, 60000, 1, "return WAIT_TIMEOUT in Utl_WaitForMutexObject()"},
        {WAIT_FAILED, 1000, 0, "return WAIT_FAILED in Utl_WaitForMutexObject()"},
        {0x1234, 1000, 0, "return Unknown_ErrorValue in Utl_WaitForMutexObject()"},
    };
    HANDLE mutex = os::CreateMutexA(nullptr, FALSE, nullptr);
    for (const Case& test : cases) {
        SCOPED_TRACE(test.text);
        LogCapture log(0x4);
        FaultPlan plan;
        plan.fail(Op::WaitForSingleObject, 1, ERROR_GEN_FAILURE, test.waitResult);
        EXPECT_EQ(Utl_WaitForMutexObject(mutex, test.timeout), test.owned);
        EXPECT_TRUE(log.contains(test.text));
        if (test.owned) Utl_ReleaseMutexObject(mutex);
    }
    EXPECT_EQ(Utl_WaitForMutexObject(INVALID_HANDLE_VALUE, 1000), 0);
    EXPECT_EQ(Utl_WaitForMutexObject(nullptr, 1000), 0);
    os::CloseHandle(mutex);
}

#if !defined(_WIN32) && defined(DSLRSIM_PATH)

TEST(DataPort, MutexLetsOneProcessAtATimeReachTheCamera)
{
    // The port path must fit the device object's 32-byte copy of it.
    const std::string address = "unix:/tmp/" + uniqueName("d") + ".s";
    ASSERT_LT(address.size(), 32u);
    Dslrsim camera(address);
    ASSERT_TRUE(camera.ready());
    Dslr1394Object* object = newObject();
    ASSERT_EQ(object->ScanMngrOpenPort(address.c_str()), vkRN_OK);

    ChildProcess peer({PORT_PEER_PATH, address});
    ASSERT_EQ(peer.readLine(), "open 0x00000000");
    peer.writeLine("dataopen");
    ASSERT_EQ(peer.readLine(), "dataopen 0x00000000");
    peer.writeLine("datahold");
    ASSERT_EQ(peer.readLine(), "held");

    const std::vector<BYTE> data = {0x01, 0, 0, 0x10, 0, 0, 0, 0};  // a connect message
    DWORD written = 0xDEAD;
    {
        FastClock clock(1000);  // the 30-second mutex wait passes in 30 ms
        EXPECT_EQ(object->ScanMngrScsiWrite(data.data(), 8, &written, 10000), vkRN_OK);
        EXPECT_EQ(written, 0u) << "the other process holds the data channel";
    }
    peer.writeLine("datarelease");
    ASSERT_EQ(peer.readLine(), "released");
    EXPECT_EQ(object->ScanMngrScsiWrite(data.data(), 8, &written, 10000), vkRN_OK);
    EXPECT_EQ(written, 8u);
    std::vector<BYTE> reply(16);
    DWORD read = 0;
    EXPECT_EQ(object->_ScanMngrScsiRead(reply.data(), 16, &read, 10000), vkRN_OK);
    EXPECT_EQ(read, 16u);
    EXPECT_EQ(reply[3], 0x20) << "the camera answered the connect message";

    peer.writeLine("close");
    EXPECT_EQ(peer.wait(), 0);
    EXPECT_EQ(object->ScanMngrClosePort(), vkRN_OK);
    DSLR_DeleteObject(object);
}

#endif

}  // namespace
