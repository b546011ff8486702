// Taking the port's cross-process access mutex.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/platform_api.h"

namespace {

// The sense reads of the polling thread pass this time-out: they wait as
// long as it takes, one time-out after the other.
constexpr DWORD kWaitWithoutEnd = 60000;

}  // namespace

DWORD ScsiScanManager::WaitForMutexObject(DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("WaitForMutexObject->"),
                        SSCM_TEXT("WaitForMutexObject<-"));
    for (;;) {
        DWORD wait = os::WaitForSingleObject(m_hAccessMutex, timeout);
        DWORD error = os::GetLastError();
        switch (wait) {
            case WAIT_OBJECT_0:
                Dbg_Printf(
                    DBG_TAG_VKRN, DBG_CHECK,
                    SSCM_TEXT("WaitForMutexObject: WaitForSingleObject return WAIT_OBJECT_0"));
                return vkRN_OK;
            case WAIT_ABANDONED:
                // The previous owner died holding it; this thread owns it now.
                Dbg_Printf(
                    DBG_TAG_VKRN, DBG_CHECK,
                    SSCM_TEXT("WaitForMutexObject: WaitForSingleObject return WAIT_ABANDONED"));
                return vkRN_OK;
            case WAIT_TIMEOUT:
                Dbg_Printf(
                    DBG_TAG_VKRN, DBG_CHECK,
                    SSCM_TEXT("WaitForMutexObject: WaitForSingleObject return WAIT_TIMEOUT"));
                if (timeout == kWaitWithoutEnd) continue;
                return vkRNERROR_TRANSFER_FAILED;
            case WAIT_FAILED:
                Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                           SSCM_TEXT("WaitForMutexObject: WaitForSingleObject return WAIT_FAILED"));
                Dbg_PrintErrorString(DBG_TAG_VKRN, error);
                return vkRNERROR_TRANSFER_FAILED;
            default:
                Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                           SSCM_TEXT("WaitForMutexObject: WaitForSingleObject return "
                                     "Unknown_ErrorValue(0x%lx)"),
                           static_cast<unsigned long>(wait));
                Dbg_PrintErrorString(DBG_TAG_VKRN, error);
                return vkRNERROR_TRANSFER_FAILED;
        }
    }
}
