// Per-call helpers of the block transfers: the device-handle check, the
// call's own overlapped event, and the wait for one command's completion.

#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

namespace {

// The status byte as it stands: the driver may write it at any moment until
// the command's completion has been seen, so it is read as a whole byte
// that another thread may be storing.
BYTE statusNow(const BYTE* status) { return __atomic_load_n(status, __ATOMIC_RELAXED); }

}  // namespace

DWORD Dslr1394Object::_ScanMngrIsDeviceValid()
{
    if (isValidHandle(m_hDevice)) return vkRN_OK;
    Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "_ScanMngrIsDeviceValid: Invalid device handle");
    return vkRNERROR_DEVICE_NOT_AVAILABLE;
}

void Dslr1394Object::_ScanMngrCreateOverlappedEvent(OVERLAPPED* overlapped, BOOL manualReset)
{
    *overlapped = OVERLAPPED();
    overlapped->hEvent = os::CreateEventA(nullptr, manualReset, FALSE, nullptr);
    if (overlapped->hEvent == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "_ScanMngrCreateOverlappedEvent: CreateEvent error");
    }
}

BOOL Dslr1394Object::_ScanMngrCheckOverlappedDevIoResult(BOOL ioctlResult)
{
    const DWORD error = os::GetLastError();
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "_ScanMngrCheckOverlappedDevIoResult()");
    BOOL accepted = 1;
    if (!ioctlResult) {
        if (error == ERROR_IO_PENDING) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL,
                       "_ScanMngrCheckOverlappedDevIoResult: DevIoControl return ERROR_IO_PENDING");
        } else {
            LPSTR text = nullptr;
            os::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                   FORMAT_MESSAGE_IGNORE_INSERTS,
                               nullptr, error, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                               reinterpret_cast<LPSTR>(&text), 0, nullptr);
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       "_ScanMngrCheckOverlappedDevIoResult: FAIL, Last Error = %s\n",
                       text != nullptr ? text : "(no text)");
            if (text != nullptr) os::LocalFree(text);
            accepted = 0;
        }
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_EXIT, "_ScanMngrCheckOverlappedDevIoResult()");
    return accepted;
}

DWORD Dslr1394Object::_ScanMngrWaitForAndCheckOverlappedResult(BOOL ioctlResult, HANDLE device,
                                                               OVERLAPPED* overlapped,
                                                               BYTE* srbStatus, DWORD* transferred,
                                                               DWORD timeout)
{
    const BOOL accepted = _ScanMngrCheckOverlappedDevIoResult(ioctlResult);
    Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE,
               "_ScanMngrWaitForAndCheckOverlappedResult: bySrbStatus(0x%lx)",
               static_cast<unsigned long>(statusNow(srbStatus)));
    if (!accepted) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "_ScanMngrCheckOverlappedDevIoResult has error in "
                   "_ScanMngrWaitForAndCheckOverlappedResult()");
        return vkRNERROR_TRANSFER_FAILED;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
               "_ScanMngrWaitForAndCheckOverlappedResult: befor OverlappedEvent");
    const DWORD waited = os::WaitForSingleObject(overlapped->hEvent, timeout);
    // The wait's own error, before any log call can replace it.
    const DWORD waitError = os::GetLastError();
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
               "_ScanMngrWaitForAndCheckOverlappedResult: after OverlappedEvent");
    Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE,
               "bySrbStatus(0x%lx) in _ScanMngrWaitForAndCheckOverlappedResult()",
               static_cast<unsigned long>(statusNow(srbStatus)));
    DWORD result = vkRN_OK;
    if (waited == WAIT_OBJECT_0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   "befor GetOverlappedResult in _ScanMngrWaitForAndCheckOverlappedResult()");
        if (os::GetOverlappedResult(device, overlapped, transferred, FALSE)) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "GetOverlappedResult OK");
        } else {
            Dbg_Printf(
                DBG_TAG_SSCM, DBG_ERROR,
                "GetOverlappedResult is Error in _ScanMngrWaitForAndCheckOverlappedResult()");
            result = vkRNERROR_TRANSFER_FAILED;
        }
    } else {
        if (waited == WAIT_TIMEOUT) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       "dwWaitRetValue is TimeOut in _ScanMngrWaitForAndCheckOverlappedResult");
        } else {
            Dbg_Printf(
                DBG_TAG_SSCM, DBG_ERROR,
                waited == WAIT_FAILED
                    ? "_ScanMngrWaitForAndCheckOverlappedResult: WAIT_FAIL, dwWaitRetValue = 0x%lX"
                    : "_ScanMngrWaitForAndCheckOverlappedResult: FAIL, dwWaitRetValue = 0x%lX",
                static_cast<unsigned long>(waited));
            Dbg_PrintErrorString(DBG_TAG_SSCM, waitError);
        }
        // The command outlived its wait: it is taken back, and its end
        // awaited, before the caller's status byte, count and record go.
        os::CancelIo(device);
        DWORD ignored = 0;
        os::GetOverlappedResult(device, overlapped, &ignored, TRUE);
        result = vkRNERROR_TRANSFER_FAILED;
    }
    os::ResetEvent(overlapped->hEvent);
    return result;
}

void Dslr1394Object::_ScanMngrCritSecInit()
{
    // Initialising a section that is already initialised would corrupt it;
    // a second set-up keeps the one there is (and writes the same records).
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "_ScanMngrCritSecInit: befor InitializeCriticalSection");
    if (m_bCritObjFlg != 1) os::InitializeCriticalSection(&m_csNotifyQueue);
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "_ScanMngrCritSecInit: after InitializeCriticalSection");
    m_bCritObjFlg = 1;
}

void Dslr1394Object::_ScanMngrCritSecDest()
{
    if (m_bCritObjFlg != 1) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE, "m_bCritObjFlg is FALSE in _ScanMngrCritSecDest()");
        return;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE, "_ScanMngrCritSecDest: m_bCritObjFlg is TRUE");
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "_ScanMngrCritSecDest: befor DeleteCriticalSection");
    os::DeleteCriticalSection(&m_csNotifyQueue);
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "_ScanMngrCritSecDest: after DeleteCriticalSection");
    m_bCritObjFlg = 0;
}
