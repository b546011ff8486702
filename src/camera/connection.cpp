// Opening and closing the port, connecting and disconnecting the camera, and
// registering the application's event callback.

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "msgchannel/ScsiScanManager.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

DWORD WINAPI EventHandle(Dslr1394Object* object, BYTE* message, DWORD size);

namespace {

constexpr uintptr_t kHandlerParameter = 23;

}  // namespace

uint32_t Dslr1394Object::baseDslrOpenPort(const char* pszPortName)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseDslrOpenPort");
    if (pszPortName == nullptr) return vkRNERROR_INVALID_PARAMETER;
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "  portName(%s) in baseDslrOpenPort", pszPortName);
    return m_scsiScanMngrPtr->OpenPort(pszPortName);
}

uint32_t Dslr1394Object::baseDslrClosePort()
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseDslrClosePort");
    return m_scsiScanMngrPtr->ClosePort();
}

DWORD Dslr1394Object::dsl1394SetNotificationCallBack(DslrNotifyCallback callback, uintptr_t context)
{
    // The notification thread reads these while it delivers an event, which
    // may outlast a stop; each is stored whole.
    __atomic_store_n(&m_notifyContext, context, __ATOMIC_RELEASE);
    __atomic_store_n(&m_pfnNotifyCallback, callback, __ATOMIC_RELEASE);
    return vkRN_OK;
}

uint32_t Dslr1394Object::baseSetNotificationCB(DslrNotifyCallback pfnCallback, uintptr_t context)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseSetNotificationCB");
    return dsl1394SetNotificationCallBack(pfnCallback, context);
}

uint32_t Dslr1394Object::baseOpenCameraComm(uint16_t wDebugFlag, DslrNotifyCallback pfnCallback,
                                            uintptr_t context)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseOpenCameraComm");
    dsl1394SetNotificationCallBack(pfnCallback, context);
    if (wDebugFlag != 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, "baseOpenCameraComm: DebugFlg is Not Supported Now");
        return vkRN_OK;
    }
    DWORD result =
        m_scsiScanMngrPtr->ConnectCamera(&m_dwDeviceIDData, &m_dwModelID, &m_wEndianType);
    if (result == vkRNERROR_PORT_IS_IN_USE) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL,
                   "OpenCameraComm: ConnectCamera is vkRNERROR_PORT_IS_IN_USE");
        return result;
    }
    if (result == vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, "OpenCameraComm: ConnectCamera is OK");
        if (!(Dbg_GetLogLevel() & DBGFLAG_NOTIFY_ON_CONNECT)) return vkRN_OK;
        result = ScanMngrInitInterruptPoll(EventHandle, kHandlerParameter);
        os::Sleep(0);
        if (result == vkRN_OK || result == vkRNERROR_PORT_IS_IN_USE) return result;
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "OpenCameraComm: ConnectCamera went wrong");
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "baseOpenCameraComm: dslrConnectCamera has error(0x%lx)",
               static_cast<unsigned long>(result));
    Utl_CloseMapFile();
    return result;
}

uint32_t Dslr1394Object::baseCloseCameraComm()
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseCloseCameraComm");
    const DWORD result = m_scsiScanMngrPtr->DisConnectCamera();
    if (result == vkRN_OK) {
        dsl1394SetNotificationCallBack(nullptr, 0);
        return vkRN_OK;
    }
    // Another user still has the port open: nothing was sent, nothing to undo.
    if (result == vkRNERROR_PORT_IS_IN_USE) return vkRN_OK;
    return result;
}
