// Construction, initialisation and teardown of the device object.

#include "object/Dslr1394Object.h"

#include "log/dbg_log.h"
#include "msgchannel/ScsiScanManager.h"
#include "platform/platform_api.h"

#include <cstring>

// The interface holds no data, so destroying it is freeing it when asked.
void* DslrObject::DeletingDestructor(uint32_t deletingFlags)
{
    if (deletingFlags & 1u) os::Free(this);
    return this;
}

Dslr1394Object::Dslr1394Object()
    : m_pThreadInfo(nullptr),
      m_bExitNotifyThreadFlg(1),
      m_bExitPollThreadFlg(0),
      m_notifyContext(0),
      m_pfnNotifyCallback(nullptr),
      m_portName(),
      m_scsiScanMngrPtr(nullptr),
      m_dwNotifyStartCounter(0),
      m_dwSizeOfMaxScsiData(0xFF00),
      m_dwModelID(0),
      m_dwDeviceIDData(0),
      m_wEndianType(0),
      m_wTransferID(0),
      m_hDevice(INVALID_HANDLE_VALUE),
      m_hInterruptThread(INVALID_HANDLE_VALUE),
      m_hNotificationThread(INVALID_HANDLE_VALUE),
      m_hMapFile(nullptr),
      m_hDeviceAccessMutex(nullptr),
      m_pNotifyQueueHead(nullptr),
      m_pNotifyQueueTail(nullptr),
      m_csNotifyQueue(),
      m_bCritObjFlg(0),
      m_lastRapi(),
      m_bDirSubtreeMode(0),
      m_dwNotifyThreadId(0)
{
}

// An application may delete the object with notification still running:
// the threads are stopped first, since they use the object, and whatever
// they left queued is freed with it. An object whose event machinery is
// idle is torn down with the ordinary records only.
Dslr1394Object::~Dslr1394Object()
{
    if (eventMachineryLeft()) {
        if (m_pThreadInfo != nullptr) ScanMngrTermInterruptPoll();
        if (m_pThreadInfo == nullptr) {
            // No thread can reach the queue or its lock any more.
            _NotifyQueueDiscard();
            _ScanMngrCritSecDest();
            Utl_CloseHandle(&m_hInterruptThread);
            Utl_CloseHandle(&m_hNotificationThread);
        }
    }
    Utl_CloseHandle(&m_hMapFile);
    Utl_CloseHandle(&m_hDevice);
    Utl_CloseHandle(&m_hDeviceAccessMutex);
    if (m_scsiScanMngrPtr != nullptr) {
        delete m_scsiScanMngrPtr;
        m_scsiScanMngrPtr = nullptr;
    }
}

void* Dslr1394Object::DeletingDestructor(uint32_t deletingFlags)
{
    this->~Dslr1394Object();
    if (deletingFlags & 1u) operator delete(this);
    return this;
}

uint32_t Dslr1394Object::Initialize()
{
    // A second call (only possible through the raw table) replaces the
    // message channel; the old one is destroyed rather than lost.
    delete m_scsiScanMngrPtr;
    m_scsiScanMngrPtr = nullptr;
    m_scsiScanMngrPtr = new ScsiScanManager;
    if (m_scsiScanMngrPtr == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "Initialize: couldn't allocate memory");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "Initialize: It succeeded in allocation");
    return vkRN_OK;
}

void Dslr1394Object::Terminate()
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "Initialize: Before delete m_scsiScanMngrPtr");
    delete m_scsiScanMngrPtr;
    Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "Initialize: Before delete m_scsiScanMngrPtr");
    m_scsiScanMngrPtr = nullptr;
}
