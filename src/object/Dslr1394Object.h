// The device object: the concrete class behind DslrObject. Slots 0 to 62
// override the interface in its order; slots 63 to 79 exist only here.
// The operations are implemented by the layers that own them (camera/,
// datachannel/, rapi/); this header is the class as a whole.
#pragma once

#include "VKRNQ402.h"
#include "camera/dbg_camera.h"
#include "memory/os_allocated.h"
#include "platform/win32_types.h"

class ScsiScanManager;
class Dslr1394Object;
struct NotifyThreadInfo;
struct NotifyQueueNode;
struct TransferTexts;
struct NoDeviceReportTexts;

// Receives each event message on the notification thread: (device object,
// message, size in bytes). The callee removes the arguments; the result is
// ignored.
using NotifyEventHandler = DWORD(WINAPI*)(Dslr1394Object* object, BYTE* message, DWORD size);

// The last Remote API exchange: command code, status, bytes of an announced
// data phase still to be read.
struct RapiExchangeRecord {
    DWORD dwCommand;
    DWORD dwStatus;
    DWORD dwRemaining;
};

class Dslr1394Object final : public DslrObject, public OsAllocated {
public:
    Dslr1394Object();
    Dslr1394Object(const Dslr1394Object&) = delete;
    Dslr1394Object& operator=(const Dslr1394Object&) = delete;

    void* DSLR_METHOD DeletingDestructor(uint32_t deletingFlags) override;
    uint32_t DSLR_METHOD baseOpenCameraComm(uint16_t wDebugFlag, DslrNotifyCallback pfnCallback,
                                            uintptr_t context) override;
    uint32_t DSLR_METHOD baseCloseCameraComm() override;
    uint32_t DSLR_METHOD baseReserved03(uint32_t, uint32_t, uint32_t, uint32_t) override;
    uint32_t DSLR_METHOD baseReserved04(uint32_t) override;
    uint32_t DSLR_METHOD baseGetVols(void* pVolInfo, uint16_t* pwNumEntries) override;
    uint32_t DSLR_METHOD baseReserved06(uint32_t, uint32_t, uint32_t) override;
    uint32_t DSLR_METHOD baseFormatVol(const char* pszVolName, uint32_t dwUnused) override;
    uint32_t DSLR_METHOD baseGetDirs(void* pDirSubtree, uint32_t* pdwLength) override;
    uint32_t DSLR_METHOD basecreateDir(const char* pszDirPath) override;
    uint32_t DSLR_METHOD baseCreateDCFDir(const char* pszDcfName, char* pszDirPath) override;
    uint32_t DSLR_METHOD baseReserved11(uint32_t) override;
    uint32_t DSLR_METHOD baseGetFile(const char* pszFilePath, uint32_t* pdwLength) override;
    uint32_t DSLR_METHOD baseGetFileSize(const char* pszFilePath, void* pSize) override;
    uint32_t DSLR_METHOD baseGetParsingHeader(const char* pszFilePath,
                                              uint32_t* pdwLength) override;
    uint32_t DSLR_METHOD basePutFile(const char* pszFilePath, uint32_t dwLength,
                                     uint32_t dwFileParam, const void* pData) override;
    uint32_t DSLR_METHOD baseDeleteFiles(const void* pPathList) override;
    uint32_t DSLR_METHOD baseSetFileAttribs(const void* pPathList, uint32_t dwAttribs) override;
    uint32_t DSLR_METHOD baseSetFileTimes(const void* pPathList, uint32_t dwTime) override;
    uint32_t DSLR_METHOD baseReadSetting(uint32_t dwTag, void* pSetting) override;
    uint32_t DSLR_METHOD baseWriteSetting(uint32_t dwTag, const void* pSetting) override;
    uint32_t DSLR_METHOD baseReserved21(uint32_t, uint32_t) override;
    uint32_t DSLR_METHOD baseSetNotificationCB(DslrNotifyCallback pfnCallback,
                                               uintptr_t context) override;
    uint32_t DSLR_METHOD baseGetModelDescrip(void* pModelDescrip) override;
    uint32_t DSLR_METHOD baseDslrReadData(void* pBuffer, uint32_t dwLength) override;
    uint32_t DSLR_METHOD base1394WriteData(const void* pData, uint32_t dwLength, void* pReply,
                                           uint32_t dwReplyLength) override;
    uint32_t DSLR_METHOD baseDslrOpenPort(const char* pszPortName) override;
    uint32_t DSLR_METHOD baseDslrClosePort() override;
    uint32_t DSLR_METHOD baseSetUILock(uint32_t dwLockParam) override;
    uint32_t DSLR_METHOD baseResetUILock(uint32_t dwLockParam) override;
    uint32_t DSLR_METHOD baseSetDevelopParamSetting(uint32_t dwSize, const void* pParams) override;
    uint32_t DSLR_METHOD baseGetDevelopParamSetting(uint32_t dwSize, void* pParams) override;
    uint32_t DSLR_METHOD baseGetRemoteAPIVersion(uint32_t* pdwVersion) override;
    uint32_t DSLR_METHOD baseReleaseControlEx(uint32_t dwCommand, uint32_t dwParamSize,
                                              const void* pParams, uint32_t dwReplySize,
                                              void* pReply) override;
    uint32_t DSLR_METHOD baseReserved34(uint32_t) override;
    uint32_t DSLR_METHOD baseReleaseControlGetReleasedData(uint32_t dwKind, uint32_t dwSequenceID,
                                                           uint32_t* pdwLength) override;
    uint32_t DSLR_METHOD baseDslrResetTransfer(uint16_t wTransferType) override;
    uint32_t DSLR_METHOD dsl1394MessageTxRx(const void* pRequest, uint32_t dwRequestLength,
                                            void* pReply, uint32_t dwReplyLength) override;
    uint32_t DSLR_METHOD dsl1394MessageTx(const void* pRequest, uint32_t dwRequestLength,
                                          uint32_t* pdwFirstReplyWord) override;
    uint32_t DSLR_METHOD baseNotifyStart() override;
    uint32_t DSLR_METHOD baseNotifyTerminate() override;
    uint32_t DSLR_METHOD dsl1394TestFunction(uint32_t dwOperation, void* pInput, uint32_t dwUnused1,
                                             uint32_t* pdwOutput, uint32_t dwUnused2) override;
    uint32_t DSLR_METHOD baseSetGammaLookupTable(uint32_t dwSize, const void* pTable) override;
    uint32_t DSLR_METHOD baseGetGammaLookupTable(uint32_t dwSize, void* pTable) override;
    uint32_t DSLR_METHOD baseSetDirectWhiteBalanceSetting(uint32_t dwKelvin) override;
    uint32_t DSLR_METHOD baseGetDirectWhiteBalanceSetting(uint32_t* pdwKelvin) override;
    uint32_t DSLR_METHOD baseSetWhiteBalanceParameters(uint32_t dwSize,
                                                       const void* pParams) override;
    uint32_t DSLR_METHOD baseGetWhiteBalanceParameters(uint32_t dwSize, void* pParams) override;
    uint32_t DSLR_METHOD baseSetCustomFunctionSetting(uint32_t dwUnusedSize,
                                                      const void* pParams) override;
    uint32_t DSLR_METHOD baseGetCustomFunctionSetting(uint32_t dwSize, void* pParams) override;
    uint32_t DSLR_METHOD baseSetPersonalFunctionSetting(uint32_t dwSize,
                                                        const void* pParams) override;
    uint32_t DSLR_METHOD baseGetPersonalFunctionSetting(uint32_t dwSize, void* pParams) override;
    uint32_t DSLR_METHOD baseReserved52(uint32_t, uint32_t) override;
    uint32_t DSLR_METHOD baseReserved53(uint32_t, uint32_t) override;
    uint32_t DSLR_METHOD baseGetPersonalFunctionExSize(uint32_t* pdwSize) override;
    uint32_t DSLR_METHOD baseGetPersonalFunctionEx(uint32_t dwSize, void* pParams) override;
    uint32_t DSLR_METHOD baseSetPersonalFunctionEx(uint32_t dwSize, const void* pParams) override;
    uint32_t DSLR_METHOD baseSetUserColorMatrix(uint32_t dwSize, const void* pMatrix) override;
    uint32_t DSLR_METHOD baseGetUserColorMatrix(uint32_t dwSize, void* pMatrix) override;
    uint32_t DSLR_METHOD baseSetJpegQuality(uint32_t dwSize, const void* pQuality) override;
    uint32_t DSLR_METHOD baseGetJpegQuality(uint32_t dwSize, void* pQuality) override;
    uint32_t DSLR_METHOD baseSetWhiteBalanceShift(uint32_t dwSize, const void* pShift) override;
    uint32_t DSLR_METHOD baseGetWhilteBalanceShift(uint32_t dwSize, void* pShift) override;

    virtual uint32_t DSLR_METHOD Initialize();  // 63
    virtual void DSLR_METHOD Terminate();       // 64
    virtual uint32_t DSLR_METHOD baseReserved65();
    virtual uint32_t DSLR_METHOD baseReserved66();
    virtual uint32_t DSLR_METHOD baseReserved67();
    virtual uint32_t DSLR_METHOD baseReserved68(uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved69(uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved70(uint32_t, uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved71(uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved72(uint32_t, uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved73(uint32_t, uint32_t, uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved74(uint32_t, uint32_t, uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved75(uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved76(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved77(uint32_t, uint32_t, uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved78(uint32_t, uint32_t);
    virtual uint32_t DSLR_METHOD baseReserved79(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t);

    // --- data channel: port and locking (datachannel/) -------------------
    DWORD ScanMngrOpenPort(const char* portName);
    DWORD ScanMngrClosePort();
    DWORD _ScanMngrOpenPort(const char* portName);
    DWORD _ScanMngrClosePort();
    DWORD ScanMngrCloseMapFile();
    DWORD ScanMngrCreateMutex(const char* portName);
    HANDLE _ScanMngrCreateMutex(const char* portName, DWORD* lastError, BOOL initialOwner);
    HANDLE _ObtainAccessableMutex(BOOL initialOwner, const char* name, DWORD* lastError);
    DWORD Utl_CreateMutexObject(const char* portName);
    void Utl_CloseMapFile();
    DWORD _ScanMngrIsDeviceValid();
    void _ScanMngrCreateOverlappedEvent(OVERLAPPED* overlapped, BOOL manualReset);
    BOOL _ScanMngrCheckOverlappedDevIoResult(BOOL ioctlResult);
    DWORD _ScanMngrWaitForAndCheckOverlappedResult(BOOL ioctlResult, HANDLE device,
                                                   OVERLAPPED* overlapped, BYTE* srbStatus,
                                                   DWORD* transferred, DWORD timeout);
    void _ScanMngrCritSecInit();
    void _ScanMngrCritSecDest();

    // --- data channel: block read and write ------------------------------
    DWORD ScanMngrScsiWrite(const BYTE* data, DWORD length, DWORD* written, DWORD timeout);
    DWORD _ScanMngrScsiRead(BYTE* buffer, DWORD length, DWORD* read, DWORD timeout);
    DWORD ScanMngrScsiReadDirect(BYTE* buffer, DWORD length, DWORD* read, DWORD timeout);
    DWORD ScanMngrScsiRead(BYTE* buffer, DWORD length, DWORD* read, DWORD timeout);
    BOOL _ScanMngrScsiOperation10(BYTE operation, WORD address, BYTE* buffer, DWORD length,
                                  BYTE* srbStatus, OVERLAPPED* overlapped);
    BOOL _ScanMngrScsiOperation12(BYTE operation, WORD address, BYTE* buffer, DWORD length,
                                  BYTE* srbStatus, OVERLAPPED* overlapped);
    void ScanMngrResetTimer();

    // --- connection, notification and test operations (camera/) ---------
    DWORD dsl1394SetNotificationCallBack(DslrNotifyCallback callback, uintptr_t context);
    DWORD _NotifyControlStart();
    DWORD _NotifyControlTerminate();
    DWORD _TestSetFirmUpdate();
    DWORD _TestDbgBenchMark(const char* path, uint32_t* output);

    // --- camera information and settings (camera/) -----------------------
    DWORD _rapiGetLogicalDriveStrings(char* buffer);                   // at least 32 bytes
    DWORD _rapiGetDriveFreeSpace(const char* drive, void* freeSpace);  // 8 bytes
    DWORD _rapiGetCameraProperty(void* property);                      // 72 bytes
    DWORD _rapiGetCameraTime(DWORD* timeRecord);                       // 12 bytes
    DWORD _rapiGetFileNamePrefix(void* prefix);                        // 15 bytes
    DWORD _rapiGetDirNameSuffix(char* suffix);                         // 6 bytes
    DWORD _rapiGetCameraBodyID(DWORD* bodyID);
    DWORD _rapiGetCurrentBatteryStatus(DWORD* status);
    DWORD _rapiGetOwnerName(char* ownerName);  // 32 bytes
    DWORD _rapiSetOwnerName(const char* ownerName);
    DWORD _rapiSetCameraTime(DWORD seconds, DWORD word1, DWORD word2);
    DWORD _rapiSetFileNamePrefix(const void* prefix);
    DWORD _rapiSetDirectoryNameSuffix(const char* suffix);
    DWORD _rapiResetFileNamePrefix();
    DWORD _rapiResetDirectoryNameSuffix();
    DWORD _rapiGetCameraFunctionInfo(void* functionInfo);          // 1,056 bytes
    void _MakeFirmwareVersionString(DWORD version, char* buffer);  // at least 33 bytes

    // --- storage (camera/) ----------------------------------------------
    // The announcement of a file's data (header false) or of its header.
    DWORD _AnnounceFileData(const char* path, uint32_t* length, bool header);
    // The list operations: delete (kind 0), attributes (1) and times (2).
    DWORD _PathListCommand(const void* list, DWORD kind, DWORD value);

    // --- camera path names (camera/) ------------------------------------
    DWORD Utl_Q317PathChange(const char* source, char* destination, DWORD length);
    DWORD Utl_Q317PathChange2(char* region, DWORD length);
    DWORD Utl_GetDirPathLength(BYTE* list, DWORD* length);
    DWORD Utl_MakePathLength(const char* list, DWORD total);
    DWORD Utl_SwapBufferData(BYTE* buffer, DWORD length);
    BOOL Utl_APPPathChange(char* path);
    BOOL Utl_APPDriveChange(const char* source, char* destination);

    // --- record generations, value checks and conversions (rapi/) ----------
    DWORD Utl_DevParamCheckVal(DWORD dwSize, const void* record, BOOL checkValues);
    DWORD Utl_GammaLutCheckVal(DWORD dwSize, const void* record, BOOL unused);
    DWORD Utl_WbSettingCheckVal(DWORD dwSize, const void* record, BOOL unused);
    DWORD Utl_JpgQualityCheckVal(DWORD dwSize, const void* record, BOOL checkValues);
    DWORD Utl_ColorMatrixCheckVal(DWORD dwSize, const void* record, BOOL checkValues);
    DWORD Utl_WbShiftCheckVal(DWORD dwSize, const void* record, BOOL unused);
    DWORD Utl_PFnCheck(DWORD dwSize, const void* record, BOOL checkValues);
    DWORD Utl_CameraPropertyByteSwap(DWORD dwSize, void* record);
    DWORD Utl_DevParamByteSwap(DWORD dwSize, void* record);
    DWORD Utl_GammaLutByteSwap(DWORD dwSize, void* record);
    DWORD Utl_WbSettingByteSwap(DWORD dwSize, void* record);
    DWORD Utl_JpgQualityByteSwap(DWORD dwSize, void* record);
    DWORD Utl_ColorMatrixByteSwap(DWORD dwSize, void* record);
    DWORD Utl_WbShiftByteSwap(DWORD dwSize, void* record);
    DWORD Utl_ReleaseParamByteSwap(DWORD dwControlCode, DWORD dwSize, void* block);

    // --- event polling and notification threads --------------------------
    DWORD ScanMngrInitInterruptPoll(NotifyEventHandler handler, uintptr_t param);
    DWORD ScanMngrTermInterruptPoll();
    DWORD _TerminateThreadBlocking(HANDLE thread);
    DWORD _PushNotificationMessage(BYTE* message);
    DWORD _PopNotificationMessage(BYTE** message);
    void _NotifyQueueAppend(NotifyQueueNode* node);
    NotifyQueueNode* _NotifyQueueTake();
    void _NotifyQueueDiscard();
    bool _NotifyQueueIsEmpty();

    // Data members, in the order of the original layout. They are public
    // because every layer below works on them directly.
    DbgCamera m_dbgCamera;
    NotifyThreadInfo* m_pThreadInfo;
    BOOL m_bExitNotifyThreadFlg;
    BOOL m_bExitPollThreadFlg;
    uintptr_t m_notifyContext;
    DslrNotifyCallback m_pfnNotifyCallback;
    char m_portName[32];
    ScsiScanManager* m_scsiScanMngrPtr;
    DWORD m_dwNotifyStartCounter;
    DWORD m_dwSizeOfMaxScsiData;
    DWORD m_dwModelID;
    DWORD m_dwDeviceIDData;
    WORD m_wEndianType;
    WORD m_wTransferID;
    HANDLE m_hDevice;
    HANDLE m_hInterruptThread;
    HANDLE m_hNotificationThread;
    HANDLE m_hMapFile;
    HANDLE m_hDeviceAccessMutex;
    NotifyQueueNode* m_pNotifyQueueHead;
    NotifyQueueNode* m_pNotifyQueueTail;
    CRITICAL_SECTION m_csNotifyQueue;
    BOOL m_bCritObjFlg;
    RapiExchangeRecord m_lastRapi;
    BOOL m_bDirSubtreeMode;
    // The notification thread's ID: the application's callback runs on that
    // thread, and a stop asked from there must not wait for itself.
    DWORD m_dwNotifyThreadId;

private:
    // Destruction goes through slot 0 (DeletingDestructor) only.
    ~Dslr1394Object();

    DWORD transferBlocks(BYTE operation, BYTE* buffer, DWORD length, DWORD* count, DWORD timeout,
                         DWORD startTick, OVERLAPPED* overlapped, const TransferTexts& texts);
    void reportNoDevice(const NoDeviceReportTexts& texts);
    DWORD stopNotifyThreads();
    bool isNotificationThreadCalling() const;
    bool exitRequested(HANDLE thread) const;
    DWORD awaitStoppingThreads();
    void releaseEndedNotifyRecord();
    bool eventMachineryLeft() const;
};

// A handle that names an object: neither INVALID_HANDLE_VALUE nor 0.
inline bool isValidHandle(HANDLE handle)
{
    return handle != INVALID_HANDLE_VALUE && handle != nullptr;
}

// Closes a handle unless it is INVALID_HANDLE_VALUE or 0; on success the
// location becomes INVALID_HANDLE_VALUE, on failure it is left unchanged.
void Utl_CloseHandle(HANDLE* handle);
