// Remote release (tethered shooting): one entry point for every
// release-control code, the length of a released image's data, and the
// transfer reset. The library keeps no release state of its own: whether
// remote release is on is the camera's business. The only state touched is
// m_lastRapi, which links the released-data query to baseDslrReadData.

#include "camera/storage_request.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"
#include "rapi/rapi_messages.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace {

constexpr DWORD kReleaseRequest = 0x12100025;
constexpr DWORD kReleasedDataRequest = 0x12200026;
constexpr DWORD kResetTransferRequest = 0x1110000F;
constexpr DWORD kLongReleaseTimeout = 20000;
constexpr DWORD kReleaseParamsSize = 48;
constexpr DWORD kExtParamsLong = 60;
constexpr DWORD kExtParamsShort = DSLR_EXT_RELEASE_PARAMS_SHORT_SIZE;
constexpr DWORD kLastKnownCode = 29;
constexpr DWORD kReleaseHead = 8;  // control code and parameter size, before the parameters
constexpr DWORD kReleaseTail = 1;  // the zero byte after them, counted by dwMsgSize
constexpr DWORD kEchoHead = 8;     // EchoBackCode and RetParamSize, before the reply block
constexpr DWORD kDetailIsSize = 0xFFFFFFFFu;

unsigned long ul(DWORD value) { return static_cast<unsigned long>(value); }
unsigned long address(const void* pointer)
{
    return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(pointer));
}

DWORD fail(DWORD result, const char* text)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", text);
    return result;
}

bool flagSet(DWORD flag) { return (Dbg_GetLogLevel() & flag) != 0; }

// The codes whose request carries no block: the camera only answers them.
bool carriesNoRequest(DWORD code) { return code == 10 || code == 13 || code == 16 || code == 17; }

// The longest record a value list (code 28) can have: its head and one
// 32-bit value for each of the 65536 values a parameter's 16-bit field can
// hold. A size answered for it beyond this is no size a camera can mean.
constexpr DWORD kLongestValueList = 8 + 65536 * 4;

bool sizeOfValueListTooLong(DWORD code, DWORD size, const BYTE* reply)
{
    if (code != DS_RELEASE_CONTROL_GET_SIZE_OF_AVAILABLE_VALUE_OF_PARAM) return false;
    DWORD value = 0;
    std::memcpy(&value, reply, size < sizeof(value) ? size : sizeof(value));
    return value > kLongestValueList;
}

// The codes whose reply block has a form of its own to check.
bool checksReply(DWORD code)
{
    return carriesNoRequest(code) || code == 18 || code == 27 || code == 28 || code == 29;
}

DWORD extParamsSize(DWORD model)
{
    return model == DSLR_MODEL_ID_Q402 || model == DSLR_MODEL_ID_Q611 ? kExtParamsLong
                                                                      : kExtParamsShort;
}

bool sizeAccepted(DWORD code, DWORD size, DWORD model)
{
    switch (code) {
        case DS_RELEASE_CONTROL_INIT:
        case DS_RELEASE_CONTROL_EXIT:
        case DS_RELEASE_CONTROL_RELEASE:
            return size == 0;
        case DS_RELEASE_CONTROL_RELEASE_PARAMS:
        case DS_RELEASE_CONTROL_GET_RELEASE_PARAMS:
            return size == kReleaseParamsSize;
        case DS_RELEASE_CONTROL_SET_TRANSFER_MODE:
        case DS_RELEASE_CONTROL_GET_AVAILABLE_SHOT:
        case DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_SIZE:
        case DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_VERSION:
            return size == 4;
        case DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS:
            return size == 4 || size == extParamsSize(model);
        case DS_RELEASE_CONTROL_SET_EXT_RELEASE_PARAMS:
            return size == kExtParamsShort || size == kExtParamsLong;
        case DS_RELEASE_CONTROL_GET_SIZE_OF_AVAILABLE_VALUE_OF_PARAM:
            return size == 2 || size == 4;
        case DS_RELEASE_CONTROL_GET_AVAILABLE_VALUE_OF_PARAM:
            // Values, however many, are already in host order: nothing to walk.
            return true;
        case DS_RELEASE_CONTROL_GET_IMAGE_DATA_SIZE:
            return size == 3 || size == 4;
        default:
            return false;
    }
}

// What a refused block of a known code logs: its level-2 line and, where it
// has one, the level-3 line with the size it wanted (or the size it got).
struct Refusal {
    DWORD code;
    const char* text;
    const char* detail;
    DWORD detailValue;
};

const Refusal kRefusals[] = {
    {0, "DS_RELEASE_CONTROL_INIT param size error in Utl_ReleaseParamByteSwap()", nullptr, 0},
    {1, "DS_RELEASE_CONTROL_EXIT param size error in Utl_ReleaseParamByteSwap()", nullptr, 0},
    {4, "DS_RELEASE_CONTROL_RELEASE param size error in Utl_ReleaseParamByteSwap()", nullptr, 0},
    {7, "DS_REELASE_CONTROL_RELEASE_PARAMS param size error in Utl_ReleaseParamByteSwap()",
     "dsREMOTE_RELEASE_PARAMS(0x%lx)", kReleaseParamsSize},
    {9, "DS_RELEASE_CONTROL_SET_TRANSFER_MODE param size error in Utl_ReleaseParamByteSwap()",
     "dsREMOTE_RELEASE_TRANSFER_MODE(0x%lx)", 4},
    {10, "DS_RELEASE_CONTROL_GET_RELEASE_PARAMS param size error in Utl_ReleaseParamByteSwap()",
     "dsREMOTE_RELEASE_PARAMS(0x%lx)", kReleaseParamsSize},
    {13, "DS_RELEASE_CONTROL_GET_AVAILABLE_SHOT param size error in Utl_ReleaseParamByteSwap()",
     "GetAvailableShotParamSize(0x%lx)", kDetailIsSize},
    {16,
     "DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_SIZE param size error in "
     "Utl_ReleaseParamByteSwap()",
     "GetExtParamSize(0x%lx)", kDetailIsSize},
    {17,
     "DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_VERSION param size error in "
     "Utl_ReleaseParamByteSwap()",
     "GetExtParamVersionSize(0x%lx)", kDetailIsSize},
    {18, "DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS param size error in Utl_ReleaseParamByteSwap()",
     "ExtParamSize(0x%lx)", kDetailIsSize},
    {19, "DS_RELEASE_CONTROL_SET_EXT_RELEASE_PARAMS param size error in Utl_ReleaseParamByteSwap()",
     nullptr, 0},
    {27,
     "DS_RELEASE_CONTROL_GET_SIZE_OF_AVAILABLE_VALUE_OF_PARAM param size error in "
     "Utl_ReleaseParamByteSwap()",
     nullptr, 0},
    {29, "DS_RELEASE_CONTROL_GET_IMAGE_DATA_SIZE param size error in Utl_ReleaseParamByteSwap()",
     nullptr, 0},
};

const Refusal* refusalOf(DWORD code)
{
    for (const Refusal& refusal : kRefusals)
        if (refusal.code == code) return &refusal;
    return nullptr;
}

WORD word16(const BYTE* block, DWORD offset)
{
    WORD value = 0;
    std::memcpy(&value, block + offset, sizeof(value));
    return value;
}

DWORD word32(const BYTE* block, DWORD offset)
{
    DWORD value = 0;
    std::memcpy(&value, block + offset, sizeof(value));
    return value;
}

// The record's named fields before and after its (identity) conversion.
void traceReleaseParams(const BYTE* block)
{
    for (const char* title : {"ParamPtr swap befor", "ParamPtr swap after"}) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL,
                   "DS_RELEASE_CONTROL_RELEASE_PARAMS(wISO(0x%x) wAv(0x%x) wTv(0x%x)) in "
                   "Utl_ReleaseParamByteSwap()",
                   word16(block, 26), word16(block, 28), word16(block, 30));
        Dbg_Dump(DBG_TAG_VKRN, title, block, kReleaseParamsSize);
    }
}

void traceExtParams(const BYTE* block, DWORD size)
{
    const char* const lines[2] = {
        "befor DS_RELEASE_CONTROL_RELEASE_PARAMS(sizeOfThis(0x%lx) version(0x%lx) "
        "KelvinValue(0x%x) ColorMatrix(0x%x)) in _ReleaseParamByteSwap()",
        "after DS_RELEASE_CONTROL_RELEASE_PARAMS(sizeOfThis(0x%lx) version(0x%lx) "
        "KelvinValue(0x%x) ColorMatrix(0x%x)) in _ReleaseParamByteSwap()"};
    const char* const titles[2] = {"ExtParamPtr swap befor", "ExtParamPtr swap after"};
    for (int i = 0; i < 2; ++i) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, lines[i], ul(word32(block, 0)), ul(word32(block, 4)),
                   word16(block, 40), word16(block, 42));
        Dbg_Dump(DBG_TAG_VKRN, titles[i], block, size);
    }
}

}  // namespace

// The release records are little-endian like the host, so no byte changes:
// what this contributes is each code's size rule, with its traces.
DWORD Dslr1394Object::Utl_ReleaseParamByteSwap(DWORD dwControlCode, DWORD dwSize, void* block)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "Utl_ReleaseParamByteSwap");
    if (dwControlCode > kLastKnownCode) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "This Driver Unknown ControlCode(0x%lx)",
                   ul(dwControlCode));
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (dwSize != 0 && block == nullptr)
        return fail(vkRNERROR_TRANSFER_FAILED,
                    "vParamPtr is NULL(dwSize > 0) in _ReleaseParamByteSwap()");
    const auto* bytes = static_cast<const BYTE*>(block);
    const bool zeroMode = dwControlCode == DS_RELEASE_CONTROL_SET_TRANSFER_MODE && dwSize == 4 &&
                          word16(bytes, 0) == 0;
    if (sizeAccepted(dwControlCode, dwSize, m_dwModelID) && !zeroMode) {
        if (dwControlCode == DS_RELEASE_CONTROL_RELEASE_PARAMS) traceReleaseParams(bytes);
        if ((dwControlCode == DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS ||
             dwControlCode == DS_RELEASE_CONTROL_SET_EXT_RELEASE_PARAMS) &&
            dwSize >= kExtParamsShort)
            traceExtParams(bytes, dwSize);
        if (dwControlCode == DS_RELEASE_CONTROL_GET_IMAGE_DATA_SIZE && dwSize == 3)
            Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE,
                       "DS_RELEASE_CONTROL_GET_IMAGE_DATA_SIZE( ImageSize(%d) FVFileFormat(%d) "
                       "CompQuality(%d) )",
                       bytes[0], bytes[1], bytes[2]);
        return vkRN_OK;
    }
    const Refusal* refusal = refusalOf(dwControlCode);
    if (refusal == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "This Driver Unknown ControlCode(0x%lx)",
                   ul(dwControlCode));
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s",
                   zeroMode ? "SetMode is Zero in Utl_ReleaseParamByteSwap()" : refusal->text);
        if (refusal->detail != nullptr)
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERRTEXT, refusal->detail,
                       ul(refusal->detailValue == kDetailIsSize ? dwSize : refusal->detailValue));
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERRTEXT, "dwSize(0x%lx) vParamPtr(0x%lx)", ul(dwSize),
               address(block));
    return vkRNERROR_INVALID_PARAMETER;
}

uint32_t Dslr1394Object::baseReleaseControlEx(uint32_t dwControlCode, uint32_t dwSizeOfParam,
                                              const void* byControlParamPtr,
                                              uint32_t dwSizeOfRetParams, void* byRetParamsPtr)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseReleaseControlEx");
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "dwControlCode(0x%lx)", ul(dwControlCode));
    if ((dwSizeOfParam != 0 && byControlParamPtr == nullptr) ||
        (dwSizeOfRetParams != 0 && byRetParamsPtr == nullptr))
        return fail(vkRNERROR_TRANSFER_FAILED,
                    "byParamPtr is NULL(but dwSize > 0) in baseReleaseControlEx()");
    Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL,
               "dwSizeOfParam(0x%lx) byControlParamPtr(0x%lx) dwSizeOfRetParams(0x%lx) "
               "byRetParamsPtr(0x%lx)",
               ul(dwSizeOfParam), address(byControlParamPtr), ul(dwSizeOfRetParams),
               address(byRetParamsPtr));
    RapiCommand command = *Rapi_FindCommand(kReleaseRequest);
    if (dwControlCode == DS_RELEASE_CONTROL_RELEASE_PARAMS ||
        dwControlCode == DS_RELEASE_CONTROL_GET_RELEASE_PARAMS)
        command.timeout = kLongReleaseTimeout;

    const bool getParams = dwControlCode == DS_RELEASE_CONTROL_GET_RELEASE_PARAMS;
    const bool wordReply = dwControlCode == DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_SIZE ||
                           dwControlCode == DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_VERSION;
    if ((getParams && dwSizeOfRetParams != kReleaseParamsSize) ||
        (wordReply && dwSizeOfRetParams != 4)) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "different size parameter in baseReleaseControlEx()");
        if (getParams)
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERRTEXT,
                       "dwSizeOfRetParams(0x%lx) dsREMOTE_RELEASE_PARAMS(0x%lx)",
                       ul(dwSizeOfRetParams), ul(kReleaseParamsSize));
        else
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERRTEXT, "dwSizeOfRetParams(0x%lx) is not DWORD size",
                       ul(dwSizeOfRetParams));
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (dwControlCode == DS_RELEASE_CONTROL_GET_AVAILABLE_VALUE_OF_PARAM &&
        dwSizeOfRetParams > kLongestValueList)
        return fail(vkRNERROR_INVALID_PARAMETER,
                    "different size parameter in baseReleaseControlEx()");
    // Left open: a block passed with a code that carries none. It would
    // reach the camera unchecked and be taken for a request of another
    // form, so it is refused before anything is sent.
    if (carriesNoRequest(dwControlCode) && dwSizeOfParam != 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "different size parameter in baseReleaseControlEx()");
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERRTEXT, "dwSizeOfParam(0x%lx) is not zero",
                   ul(dwSizeOfParam));
        return vkRNERROR_INVALID_PARAMETER;
    }

    // The caller's block is checked and sent as a copy; it is never changed.
    BYTE* copy = nullptr;
    if (dwSizeOfParam != 0) {
        copy = static_cast<BYTE*>(MEM_AllocateAndInitMemory(dwSizeOfParam));
        if (copy == nullptr)
            return fail(vkRNERROR_OUT_OF_MEMORY,
                        "vParamPtr is NULL(alloc error) in baseReleaseControlEx()");
        std::memcpy(copy, byControlParamPtr, dwSizeOfParam);
    }
    DWORD result = carriesNoRequest(dwControlCode)
                       ? vkRN_OK
                       : Utl_ReleaseParamByteSwap(dwControlCode, dwSizeOfParam, copy);
    const DWORD refConst = Rapi_NewRefConst();
    BYTE* request = nullptr;
    BYTE* replyData = nullptr;
    if (result == vkRN_OK) {
        request = dwSizeOfParam <= 0xFFFFFFFFu - kRapiRequestHeader - kReleaseHead - kReleaseTail
                      ? Storage_NewRequest(kReleaseRequest,
                                           kReleaseHead + dwSizeOfParam + kReleaseTail, refConst)
                      : nullptr;
        if (request == nullptr)
            result = fail(vkRNERROR_OUT_OF_MEMORY,
                          "TxMsgPtr is NULL(alloc error) in baseReleaseControlEx()");
    }
    if (result == vkRN_OK) {
        const DWORD head[2] = {dwControlCode, dwSizeOfParam};
        std::memcpy(request + kRapiRequestHeader, head, sizeof(head));
        if (copy != nullptr) {
            Dbg_Dump(DBG_TAG_VKRN, "vParamPtr", copy, dwSizeOfParam);
            std::memcpy(request + kRapiRequestHeader + kReleaseHead, copy, dwSizeOfParam);
        }
        Dbg_Dump(DBG_TAG_VKRN, "TxMsgPtr", request, MEM_GetMemorySize(request));
    }
    if (result == vkRN_OK) {
        const RapiCallTexts texts = {
            "TxMsgPtr is NULL(alloc error) in baseReleaseControlEx()",
            "vRxMsgPtr is NULL(alloc error) in baseReleaseControlEx()",
            "dslrSendRemoteAPICommand has error(0x%lx) in baseReleaseControlEx()", nullptr};
        // The reply's block is had only once the camera has answered, as the
        // driver has always done: running out of memory there follows a
        // release the camera has already made.
        result =
            dwSizeOfRetParams <= 0xFFFFFFFFu - kEchoHead - kRapiReplyHeader
                ? Rapi_ExchangeIntoNewBlock(
                      this, command, request, refConst, &replyData, dwSizeOfRetParams + kEchoHead,
                      texts, "RxParamPtr is NULL(alloc error) in baseReleaseControlEx()")
                : fail(vkRNERROR_OUT_OF_MEMORY,
                       "vRxMsgPtr is NULL(alloc error) in baseReleaseControlEx()");
    }
    if (result == vkRN_OK) {
        const DWORD echo = word32(replyData, 0);
        const DWORD returned = word32(replyData, 4);
        if (echo != dwControlCode) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                       "different EchoBackCode. SendCode(0x%lx) EchoBack(0x%lx)", ul(dwControlCode),
                       ul(echo));
            result = vkRNERROR_INVALID_PARAMETER;
        } else if (returned != dwSizeOfRetParams) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                       "different RetParamSize. Size(0x%lx) RetSize(0x%lx)", ul(dwSizeOfRetParams),
                       ul(returned));
            result = vkRNERROR_INVALID_PARAMETER;
        } else if (sizeOfValueListTooLong(dwControlCode, dwSizeOfRetParams,
                                          replyData + kEchoHead)) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "value list size beyond any list in the reply");
            result = vkRNERROR_TRANSFER_FAILED;
        } else if (dwSizeOfRetParams != 0) {
            std::memcpy(byRetParamsPtr, replyData + kEchoHead, dwSizeOfRetParams);
            if (checksReply(dwControlCode))
                result = Utl_ReleaseParamByteSwap(dwControlCode, dwSizeOfRetParams, byRetParamsPtr);
        }
    }
    for (BYTE* block : {replyData, request, copy})
        if (block != nullptr) MEM_FreeMemory(block);
    return result;
}

uint32_t Dslr1394Object::baseReleaseControlGetReleasedData(uint32_t dwKind, uint32_t dwSequenceID,
                                                           uint32_t* pdwLength)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseReleaseControlGetReleasedData");
    const bool timing = flagSet(DBGFLAG_EXTRA_TIMING);
    if (timing) Dbg_Printf(DBG_TAG_VKRN, DBG_TIME, "EnterLLFunction(GetReleasedData)");
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE,
               "KindOfImage(0x%lx) SequenceID(0x%lx) in baseReleaseControlGetReleasedData()",
               ul(dwKind), ul(dwSequenceID));
    if (dwKind < 1 || dwKind > 3) {
        Dbg_Printf(
            DBG_TAG_VKRN, DBG_ERROR,
            "KindOfImage(0x%lx) Q317 Invalid parameter in baseReleaseControlGetReleasedData()",
            ul(dwKind));
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (pdwLength == nullptr)
        return fail(vkRNERROR_INVALID_PARAMETER,
                    "DataLengthPtr is NULL in baseReleaseControlGetReleasedData()");
    const DWORD params[4] = {0, m_dwSizeOfMaxScsiData, dwKind, dwSequenceID};
    const DWORD refConst = Rapi_NewRefConst();
    BYTE* request = _CreateRemoteAPIMessage(kRapiKindCommand, params, sizeof(params),
                                            kReleasedDataRequest, refConst);
    if (request == nullptr)
        return fail(vkRNERROR_OUT_OF_MEMORY,
                    "TxMsgPtr is NULL(alloc error) in baseReleaseControlGetReleasedData()");
    Dbg_Dump(DBG_TAG_VKRN, " GetReleasedData:TxMsg", request, MEM_GetMemorySize(request));
    const RapiCallTexts texts = {
        "TxMsgPtr is NULL(alloc error) in baseReleaseControlGetReleasedData()",
        "vRxMsgPtr is NULL(alloc error) in baseReleaseControlGetReleasedData()",
        "dslrSendRemoteAPICommand has error(0x%lx) in baseReleaseControlGetReleasedData()",
        nullptr};
    // The caller's length is kept when nothing reached the camera; once it
    // has answered, a refused reply leaves 0 (the record is cleared first).
    DWORD record[4] = {*pdwLength, 0, 0, 0};
    const DWORD result = Rapi_Exchange(this, *Rapi_FindCommand(kReleasedDataRequest), request,
                                       refConst, record, sizeof(record), texts, true);
    *pdwLength = record[0];
    MEM_FreeMemory(request);
    Dbg_Printf(DBG_TAG_VKRN, DBG_DATALEN, "(%d)byte retrun baseReleaseControlGetReleasedData()",
               static_cast<int>(*pdwLength));
    if (timing)
        Dbg_Printf(DBG_TAG_VKRN, DBG_TIME, "LeaveLLFunction(GetReleasedData:DataLength (%d)byte",
                   static_cast<int>(*pdwLength));
    return result;
}

uint32_t Dslr1394Object::baseDslrResetTransfer(uint16_t wTransferType)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseDslrResetTransfer()");
    if (wTransferType != 1) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "baseDslrResetTransfer: Invalid type(%d)",
                   static_cast<int>(wTransferType));
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (flagSet(DBGFLAG_CANNED_ANSWERS)) return m_dbgCamera.Dbg_resetTransfer();
    const RapiCallTexts texts = {"baseDslrResetTransfer: TxMsgPtr is NULL(alloc failed)",
                                 "baseDslrResetTransfer: vRxMsgPtr is NULL(alloc failed)",
                                 "baseDslrResetTransfer: dslrSendRemoteAPICommand has error(0x%lx)",
                                 nullptr};
    const DWORD result =
        Rapi_Call(this, *Rapi_FindCommand(kResetTransferRequest), nullptr, 0, nullptr, 0, texts);
    if (result == vkRN_OK) m_lastRapi = {0, 0, 0};
    return result;
}
