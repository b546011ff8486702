// The polling and notification threads against the in-process camera, with
// time run fast: how often the camera is asked, how bursts are drained and
// paced, how a failed sense read ends polling, and that start/stop cycles
// leave nothing behind.

#include "object/Dslr1394Object.h"

#include "VKRNQ402.h"
#include "datachannel/notify_records.h"
#include "log/dbg_log.h"
#include "msgchannel/ScsiScanManager.h"
#include "sim/camera.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

namespace {

struct Delivered {
    DWORD id;
    std::vector<BYTE> bytes;  // as many as the callback was told
};

// What the threads did, in order: 'D' a delivery, 'P' the one-second pause
// of the polling thread (with the number of sense reads made before it),
// 'n' the notification thread's 50-ms turn.
struct Journal {
    std::mutex lock;
    std::condition_variable changed;
    std::vector<Delivered> delivered;
    std::string steps;
    std::vector<std::size_t> sensesBeforePause;
    std::shared_ptr<sim::Camera> camera;

    std::size_t senseReads() const
    {
        std::size_t count = 0;
        for (const sim::ReceivedCommand& command : camera->received())
            count += command.cdb[0] == 0x03 ? 1 : 0;
        return count;
    }
    template <typename Done>
    bool waitFor(Done done)
    {
        std::unique_lock<std::mutex> guard(lock);
        return changed.wait_for(guard, std::chrono::seconds(60), [&] { return done(*this); });
    }
};

Journal* g_journal = nullptr;
os::Api g_beforeRecorder;

DWORD WINAPI recordEvent(Dslr1394Object*, BYTE* message, DWORD size)
{
    Delivered event{0, std::vector<BYTE>(message, message + size)};
    if (size >= 8) std::memcpy(&event.id, message + 4, 4);
    std::lock_guard<std::mutex> guard(g_journal->lock);
    g_journal->delivered.push_back(std::move(event));
    g_journal->steps += 'D';
    g_journal->changed.notify_all();
    return 0;
}

void WINAPI recordSleep(DWORD milliseconds)
{
    if (milliseconds == 1000 || milliseconds == 50) {
        const std::size_t senses = g_journal->senseReads();
        std::lock_guard<std::mutex> guard(g_journal->lock);
        if (milliseconds == 1000) g_journal->sensesBeforePause.push_back(senses);
        g_journal->steps += milliseconds == 1000 ? 'P' : 'n';
        g_journal->changed.notify_all();
    }
    g_beforeRecorder.Sleep(milliseconds);
}

class EventThreads : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_journal.camera = sim::cameraNamed(m_name);
        m_journal.camera->setEventReports(true);  // as after a notify start
        g_journal = &m_journal;
        g_beforeRecorder = os::api();
        os::api().Sleep = recordSleep;
        m_object = static_cast<Dslr1394Object*>(DSLR_GetObject());
        ASSERT_EQ(m_object->m_scsiScanMngrPtr->OpenPort(("sim:" + m_name).c_str()), vkRN_OK);
    }
    void TearDown() override
    {
        if (m_object->m_pThreadInfo != nullptr) m_object->ScanMngrTermInterruptPoll();
        m_object->m_scsiScanMngrPtr->ClosePort();
        DSLR_DeleteObject(m_object);
        os::api() = g_beforeRecorder;
        m_journal.camera->attach();
        Dbg_ResetLogLevelForTest();
    }
    DWORD start() { return m_object->ScanMngrInitInterruptPoll(recordEvent, 23); }

    // Fast enough for hundreds of cycles, slow enough that a sense read
    // keeps a real budget (50 ms) on a busy machine.
    FastClock m_clock{200};
    std::string m_name = uniqueName("events");
    Journal m_journal;
    Dslr1394Object* m_object = nullptr;
};

TEST_F(EventThreads, IdleCameraIsAskedOncePerSecondAndNothingIsQueued)
{
    ASSERT_EQ(start(), vkRN_OK);
    ASSERT_TRUE(m_journal.waitFor([](Journal& j) { return j.sensesBeforePause.size() >= 5; }));
    ASSERT_EQ(m_object->ScanMngrTermInterruptPoll(), vkRN_OK);
    std::lock_guard<std::mutex> guard(m_journal.lock);
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(m_journal.sensesBeforePause[i], i);
    EXPECT_TRUE(m_journal.delivered.empty());
    EXPECT_EQ(m_object->m_pNotifyQueueHead, nullptr);
}

// Three events waiting: read back to back without the pause, delivered in
// order with one 50-ms turn between deliveries.
TEST_F(EventThreads, BurstIsDrainedAtOnceAndDeliveredInOrderOnePerTurn)
{
    m_journal.camera->raiseEvent(0x00040001, {1, 2, 3, 4, 5, 6, 7, 8});
    m_journal.camera->raiseEvent(0x00040002);
    m_journal.camera->raiseEvent(0x00040003, {9, 9, 9, 9});
    ASSERT_EQ(start(), vkRN_OK);
    ASSERT_TRUE(m_journal.waitFor([](Journal& j) { return j.delivered.size() == 3; }));
    ASSERT_EQ(m_object->ScanMngrTermInterruptPoll(), vkRN_OK);
    std::lock_guard<std::mutex> guard(m_journal.lock);
    const DWORD ids[] = {0x00040001, 0x00040002, 0x00040003};
    const DWORD sizes[] = {20, 12, 16};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m_journal.delivered[i].id, ids[i]);
        EXPECT_EQ(m_journal.delivered[i].bytes.size(), sizes[i]);
    }
    EXPECT_EQ(m_journal.delivered[0].bytes[12], 1);
    ASSERT_GE(m_journal.sensesBeforePause.size(), 2u);
    EXPECT_EQ(m_journal.sensesBeforePause[0], 0u);
    EXPECT_EQ(m_journal.sensesBeforePause[1], 3u) << "no pause while events were waiting";
    EXPECT_EQ(m_journal.steps.find("DD"), std::string::npos) << m_journal.steps;
}

TEST_F(EventThreads, FailedSenseReadDeliversOneEventAndEndsPolling)
{
    m_journal.camera->dropOffBus();
    ASSERT_EQ(start(), vkRN_OK);
    ASSERT_TRUE(m_journal.waitFor([](Journal& j) { return !j.delivered.empty(); }));
    // Both threads end by themselves: polling on the failure, notification
    // because polling passed its exit value on.
    EXPECT_TRUE(threadEnds(m_object->m_hInterruptThread));
    EXPECT_TRUE(threadEnds(m_object->m_hNotificationThread));
    std::lock_guard<std::mutex> guard(m_journal.lock);
    ASSERT_EQ(m_journal.delivered.size(), 1u);
    EXPECT_EQ(m_journal.delivered[0].id, kSenseFailureEvent);
    EXPECT_EQ(m_journal.delivered[0].bytes.size(), 16u);
    EXPECT_EQ(m_journal.senseReads(), 1u);
}

// A length word larger than the event area: the copy stops at the area.
TEST_F(EventThreads, OversizedEventIsCutAtTheEventArea)
{
    std::vector<BYTE> record = sim::eventRecord(0x00040009, std::vector<BYTE>(52, 0x77));
    const DWORD claimed = 0x1000;
    std::memcpy(record.data() + 8, &claimed, 4);
    m_journal.camera->raiseEventRecord(record);
    ASSERT_EQ(start(), vkRN_OK);
    ASSERT_TRUE(m_journal.waitFor([](Journal& j) { return !j.delivered.empty(); }));
    std::lock_guard<std::mutex> guard(m_journal.lock);
    EXPECT_EQ(m_journal.delivered[0].bytes.size(), kEventAreaSize);
    EXPECT_EQ(m_journal.delivered[0].bytes.back(), 0x77);
}

TEST_F(EventThreads, WithoutPollingOnlyTheNotificationThreadRuns)
{
    Dbg_SetLogLevelForTest(DBGFLAG_NO_POLLING_THREAD);
    ASSERT_EQ(start(), vkRN_OK);
    EXPECT_EQ(m_object->m_hInterruptThread, INVALID_HANDLE_VALUE);
    EXPECT_NE(m_object->m_hNotificationThread, INVALID_HANDLE_VALUE);
    EXPECT_EQ(m_object->ScanMngrTermInterruptPoll(), vkRN_OK);
    EXPECT_EQ(m_journal.senseReads(), 0u);
}

// Hundreds of starts and stops, some with events in flight: no thread,
// handle, lock or block is left once the object is gone.
TEST_F(EventThreads, StartStopCyclesLeaveNothingBehind)
{
    const std::size_t handles = openHandleCount();
    {
        FaultPlan plan;
        for (int cycle = 0; cycle < 200; ++cycle) {
            if (cycle % 3 == 0) m_journal.camera->raiseEvent(0x00040001 + cycle);
            ASSERT_EQ(start(), vkRN_OK) << cycle;
            ASSERT_EQ(m_object->ScanMngrTermInterruptPoll(), vkRN_OK) << cycle;
            EXPECT_EQ(m_object->m_pThreadInfo, nullptr);
            EXPECT_EQ(m_object->m_bCritObjFlg, 0);
        }
        m_object->m_scsiScanMngrPtr->ClosePort();
        DSLR_DeleteObject(m_object);
        EXPECT_EQ(plan.outstandingAllocations(), 0u) << "queued events are freed with the object";
    }
    EXPECT_LE(openHandleCount(), handles);
    m_object = static_cast<Dslr1394Object*>(DSLR_GetObject());
    m_object->m_scsiScanMngrPtr->OpenPort(("sim:" + m_name).c_str());
}

}  // namespace
