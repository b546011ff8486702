// The test operations of the device object: the data channel, the event
// threads, a data-phase benchmark and the firmware-update test command.

#include "camera/camera_paths.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"
#include "rapi/command_table.h"
#include "rapi/rapi_messages.h"

#include <cstring>

DWORD WINAPI EventHandle(Dslr1394Object* object, BYTE* message, DWORD size);

namespace {

constexpr uintptr_t kHandlerParameter = 23;
constexpr DWORD kBenchmarkRequest = 0x11200002;
constexpr DWORD kBenchmarkReply = 0x21200002;
constexpr DWORD kFirmUpdateRequest = 0x13100001;
constexpr DWORD kBenchmarkRecord = 16;

}  // namespace

uint32_t Dslr1394Object::dsl1394TestFunction(uint32_t dwOperation, void* pInput, uint32_t,
                                             uint32_t* pdwOutput, uint32_t)
{
    FunctionTrace trace(DBG_TAG_DSCS, "dsl1394TestFunction");
    switch (dwOperation) {
        case 1:
            return ScanMngrOpenPort(static_cast<const char*>(pInput));
        case 2:
            return ScanMngrClosePort();
        case 10:
            return ScanMngrInitInterruptPoll(EventHandle, kHandlerParameter);
        case 11:
            return ScanMngrTermInterruptPoll();
        case 14: {
            if (pdwOutput == nullptr || pInput == nullptr) return vkRNERROR_INVALID_PARAMETER;
            const DWORD result = _TestDbgBenchMark(static_cast<const char*>(pInput), pdwOutput);
            Dbg_Printf(DBG_TAG_DSCS, DBG_DETAIL, "pInBuffer(0x%lx) in base1394TestFunction()",
                       static_cast<unsigned long>(*pdwOutput));
            return result;
        }
        case 15:
            return _TestSetFirmUpdate();
        default:
            Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "Unknown test operation in dsl1394TestFunction()");
            return vkRN_OK;
    }
}

DWORD Dslr1394Object::_TestSetFirmUpdate()
{
    FunctionTrace trace(DBG_TAG_DSCS, "_TestSetFirmUpdate");
    const RapiCommand& command = *Rapi_FindCommand(kFirmUpdateRequest);
    auto* request = static_cast<BYTE*>(os::Calloc(1, kRapiRequestHeader));
    if (request == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "PCMsgPtr is NULL(alloc error) in _TestSetFirmUpdate()");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    auto* reply = static_cast<BYTE*>(os::Calloc(1, kRapiReplyHeader));
    if (reply == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "RxMsgPtr is NULL(alloc error) in _TestSetFirmUpdate()");
        os::Free(request);
        return vkRNERROR_OUT_OF_MEMORY;
    }
    const RAPI_REQ header = {kRapiKindTest, kFirmUpdateRequest, kRapiRequestHeader,
                             Rapi_NewRefConst()};
    std::memcpy(request, &header, sizeof(header));
    const DWORD result =
        dsl1394SendRemoteAPICommand(this, command.transport, 0, request, kRapiRequestHeader, reply,
                                    kRapiReplyHeader, command.timeout);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "_TestSetFirmUpdate: dsl1394SendRemoteAPICommand has error(0x%lx)",
                   static_cast<unsigned long>(result));
    }
    os::Free(reply);
    os::Free(request);
    return result;
}

DWORD Dslr1394Object::_TestDbgBenchMark(const char* path, uint32_t* output)
{
    FunctionTrace trace(DBG_TAG_DSCS, "_TestDbgBenchMark");
    const DWORD pathLength = static_cast<DWORD>(std::strlen(path)) + 1;
    auto* converted = static_cast<char*>(MEM_AllocateAndInitMemory(pathLength));
    const char* cameraPath = path;
    if (converted != nullptr && Utl_Q317PathChange(path, converted, pathLength) == 1)
        cameraPath = converted;
    const DWORD requestSize = kRapiRequestHeader + 4 + pathLength;
    auto* request = static_cast<BYTE*>(MEM_AllocateAndInitMemory(requestSize));
    DWORD replySize = 0;
    BYTE* reply = request != nullptr ? _AllocRxMsgBuffer(kBenchmarkRecord, &replySize) : nullptr;
    DWORD result = vkRN_OK;
    if (request == nullptr || reply == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   request == nullptr ? "TxMsgPtr is NULL(alloc error) in _TestDbgBenchMark()"
                                      : "vRxMsgPtr is NULL(alloc error) in _TestDbgBenchMark()");
        result = vkRNERROR_OUT_OF_MEMORY;
    } else {
        const DWORD refConst = Rapi_NewRefConst();
        const RAPI_REQ header = {kRapiKindTest, kBenchmarkRequest, requestSize, refConst};
        std::memcpy(request, &header, sizeof(header));
        std::memcpy(request + kRapiRequestHeader + 4, cameraPath, pathLength);
        const RapiCommand& command = *Rapi_FindCommand(kBenchmarkRequest);
        result = dsl1394SendRemoteAPICommand(this, command.transport, 0, request, requestSize,
                                             reply, replySize, command.timeout);
        DWORD record[kBenchmarkRecord / 4] = {};
        if (result != vkRN_OK) {
            Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                       "dsl1394SendRemoteAPICommand has error(0x%lx) in _TestDbgBenchMark()",
                       static_cast<unsigned long>(result));
        } else if ((result = _GetDataFromRxMessage(record, reply, kBenchmarkReply, refConst,
                                                   kBenchmarkRecord)) == vkRN_OK) {
            *output = record[0];
            Dbg_Printf(DBG_TAG_DSCS, DBG_DETAIL, "dwDataSize = (0x%lx) in _TestDbgBenchMark()",
                       static_cast<unsigned long>(record[0]));
        }
    }
    if (reply != nullptr) MEM_FreeMemory(reply);
    if (request != nullptr) MEM_FreeMemory(request);
    if (converted != nullptr) MEM_FreeMemory(converted);
    return result;
}
