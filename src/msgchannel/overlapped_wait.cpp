// Waiting for a command's completion in one-second steps.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/platform_api.h"

namespace {

// The directory listing may take three minutes; everything else gets ten
// seconds, whatever it asked for.
DWORD waitLimit(DWORD timeout) { return timeout == 180000 ? 180000 : 10000; }
constexpr DWORD kStep = 1000;

}  // namespace

DWORD ScsiScanManager::WaitForOverlappedObject(DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("WaitForoverlappedObject->"),
                        SSCM_TEXT("WaitForoverlappedObject<-"));
    const DWORD limit = waitLimit(timeout);
    for (DWORD elapsed = 0;;) {
        DWORD wait = os::WaitForSingleObject(m_hOverlappedEvent, kStep);
        DWORD error = os::GetLastError();
        switch (wait) {
            case WAIT_OBJECT_0:
                Dbg_Printf(
                    DBG_TAG_VKRN, DBG_CHECK,
                    SSCM_TEXT("WaitForOverlappedObject: WaitForSingleObject return WAIT_OBJECT_0"));
                return vkRN_OK;
            case WAIT_TIMEOUT:
                Dbg_Printf(
                    DBG_TAG_VKRN, DBG_CHECK,
                    SSCM_TEXT("WaitForOverlappedObject: WaitForSingleObject return WAIT_TIMEOUT"));
                elapsed += kStep;
                // Windows Me does not fail the command of a vanished device.
                if (isWindowsMe() && ReadMapFile() == 0) return vkRNERROR_DEVICE_NOT_AVAILABLE;
                if (elapsed >= limit) return vkRNERROR_TRANSFER_FAILED;
                break;
            case WAIT_FAILED:
                Dbg_Printf(
                    DBG_TAG_VKRN, DBG_CHECK,
                    SSCM_TEXT("WaitForOverlappedObject: WaitForSingleObject return WAIT_FAILED"));
                Dbg_PrintErrorString(DBG_TAG_VKRN, error);
                return vkRNERROR_TRANSFER_FAILED;
            default:
                Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                           SSCM_TEXT("WaitForOverlappedObject: WaitForSingleObject return "
                                     "Unknown_ErrorValue(0x%lx)"),
                           static_cast<unsigned long>(wait));
                Dbg_PrintErrorString(DBG_TAG_VKRN, error);
                return vkRNERROR_TRANSFER_FAILED;
        }
    }
}
