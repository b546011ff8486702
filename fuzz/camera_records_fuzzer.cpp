// Remote API replies and the camera records in them, as the host receives
// them: the input is one reply message as read from the camera (frame
// header, reply header, record). The reply check runs on it as the library
// holds it (a tracked block of exactly its size), and every record check
// and conversion runs on the record, each on a heap copy of exactly the
// record's size, so that AddressSanitizer sees the first byte past it.

#include "VKRNQ402.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "rapi/rapi_messages.h"
#include "rapi/record_checks.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

namespace {

constexpr std::size_t kMessageFrameHeader = 8;

Dslr1394Object* object()
{
    static auto* instance = static_cast<Dslr1394Object*>(DSLR_GetObject());
    return instance;
}

// The reply as the library keeps it, checked against the IDs it carries (so
// that the record is taken) and against a record size the input chooses.
void replyCheck(const std::uint8_t* reply, std::size_t size, DWORD recordSize)
{
    auto* block = static_cast<BYTE*>(MEM_AllocateMemory(static_cast<DWORD>(size)));
    if (block == nullptr) return;
    std::memcpy(block, reply, size);
    RAPI_HED header{};
    std::memcpy(&header, reply, std::min(size, sizeof(header)));
    std::vector<BYTE> record(recordSize);
    _GetDataFromRxMessage(record.data(), block, header.dwMessageID, header.dwRefConst, recordSize);
    _GetDataFromMessage(object(), record.data(), block, header.dwMessageID, header.dwRefConst,
                        recordSize);
    MEM_FreeMemory(block);
}

void recordChecks(const std::uint8_t* record, std::size_t size, DWORD model)
{
    Dslr1394Object* camera = object();
    camera->m_dwModelID = model;
    const auto length = static_cast<DWORD>(size);
    const std::function<void(void*)> checks[] = {
        [&](void* r) { camera->Utl_DevParamCheckVal(length, r, TRUE); },
        [&](void* r) { camera->Utl_GammaLutCheckVal(length, r, TRUE); },
        [&](void* r) { camera->Utl_WbSettingCheckVal(length, r, TRUE); },
        [&](void* r) { camera->Utl_JpgQualityCheckVal(length, r, TRUE); },
        [&](void* r) { camera->Utl_ColorMatrixCheckVal(length, r, TRUE); },
        [&](void* r) { camera->Utl_WbShiftCheckVal(length, r, TRUE); },
        [&](void* r) { camera->Utl_PFnCheck(length, r, TRUE); },
        [&](void* r) { camera->Utl_CameraPropertyByteSwap(length, r); },
        [&](void* r) { camera->Utl_DevParamByteSwap(length, r); },
        [&](void* r) { camera->Utl_GammaLutByteSwap(length, r); },
        [&](void* r) { camera->Utl_WbSettingByteSwap(length, r); },
        [&](void* r) { camera->Utl_JpgQualityByteSwap(length, r); },
        [&](void* r) { camera->Utl_ColorMatrixByteSwap(length, r); },
        [&](void* r) { camera->Utl_WbShiftByteSwap(length, r); },
        [&](void* r) {
            for (DWORD code : {7u, 10u, 18u, 19u, 28u, 29u})
                camera->Utl_ReleaseParamByteSwap(code, length, r);
        },
        [&](void* r) { Utl_ParamByteSwap(length, r, 4); },
        [&](void* r) { Utl_CFnByteSwap(length, r); },
        [&](void* r) { Utl_PFnByteSwap(length, r); },
        [&](void* r) { Utl_PFnExByteSwap(length, r); },
        [&](void* r) { Utl_FuncInfoByteSwap(length, r); },
    };
    for (const auto& check : checks) {
        std::vector<std::uint8_t> copy(record, record + size);
        check(copy.empty() ? nullptr : copy.data());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < kMessageFrameHeader + 1) return 0;
    const std::uint8_t selector = data[0];
    const std::uint8_t* frame = data + 1;
    const std::size_t frameSize = size - 1;
    const std::uint8_t* reply = frame + kMessageFrameHeader;
    const std::size_t replySize = frameSize - kMessageFrameHeader;
    if (replySize == 0) return 0;
    // The record size the host expects: the one the reply holds, or off by a little.
    const std::size_t held = replySize > kRapiReplyHeader ? replySize - kRapiReplyHeader : 0;
    const long long wanted = static_cast<long long>(held) + (selector % 8) - 4;
    replyCheck(reply, replySize, static_cast<DWORD>(wanted < 0 ? 0 : wanted));
    recordChecks(reply + (replySize - held), held,
                 (selector & 0x80) ? 0x80000402 : ((selector & 0x40) ? 0x80000611 : 0x80000529));
    return 0;
}
