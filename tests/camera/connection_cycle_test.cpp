// A whole connection cycle through the device object's slots against the
// in-process camera: port, connection, notification with an event reaching
// the callback, the test operations, announced data read in parts, and the
// Remote API's answers to a confused camera.

#include "object/Dslr1394Object.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"
#include "rapi/rapi_messages.h"
#include "support/allocation_sweep.h"
#include "support/event_inbox.h"
#include "support/log_capture.h"
#include "support/sim_object.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <algorithm>
#include <functional>
#include <future>
#include <mutex>
#include <vector>

DWORD WINAPI EventHandle(Dslr1394Object* object, BYTE* message, DWORD size);

namespace {

// A callback that stops notification from the notification thread, once.
struct Stopper {
    DslrObject* slots;
    std::once_flag once;
    std::promise<uint32_t> stopped;
};

uint32_t DSLR_STDCALL stopFromCallback(uint32_t, void*, uint32_t, uintptr_t context)
{
    auto* stopper = reinterpret_cast<Stopper*>(context);
    std::call_once(stopper->once,
                   [&] { stopper->stopped.set_value(stopper->slots->baseNotifyTerminate()); });
    return 0;
}

const RapiCallTexts kTexts = {"request", "reply", "send(0x%lx)", "reply(0x%lx)"};

class ConnectionCycle : public SimObject {
protected:
    ConnectionCycle()
    {
        m_modelId = 0x80000529;
        m_callback = eventInbox;
        m_context = m_inbox.context();
    }
    DWORD call(DWORD request, const std::vector<BYTE>& params, DWORD recordSize)
    {
        std::vector<BYTE> record(recordSize);
        return Rapi_Call(m_object, *Rapi_FindCommand(request), params.data(),
                         static_cast<DWORD>(params.size()), record.data(), recordSize, kTexts);
    }

    EventInbox m_inbox;
};

// Notification is counted: an event reaches the callback with its
// parameters, and only the last user's stop ends the threads.
TEST_F(ConnectionCycle, EventReachesTheCallbackAndTheLastUserStopsNotification)
{
    EXPECT_EQ(m_object->m_dwModelID, 0x80000529u) << "learnt at connection";
    ASSERT_EQ(m_slots->baseNotifyStart(), vkRN_OK);
    ASSERT_EQ(m_slots->baseNotifyStart(), vkRN_OK);
    EXPECT_TRUE(m_camera->eventReports()) << "the camera was told to notify";
    // An image notification: SequenceID, FormatType, SizeOfData packed in 9 bytes.
    const std::vector<BYTE> image = {0x78, 0x56, 0x34, 0x12, 0x02, 0x00, 0x10, 0x00, 0x00};
    m_camera->raiseEvent(8, image);
    ASSERT_TRUE(m_inbox.waitFor([](auto& events) { return !events.empty(); }));
    EXPECT_EQ(m_inbox.events[0].id, 8u);
    EXPECT_EQ(m_inbox.events[0].params, image);
    EXPECT_EQ(m_inbox.events[0].context, m_inbox.context());
    EXPECT_EQ(m_slots->baseNotifyTerminate(), vkRN_OK);
    EXPECT_EQ(m_object->m_dwNotifyStartCounter, 1u);
    EXPECT_NE(m_object->m_hInterruptThread, INVALID_HANDLE_VALUE) << "still running";
    {
        LogCapture stop(0x7F);
        EXPECT_EQ(m_slots->baseNotifyTerminate(), vkRN_OK);
        EXPECT_FALSE(stop.contains("_TerminateThreadBlocking")) << "the stop's own records only";
    }
    EXPECT_EQ(m_object->m_hInterruptThread, INVALID_HANDLE_VALUE);
    LogCapture log(0x1);
    EXPECT_EQ(m_slots->baseNotifyTerminate(), vkRN_OK);
    EXPECT_TRUE(log.contains("NotifyTerminate: Notify has not started"));
    EXPECT_EQ(m_object->m_dwNotifyStartCounter, 0u);
}

// Stopping notification is a natural reaction to an event, so the callback
// may do it on the notification thread: the stop returns, the thread ends
// once the callback has, and the next start or the teardown collects what it
// left.
TEST_F(ConnectionCycle, CallbackThatStopsNotificationReturns)
{
    const std::size_t handles = openHandleCount();
    FaultPlan plan;
    Stopper stopper{m_slots, {}, {}};
    m_object->dsl1394SetNotificationCallBack(stopFromCallback,
                                             reinterpret_cast<uintptr_t>(&stopper));
    ASSERT_EQ(m_slots->baseNotifyStart(), vkRN_OK);
    m_camera->raiseEvent(8, {1, 0, 0, 0, 2, 0, 0, 0, 0});
    std::future<uint32_t> stopped = stopper.stopped.get_future();
    ASSERT_EQ(stopped.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    EXPECT_EQ(stopped.get(), vkRN_OK);
    EXPECT_EQ(m_object->m_dwNotifyStartCounter, 0u);
    EXPECT_EQ(m_object->m_hInterruptThread, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(threadEnds(m_object->m_hNotificationThread));

    // The port's flag went down with the stop: a fresh open raises it.
    ASSERT_EQ(m_slots->baseDslrClosePort(), vkRN_OK);
    ASSERT_EQ(m_slots->baseDslrOpenPort(("sim:" + m_name).c_str()), vkRN_OK);
    ASSERT_EQ(m_slots->baseNotifyStart(), vkRN_OK);
    EXPECT_EQ(m_slots->baseNotifyTerminate(), vkRN_OK);
    deleteObject();
    EXPECT_EQ(plan.outstandingAllocations(), 0u);
    EXPECT_LE(openHandleCount(), handles);
}

// With debug bit 29 the threads start at connection; the first notify start
// then only counts and finds them running.
TEST_F(ConnectionCycle, ThreadsStartedOnConnectServeTheFirstNotifyStart)
{
    ASSERT_EQ(m_slots->baseCloseCameraComm(), vkRN_OK);
    LogCapture log(DBGFLAG_NOTIFY_ON_CONNECT);
    ASSERT_EQ(m_slots->baseOpenCameraComm(0, eventInbox, m_inbox.context()), vkRN_OK);
    const HANDLE polling = m_object->m_hInterruptThread;
    ASSERT_NE(polling, INVALID_HANDLE_VALUE);
    EXPECT_EQ(m_slots->baseNotifyStart(), vkRN_OK);
    EXPECT_EQ(m_object->m_hInterruptThread, polling) << "no second pair";
    EXPECT_EQ(m_object->m_dwNotifyStartCounter, 1u);
    EXPECT_EQ(m_slots->baseNotifyTerminate(), vkRN_OK);
    EXPECT_EQ(m_object->m_hInterruptThread, INVALID_HANDLE_VALUE);
}

// A reply block larger than header and record is refused; a smaller one is
// checked and never read past.
TEST_F(ConnectionCycle, ReplyBlockSizes)
{
    constexpr DWORD kRecord = 8, kReply = 0x22100003, kRef = 0x1234;
    struct Case {
        DWORD blockSize;
        DWORD result;
        std::vector<BYTE> record;
    } cases[] = {
        {20 + kRecord + 1, vkRNERROR_OUT_OF_MEMORY, std::vector<BYTE>(kRecord, 0xEE)},
        {20 + kRecord, vkRN_OK, {1, 2, 3, 4, 5, 6, 7, 8}},
        {20 + kRecord - 3, vkRN_OK, {1, 2, 3, 4, 5, 0, 0, 0}},
        {19, vkRNERROR_OUT_OF_MEMORY, std::vector<BYTE>(kRecord, 0xEE)},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.blockSize);
        auto* reply = static_cast<BYTE*>(MEM_AllocateMemory(test.blockSize));
        const RAPI_HED header = {2, kReply, test.blockSize, kRef, 0};
        std::memcpy(reply, &header, std::min<DWORD>(sizeof(header), test.blockSize));
        for (DWORD i = 20; i < test.blockSize; ++i) reply[i] = static_cast<BYTE>(i - 19);
        std::vector<BYTE> record(kRecord, 0xEE);
        EXPECT_EQ(_GetDataFromMessage(m_object, record.data(), reply, kReply, kRef, kRecord),
                  test.result);
        EXPECT_EQ(record, test.record);
        MEM_FreeMemory(reply);
    }
}

// An event record is delivered only when its length word fits its head and
// the message, and a known event has the parameters of its kind.
TEST_F(ConnectionCycle, EventRecordsThatDoNotHoldTogetherAreDropped)
{
    const DWORD records[][4] = {
        {0, 0x00040009, 16, 0x55},    // delivered with its 4 parameter bytes
        {0, 0x00040009, 0x1000, 0},   // longer than the message
        {0, 0x00040009, 8, 0},        // shorter than its own head
        {0, 16, 16, 0},               // an image event without its 9 bytes
    };
    for (const auto& words : records) {
        auto* message = static_cast<BYTE*>(MEM_AllocateMemory(sizeof(words)));
        std::memcpy(message, words, sizeof(words));
        EventHandle(m_object, message, sizeof(words));
        MEM_FreeMemory(message);
    }
    std::lock_guard<std::mutex> guard(m_inbox.lock);
    ASSERT_EQ(m_inbox.events.size(), 1u);
    EXPECT_EQ(m_inbox.events[0].params, std::vector<std::uint8_t>({0x55, 0, 0, 0}));
}

// The benchmark reports the size its reply announces; its reply does not
// enter the last-exchange record, so a data read after it has nothing to read.
TEST_F(ConnectionCycle, BenchmarkAnnouncesItsSizeButLeavesNothingToRead)
{
    m_camera->setBenchmarkDataSize(0x2345);
    uint32_t size = 0;
    char path[] = "ata01:\\dcim";
    EXPECT_EQ(m_slots->dsl1394TestFunction(14, path, 0, &size, 0), vkRN_OK);
    EXPECT_EQ(size, 0x2345u);
    const sim::RapiRequest sent = m_camera->rapiRequests().back();
    EXPECT_EQ(sent.kind, 1u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(sent.params.data()) + 4), "/ATA01\\DCIM");
    std::vector<BYTE> buffer(16, 0xEE);
    EXPECT_EQ(m_slots->baseDslrReadData(buffer.data(), 16), vkRNERROR_NO_DATA_PHASE);
    EXPECT_EQ(m_slots->dsl1394TestFunction(15, nullptr, 0, nullptr, 0), vkRN_OK);
    EXPECT_EQ(m_camera->rapiRequests().back().messageId, 0x13100001u);
    EXPECT_EQ(m_slots->dsl1394TestFunction(99, nullptr, 0, nullptr, 0), vkRN_OK);
}

TEST_F(ConnectionCycle, AnnouncedDataIsReadInPartsAndCountedDown)
{
    m_camera->defineRapiCommand(0x11200001, [](const sim::RapiRequest&) {
        // A record whose first word announces 1000 bytes of data.
        return sim::RapiAnswer{
            0, {0xE8, 0x03, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, sim::bytesSource(sim::benchmarkData(1000))};
    });
    ASSERT_EQ(call(0x11200001, {'A', 0}, 16), vkRN_OK);
    EXPECT_EQ(m_object->m_lastRapi.dwRemaining, 1000u);
    std::vector<BYTE> data(1000);
    ASSERT_EQ(m_slots->baseDslrReadData(data.data(), 600), vkRN_OK);
    EXPECT_EQ(m_object->m_lastRapi.dwRemaining, 400u);
    ASSERT_EQ(m_slots->baseDslrReadData(data.data() + 600, 400), vkRN_OK);
    EXPECT_EQ(m_object->m_lastRapi.dwRemaining, 0u);
    EXPECT_EQ(data, sim::benchmarkData(1000));
}

TEST_F(ConnectionCycle, ConfusedCameraRepliesAndTheLastExchange)
{
    constexpr DWORD kStart = 0x121000FE, kReply = 0x221000FE;
    struct Case {
        const char* name;
        sim::RapiFault fault;
        DWORD result;
        RapiExchangeRecord last;
    } cases[] = {
        // clang-format off
        {"camera error", {0x00A50123, {}, {}}, 0x02000123, {kReply, 0x00A50123, 0}},
        {"camera error wins over a wrong constant", {0x00A50123, {}, 7}, 0x02000123, {kReply, 0x00A50123, 0}},
        {"wrong reply code", {{}, 0x22100001, {}}, vkRNERROR_INVALID_PARAMETER, {0x22100001, 0, 0}},
        {"wrong reference constant", {{}, {}, 7}, vkRNERROR_INVALID_PARAMETER, {kReply, 0, 0}},
        // clang-format on
        {"good", {}, vkRN_OK, {kReply, 0, 0}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        m_camera->injectRapiFault(kStart, test.fault);
        EXPECT_EQ(call(kStart, {}, 0), test.result);
        EXPECT_EQ(m_object->m_lastRapi.dwCommand, test.last.dwCommand);
        EXPECT_EQ(m_object->m_lastRapi.dwStatus, test.last.dwStatus);
        EXPECT_EQ(m_object->m_lastRapi.dwRemaining, test.last.dwRemaining);
    }
}

TEST_F(ConnectionCycle, NoReplyIsReadForTransportSeventeen)
{
    m_camera->clearRecords();
    BYTE* request = _CreateRemoteAPIMessage(2, nullptr, 0, 0x1110000F, Rapi_NewRefConst());
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(DS1394_SendMessageNonStream(m_object, 17, request, 16, nullptr, 0, 10000), vkRN_OK);
    MEM_FreeMemory(request);
    const std::vector<sim::ReceivedCommand> commands = m_camera->received();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].cdb[0], 0x2A);
}

// Allocation failures of the exchange, the benchmark and the framed data
// read: each returns 0x02000003 and leaves no block behind.
TEST_F(ConnectionCycle, EveryAllocationFailureOfAnExchange)
{
    m_camera->setBenchmarkDataSize(0x10);
    struct Case {
        const char* name;
        std::function<DWORD()> run;
        unsigned degradesAt;  // the allocation whose failure is survived, or 0
    } cases[] = {
        // clang-format off
        {"exchange", [&] { return call(0x121000FE, {}, 0); }, 0},
        // Without room for the converted path the path goes as given.
        {"benchmark",
         [&] {
             uint32_t size = 0;
             char path[] = "ATA01:\\";
             return m_slots->dsl1394TestFunction(14, path, 0, &size, 0);
         },
         1},
        {"firmware test", [&] { return m_slots->dsl1394TestFunction(15, nullptr, 0, nullptr, 0); }, 0},
    };
    // clang-format on
    for (const Case& test : cases) {
        sweepAllocations(test.name, test.run, [&](const FailedAllocation& failed) {
            const bool survived = failed.op == Op::Malloc && failed.nth == test.degradesAt;
            EXPECT_EQ(failed.result, survived ? vkRN_OK : vkRNERROR_OUT_OF_MEMORY);
        });
    }
}

}  // namespace
