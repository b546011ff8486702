// Pass-through and service commands: messages the application built itself,
// sent byte for byte with the camera's raw answer handed back; the Remote API
// version; and the lock of the camera's own user interface.

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"
#include "rapi/rapi_messages.h"

#include <cstring>
#include <initializer_list>

namespace {

constexpr DWORD kTxRxTransport = 401;
constexpr DWORD kTxTransport = 0x80000192;
constexpr DWORD kPassThroughTimeout = 300000;
constexpr DWORD kSetUILockRequest = 0x12100021;
constexpr DWORD kResetUILockRequest = 0x12100022;
constexpr DWORD kVersionMask = 0xF0FFFFFF;  // bits 24 to 27 cleared

bool flagSet(DWORD flag) { return (Dbg_GetLogLevel() & flag) != 0; }

DWORD refuse(const char* text)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", text);
    return vkRNERROR_INVALID_PARAMETER;
}

// The caller's message in a tracked block of its own.
BYTE* copyOf(const void* message, DWORD size)
{
    auto* block = static_cast<BYTE*>(MEM_AllocateAndInitMemory(size));
    if (block != nullptr) std::memcpy(block, message, size);
    return block;
}

DWORD uiLock(Dslr1394Object* object, DWORD request, DWORD lockParam, const RapiCallTexts& texts)
{
    if (flagSet(DBGFLAG_CANNED_ANSWERS)) return vkRN_OK;
    return Rapi_Call(object, *Rapi_FindCommand(request), &lockParam, sizeof(lockParam), nullptr, 0,
                     texts);
}

}  // namespace

// Left open: the pointers, which nothing checks. A null message, answer or
// word is refused and never read or written; so are empty messages and
// answers, which would put nothing on the wire or wait for nothing.
uint32_t Dslr1394Object::dsl1394MessageTxRx(const void* pRequest, uint32_t dwRequestLength,
                                            void* pReply, uint32_t dwReplyLength)
{
    FunctionTrace trace(DBG_TAG_VKRN, "base1394MessageTxRx");
    if (pRequest == nullptr || pReply == nullptr || dwRequestLength == 0 || dwReplyLength == 0)
        return refuse("MessagePtr or AnswerPtr is NULL or empty in dsl1394MessageTxRx()");
    BYTE* message = copyOf(pRequest, dwRequestLength);
    auto* answer = static_cast<BYTE*>(MEM_AllocateAndInitMemory(dwReplyLength));
    DWORD result = vkRN_OK;
    if (message == nullptr || answer == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "MEM_AllocateAndInitMemory has error in dsl1394MessageTxRx()");
        result = vkRNERROR_OUT_OF_MEMORY;
    } else {
        // Neither the message nor the answer is looked at: no reply code,
        // reference constant or error word check, and m_lastRapi stays.
        result = dsl1394SendRemoteAPICommand(this, kTxRxTransport, 0, message, dwRequestLength,
                                             answer, dwReplyLength, kPassThroughTimeout);
        if (result == vkRN_OK) {
            std::memcpy(pReply, answer, dwReplyLength);
        } else {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                       "dslrSendRemoteAPICommand has error(0x%lx) in dsl1394MessageTxRx()",
                       static_cast<unsigned long>(result));
        }
    }
    for (BYTE* block : {answer, message})
        if (block != nullptr) MEM_FreeMemory(block);
    return result;
}

uint32_t Dslr1394Object::dsl1394MessageTx(const void* pRequest, uint32_t dwRequestLength,
                                          uint32_t* pdwFirstReplyWord)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseUSBMessageTx", "base1394MessageTx");
    if (pRequest == nullptr || pdwFirstReplyWord == nullptr || dwRequestLength == 0)
        return refuse("MessagePtr or WordPtr is NULL or empty in dsl1394MessageTx()");
    BYTE* message = copyOf(pRequest, dwRequestLength);
    if (message == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "MEM_AllocateAndInitMemory has error in dsl1394MessageTx()");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    DWORD first = 0;
    const DWORD result =
        dsl1394SendRemoteAPICommand(this, kTxTransport, 0, message, dwRequestLength,
                                    reinterpret_cast<BYTE*>(&first), sizeof(first),
                                    kPassThroughTimeout);
    if (result == vkRN_OK) {
        // The first word stands for a data phase still to be read: no
        // command, no status.
        m_lastRapi = {0, 0, first};
        *pdwFirstReplyWord = first;
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "dslrSendRemoteAPICommand has error(0x%lx) in qvtUSBMessageTx()",
                   static_cast<unsigned long>(result));
    }
    MEM_FreeMemory(message);
    return result;
}

uint32_t Dslr1394Object::baseGetRemoteAPIVersion(uint32_t* pdwVersion)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseGetRemoteAPIVersion()");
    if (pdwVersion == nullptr) {
        refuse("pdwVersion is NULL in baseGetRemoteAPIVersion()");
        Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseGetRemoteAPIVersion()");
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (flagSet(DBGFLAG_CANNED_ANSWERS)) {
        DWORD version = 0;
        const DWORD canned = m_dbgCamera.Dbg_getRemoteAPIVersion(&version);
        *pdwVersion = version;
        return canned;
    }
    dsCAMERA_PROPERTY property = {};
    const DWORD result = _rapiGetCameraProperty(&property);
    if (result == vkRN_OK) {
        DWORD version = property.dwRemoteAPIVersion;
        if (flagSet(DBGFLAG_MASKED_RAPI_VERSION)) version &= kVersionMask;
        *pdwVersion = version;
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "baseGetRemoteAPIVersion: RemoteAPIVersion(0x%lx)",
               static_cast<unsigned long>(*pdwVersion));
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseGetRemoteAPIVersion()");
    return result;
}

uint32_t Dslr1394Object::baseSetUILock(uint32_t dwLockParam)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseSetUILock");
    const RapiCallTexts texts = {"TxMsgPtr is NULL(alloc error) in baseSetUILock()",
                                 "vRxMsgPtr is NULL(Alloc Error) in baseSetUILock()",
                                 "dslrSendRemoteAPICommand has Error(0x%lx) in baseSetUILock().",
                                 nullptr};
    return uiLock(this, kSetUILockRequest, dwLockParam, texts);
}

// A failed send is logged in the words of baseSetUILock, as both lock
// operations have always written it.
uint32_t Dslr1394Object::baseResetUILock(uint32_t dwLockParam)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseResetUILock");
    const RapiCallTexts texts = {"TxMsgPtr is NULL(Alloc Error) in baseResetUILock()",
                                 "vRxMsgPtr is NULL(alloc error) in baseResetUILock()",
                                 "dslrSendRemoteAPICommand has Error(0x%lx) in baseSetUILock().",
                                 nullptr};
    return uiLock(this, kResetUILockRequest, dwLockParam, texts);
}
