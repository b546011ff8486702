// Tethered shooting through the device object's slots: a whole session on
// the in-process camera and on dslrsim in its own process, the release
// codes' edge cases as one table, pass-through messages and the service
// commands, and the allocation-failure sweep.

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "platform/scsiscan.h"
#include "sim/release.h"
#include "support/allocation_sweep.h"
#include "support/bytes.h"
#include "support/connected_object.h"
#include "support/event_inbox.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"
#include "support/sim_object.h"

#ifndef _WIN32
#include "support/child_process.h"
#endif

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr DWORD k402 = DSLR_MODEL_ID_Q402, k611 = DSLR_MODEL_ID_Q611, k529 = 0x80000529;

DWORD control(DslrObject* o, DWORD code, const Bytes& block, Bytes& reply)
{
    return o->baseReleaseControlEx(
        code, static_cast<uint32_t>(block.size()), block.empty() ? nullptr : block.data(),
        static_cast<uint32_t>(reply.size()), reply.empty() ? nullptr : reply.data());
}

// A session on "sim:NAME" or, on POSIX builds with dslrsim, on a dslrsim
// process of its own: connect, notify, INIT, parameters read and set, a
// release whose image is announced, sized, read in parts and found on the
// card as well, EXIT.
class Session : public ::testing::TestWithParam<bool> {};

TEST_P(Session, ReleasedImageReachesTheComputerAndTheCard)
{
    std::string address = "sim:" + uniqueName("release");
    std::shared_ptr<sim::Camera> camera;
#ifndef _WIN32
    std::unique_ptr<Dslrsim> server;
    if (GetParam()) {
        address = "unix:/tmp/" + uniqueName("dslrsim-release") + ".sock";
        server = std::make_unique<Dslrsim>(address);
        ASSERT_TRUE(server->ready()) << server->readAll(2000);
    } else
#endif
        camera = sim::cameraNamed(address.substr(4));
    EventInbox inbox;
    ConnectedObject host(address, eventInbox, inbox.context());
    ASSERT_TRUE(host.connected());
    DslrObject* o = host.get();
    ASSERT_EQ(o->baseNotifyStart(), vkRN_OK);

    Bytes none, shots(4), params(48), shotsAfter(4);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_GET_AVAILABLE_SHOT, none, shots), vkRN_OK);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_INIT, none, none), vkRN_OK);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, none, params), vkRN_OK);
    params[sim::kParamIso] = 0x60;
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_RELEASE_PARAMS, params, none), vkRN_OK);
    Bytes readBack(48);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, none, readBack), vkRN_OK);
    EXPECT_EQ(readBack, params);
    Bytes size(4);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_GET_IMAGE_DATA_SIZE, {0, 1, 2, 0}, size), vkRN_OK);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_SET_TRANSFER_MODE, {3, 0, 0, 0}, none), vkRN_OK);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_RELEASE, none, none), vkRN_OK);

    Bytes event;
    ASSERT_TRUE(inbox.waitFor(
        [&](auto& events) {
            for (const ReceivedEvent& e : events)
                if (e.id == sim::kEventJpegHeld) event = e.params;
            return !event.empty();
        },
        20));
    ASSERT_EQ(event.size(), 9u);
    const DWORD sequenceId = wordAt(event.data());
    EXPECT_EQ(event[4], sim::kImageJpeg);
    uint32_t length = 0;
    ASSERT_EQ(o->baseReleaseControlGetReleasedData(1, sequenceId, &length), vkRN_OK);
    EXPECT_EQ(length, wordAt(event.data(), 5));
    EXPECT_EQ(length, wordAt(size.data())) << "the size the camera said the image would have";
    Bytes image(length);
    for (std::size_t at = 0; at < length; at += 0x3001)
        ASSERT_EQ(
            o->baseDslrReadData(image.data() + at,
                                static_cast<uint32_t>(std::min<std::size_t>(0x3001, length - at))),
            vkRN_OK);
    ASSERT_GT(image.size(), 1000u);
    EXPECT_EQ(image[0], 0xFF);
    EXPECT_EQ(image[1], 0xD8);
    EXPECT_EQ(image[image.size() - 2], 0xFF);
    EXPECT_EQ(image.back(), 0xD9);
    if (camera) {
        EXPECT_EQ(image, camera->release().held.jpeg);
    }
    EXPECT_EQ(control(o, DS_RELEASE_CONTROL_EXIT, none, none), vkRN_OK);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_GET_AVAILABLE_SHOT, none, shotsAfter), vkRN_OK);
    EXPECT_EQ(wordAt(shotsAfter.data()), wordAt(shots.data()) - 1);

    // The card holds the same image under the next DCF name.
    ASSERT_EQ(o->baseGetFile("ATA01:\\DCIM\\100VELOR\\IMG_0005.JPG", &length), vkRN_OK);
    Bytes onCard(length);
    ASSERT_EQ(o->baseDslrReadData(onCard.data(), length), vkRN_OK);
    EXPECT_EQ(onCard, image);
    EXPECT_EQ(o->baseNotifyTerminate(), vkRN_OK);
}

#if !defined(_WIN32) && defined(DSLRSIM_PATH)
INSTANTIATE_TEST_SUITE_P(Ports, Session, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "dslrsim" : "sim"; });
#else
INSTANTIATE_TEST_SUITE_P(Ports, Session, ::testing::Values(false),
                         [](const auto&) { return "sim"; });
#endif

class Release : public SimObject {};

// Each case: the model the library believes in, the call, its result, a
// log text it must write, and whether a request reached the camera.
TEST_F(Release, EdgeCases)
{
    DslrObject* o = m_slots;
    Bytes out;
    auto call = [&](DWORD code, const Bytes& block, std::size_t replySize) {
        return [=, &out]() {
            out.assign(replySize, 0xA5);
            return control(o, code, block, out);
        };
    };
    Bytes ext60(60), ext44(44);
    ext60[0] = 60;
    ext44[0] = 44;
    struct Case {
        const char* name;
        DWORD model;
        std::function<DWORD()> run;
        DWORD result;
        const char* text;
        bool sent;
    } cases[] = {
        // clang-format off
        {"get params, 44", k402, call(10, {}, 44), kBad,
         "dwSizeOfRetParams(0x2c) dsREMOTE_RELEASE_PARAMS(0x30)", false},
        {"ext size, 8", k402, call(16, {}, 8), kBad, "dwSizeOfRetParams(0x8) is not DWORD size", false},
        {"a block with code 13", k402, call(13, {1, 0, 0, 0}, 4), kBad, "dwSizeOfParam(0x4) is not zero", false},
        {"code 5", k402, call(5, {}, 0), kBad, "dwSize(0x0) vParamPtr(0x0)", false},
        {"code 31", k402, call(31, {}, 0), kBad, "This Driver Unknown ControlCode(0x1f)", false},
        {"mode 0", k402, call(9, {0, 0, 1, 0}, 0), kBad, "SetMode is Zero in Utl_ReleaseParamByteSwap()", false},
        {"release params, 47", k402, call(7, Bytes(47), 0), kBad, "dsREMOTE_RELEASE_PARAMS(0x30)", false},
        {"null block", k402, [&] { return o->baseReleaseControlEx(7, 48, nullptr, 0, nullptr); },
         vkRNERROR_TRANSFER_FAILED, "byParamPtr is NULL(but dwSize > 0)", false},
        {"ext 60 of an older model", k529, call(18, {60, 0, 0, 0}, 60), kBad,
         "DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS param size error", true},
        {"ext 60 of the sibling", k611, call(18, {60, 0, 0, 0}, 60), vkRN_OK,
         "after DS_RELEASE_CONTROL_RELEASE_PARAMS(sizeOfThis(0x3c)", true},
        {"set ext 44, older model", k529, call(19, ext44, 0), vkRN_OK, "KelvinValue", true},
        {"set ext 60, older model", k529, call(19, ext60, 0), vkRN_OK, "KelvinValue", true},
        {"image size of 3", k402, call(29, {1, 3, 1}, 3), vkRN_OK,
         "DS_RELEASE_CONTROL_GET_IMAGE_DATA_SIZE( ImageSize(1) FVFileFormat(3) CompQuality(1) )",
         true},
        {"release outside INIT", k402, call(4, {}, 0), cameraError(sim::kRapiNotReleasing),
         "RemoteAPI ErrorCode(0x2000301)", true},
        {"reply size not the camera's", k402, call(13, {}, 2), kBad,
         "different RetParamSize. Size(0x2) RetSize(0x4)", true},
        {"kind 4", k402,
         [&] {
             uint32_t n = 0;
             return o->baseReleaseControlGetReleasedData(4, 1, &n);
         },
         kBad, "KindOfImage(0x4) Q317 Invalid parameter", false},
        {"no length", k402, [&] { return o->baseReleaseControlGetReleasedData(1, 1, nullptr); },
         kBad, "DataLengthPtr is NULL", false},
        {"nothing held", k402,
         [&] {
             uint32_t n = 7;
             o->baseReleaseControlGetReleasedData(3, 9, &n);
             return n;
         },
         0, "RemoteAPI ErrorCode(0x2000303)", true},
        {"reset type 2", k402, [&] { return o->baseDslrResetTransfer(2); }, kBad,
         "baseDslrResetTransfer: Invalid type(2)", false},
        {"reset type 1", k402, [&] { return o->baseDslrResetTransfer(1); }, vkRN_OK, "baseDslrResetTransfer()", true},
    };
    // clang-format on
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        m_object->m_dwModelID = test.model;
        const std::size_t before = sent();
        LogCapture log(0x7F);
        EXPECT_EQ(test.run(), test.result);
        EXPECT_TRUE(log.contains(test.text));
        EXPECT_EQ(sent() > before, test.sent);
    }
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 1), Bytes{0xA5}) << "a refused reply is not copied";
    // An empty request is 25 bytes with a zero last byte; an echo of another
    // code is refused and nothing copied.
    Bytes reply(4);
    ASSERT_EQ(control(o, 13, {}, reply), vkRN_OK);
    EXPECT_EQ(lastRequest().size, 25u);
    EXPECT_EQ(lastRequest().params.back(), 0);
    m_camera->defineRapiCommand(0x12100025, [](const sim::RapiRequest&) {
        return sim::RapiAnswer{0, {14, 0, 0, 0, 4, 0, 0, 0, 1, 2, 3, 4}, {}, true};
    });
    reply.assign(4, 0xA5);
    LogCapture log(0x1);
    EXPECT_EQ(control(o, 13, {}, reply), kBad);
    EXPECT_TRUE(log.contains("different EchoBackCode. SendCode(0xd) EchoBack(0xe)"));
    EXPECT_EQ(reply, Bytes(4, 0xA5));
}

// Codes 7 and 10 wait 20 s for a camera that does not answer, the others 10 s.
TEST_F(Release, TimeOuts)
{
    m_camera->defineRapiCommand(0x12100025, [](const sim::RapiRequest&) {
        return sim::RapiAnswer{0, {}, {}, false};  // silence
    });
    for (const auto& [code, block, replySize, budget] :
         {std::make_tuple(7u, Bytes(48), 0u, 20000u), std::make_tuple(10u, Bytes(), 48u, 20000u),
          std::make_tuple(4u, Bytes(), 0u, 10000u), std::make_tuple(13u, Bytes(), 4u, 10000u)}) {
        FastClock clock(100, FastClock::Time::kCounted);
        Bytes reply(replySize);
        const DWORD start = clock.now();
        EXPECT_EQ(control(m_slots, code, block, reply), vkRNERROR_TRANSFER_FAILED);
        const DWORD waited = clock.now() - start;
        EXPECT_GE(waited, budget) << code;
        EXPECT_LT(waited, budget * 3 / 2) << code;
    }
}

// A hand-built request gets the typed operation's answer; the word of a
// reply without a reply check stands in m_lastRapi; canned and masked
// versions; the UI lock.
TEST_F(Release, PassThroughAndServiceCommands)
{
    DslrObject* o = m_slots;
    Bytes shots(4);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_GET_AVAILABLE_SHOT, {}, shots), vkRN_OK);
    const Bytes request = {2,    0, 0, 0,  0x25, 0, 0x10, 0x12, 25, 0, 0, 0, 0x34,
                           0x12, 0, 0, 13, 0,    0, 0,    0,    0,  0, 0, 0};
    Bytes answer(32, 0xA5);
    ASSERT_EQ(o->dsl1394MessageTxRx(request.data(), 25, answer.data(), 32), vkRN_OK);
    const sim::RapiRequest onWire = lastRequest();
    EXPECT_EQ(onWire.refConst, 0x1234u);
    EXPECT_EQ(onWire.params, Bytes(request.begin() + 16, request.end()));
    EXPECT_EQ(wordAt(answer.data(), 4), 0x22100025u);
    EXPECT_EQ(wordAt(answer.data(), 12), 0x1234u);
    EXPECT_EQ(Bytes(answer.begin() + 16, answer.end()),
              (Bytes{0, 0, 0, 0, 13, 0, 0, 0, 4, 0, 0, 0, shots[0], shots[1], shots[2], shots[3]}));
    Bytes kept = answer;
    m_camera->injectFault({SCSIOP_WRITE10, SRB_STATUS_INVALID_REQUEST, 0});
    EXPECT_NE(o->dsl1394MessageTxRx(request.data(), 25, answer.data(), 32), vkRN_OK);
    EXPECT_EQ(answer, kept);

    uint32_t first = 0;
    ASSERT_EQ(o->dsl1394MessageTx(request.data(), 25, &first), vkRN_OK);
    EXPECT_EQ(first, 2u) << "the reply's kind word";
    EXPECT_EQ(m_object->m_lastRapi.dwRemaining, 2u);
    EXPECT_EQ(m_object->m_lastRapi.dwCommand + m_object->m_lastRapi.dwStatus, 0u);
    Bytes buffer(2, 0x5A);
    EXPECT_EQ(o->baseDslrReadData(buffer.data(), 2), vkRNERROR_NO_DATA_PHASE);
    EXPECT_EQ(buffer, Bytes(2, 0x5A));
    EXPECT_EQ(m_object->m_lastRapi.dwRemaining, 2u);

    sim::SettingsState settings = m_camera->settings();
    settings.remoteApiVersion = 0x8AFF0800;
    m_camera->setSettings(settings);
    uint32_t version = 0;
    EXPECT_EQ(o->baseGetRemoteAPIVersion(&version), vkRN_OK);
    EXPECT_EQ(version, 0x8AFF0800u);
    {
        LogCapture masked(DBGFLAG_MASKED_RAPI_VERSION);
        EXPECT_EQ(o->baseGetRemoteAPIVersion(&version), vkRN_OK);
        EXPECT_EQ(version, 0x80FF0800u);
    }
    EXPECT_EQ(o->baseSetUILock(7), vkRN_OK);
    EXPECT_TRUE(m_camera->release().uiLocked);
    EXPECT_EQ(m_camera->release().uiLockParam, 7u);
    m_camera->clearRecords();
    {
        LogCapture canned(DBGFLAG_CANNED_ANSWERS);
        EXPECT_EQ(o->baseGetRemoteAPIVersion(&version), vkRN_OK);
        EXPECT_EQ(version, 0x81FF0800u);
        EXPECT_EQ(o->baseResetUILock(7), vkRN_OK);
        EXPECT_EQ(o->baseSetUILock(7), vkRN_OK);
        EXPECT_EQ(o->baseDslrResetTransfer(1), vkRN_OK);
    }
    EXPECT_TRUE(m_camera->received().empty());
    EXPECT_TRUE(m_camera->release().uiLocked);
    LogCapture log(0x1);
    m_camera->injectFault({SCSIOP_WRITE10, SRB_STATUS_INVALID_REQUEST, 0});
    EXPECT_EQ(o->baseResetUILock(7), vkRNERROR_TRANSFER_FAILED);
    EXPECT_TRUE(log.contains("dslrSendRemoteAPICommand has Error(0x2000002) in baseSetUILock()."));
}

// Every allocation of every operation fails once in turn, with the common
// judgement of tests/support/allocation_sweep.h.
TEST_F(Release, EveryAllocationFailure)
{
    DslrObject* o = m_slots;
    Bytes none;
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_INIT, none, none), vkRN_OK);
    const Bytes request = {2, 0, 0, 0, 1, 0, 0x10, 0x12, 16, 0, 0, 0, 1, 0, 0, 0};
    Bytes params(48);
    ASSERT_EQ(control(o, DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, none, params), vkRN_OK);
    const auto word = [](void* r) { return static_cast<uint32_t*>(r); };
    const SweptOperation operations[] = {
        // clang-format off
        {"baseReleaseControlEx", [&](void* r) { return o->baseReleaseControlEx(10, 0, nullptr, 48, r); }},
        {"baseReleaseControlEx", [&](void*) { return o->baseReleaseControlEx(7, 48, params.data(), 0, nullptr); }},
        {"baseReleaseControlEx", [&](void*) { return o->baseReleaseControlEx(4, 0, nullptr, 0, nullptr); }},
        {"baseDslrResetTransfer", [&](void*) { return o->baseDslrResetTransfer(1); }},
        {"dsl1394MessageTxRx", [&](void* r) { return o->dsl1394MessageTxRx(request.data(), 16, r, 92); }},
        {"dsl1394MessageTx", [&](void* r) { return o->dsl1394MessageTx(request.data(), 16, word(r)); }, 0,
         "in qvtUSBMessageTx()"},
        {"_rapiGetCameraProperty", [&](void* r) { return o->baseGetRemoteAPIVersion(word(r)); }},
        {"baseSetUILock", [&](void*) { return o->baseSetUILock(1); }},
        // The unlock reports a failed send in the lock's words.
        {"baseResetUILock", [&](void*) { return o->baseResetUILock(1); }, 0, "in baseSetUILock()"},
    };
    // clang-format on
    for (const SweptOperation& operation : operations) sweepOperation(operation);
    // The released data needs an image held before every run.
    const auto releasedData = [&](void* r) {
        return o->baseReleaseControlGetReleasedData(1, m_camera->release().held.sequenceId,
                                                    word(r));
    };
    sweepOperation({"baseReleaseControlGetReleasedData", releasedData},
                   [&] { ASSERT_EQ(control(o, DS_RELEASE_CONTROL_RELEASE, none, none), vkRN_OK); });
}

}  // namespace
