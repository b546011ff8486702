/*
 * VKRNQ402 - driver library for a DSLR camera on IEEE 1394.
 *
 * The library exports two functions: DSLR_GetObject creates the device object
 * through which a host application drives one camera, DSLR_DeleteObject
 * destroys it. Every camera operation is a virtual method of DslrObject, called
 * through a fixed order of slots that hosts are compiled against; the order of
 * the declarations below is that order and must never change.
 *
 * Conventions of the binary interface (32-bit x86): every method is called
 * with the object in ECX and removes its own arguments (thiscall); both exports
 * and the event callback remove their own arguments (stdcall). Every argument
 * is one 32-bit word; 16-bit values travel in a full word. On 64-bit systems
 * the platform's one calling convention is used.
 */
#ifndef VKRNQ402_H
#define VKRNQ402_H

#include <stdint.h>

#if defined(_MSC_VER) && defined(_M_IX86)
#define DSLR_METHOD __thiscall
#define DSLR_STDCALL __stdcall
#elif defined(__GNUC__) && defined(__i386__)
#define DSLR_METHOD __attribute__((thiscall))
#define DSLR_STDCALL __attribute__((stdcall))
#else
#define DSLR_METHOD
#define DSLR_STDCALL
#endif

#if defined(_WIN32)
#if defined(VKRNQ402_BUILDING)
#define DSLR_EXPORT __declspec(dllexport)
#else
#define DSLR_EXPORT __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define DSLR_EXPORT __attribute__((visibility("default")))
#else
#define DSLR_EXPORT
#endif

/* The interface's type information is visible to hosts on ELF systems (their
 * runtime checks compare it); a DLL exports nothing but its two functions. */
#if !defined(_WIN32) && defined(__GNUC__)
#define DSLR_INTERFACE __attribute__((visibility("default")))
#else
#define DSLR_INTERFACE
#endif

/* Result codes: 0 is success, errors are 0x02000000 plus a number. A camera's
 * own Remote API error nnnn is returned as 0x0200nnnn. */
#define vkRN_OK 0x00000000u
#define vkRNERROR_TRANSFER_FAILED 0x02000002u    /* transfer, wait or mutex failed; lengths disagree */
#define vkRNERROR_OUT_OF_MEMORY 0x02000003u      /* allocation failed; reply larger than expected */
#define vkRNERROR_NOT_SUPPORTED 0x02000007u      /* operation or setting tag not supported */
#define vkRNERROR_INVALID_PARAMETER 0x02000060u  /* null pointer, bad size, value out of range, bad reply */
#define vkRNERROR_DEVICE_NOT_AVAILABLE 0x02000080u /* cannot open, invalid handle, device lost */
#define vkRNERROR_CONNECT_REFUSED 0x02000081u    /* the camera refused the connect request */
#define vkRNERROR_PORT_IS_IN_USE 0x020000C0u     /* existing connection, or port open for another user */
#define vkRNERROR_PORT_NOT_OPEN 0x020000C1u      /* message channel not open; connect answered WAIT */
#define vkRNERROR_NO_DEVICE_ID 0x020000C2u       /* the camera's device-ID data is 0 */
#define vkRNERROR_NO_DATA_PHASE 0x020000E7u      /* data read after a command without a data phase */

#ifdef __cplusplus
extern "C" {
#endif

/* The application's event callback: event ID, the event's parameter bytes,
 * their number, and the context registered with the callback. Its result is
 * ignored. The context is a pointer-sized value so that 64-bit hosts can pass
 * a pointer; on 32-bit systems it is the 32-bit word of the interface. */
typedef uint32_t(DSLR_STDCALL* DslrNotifyCallback)(uint32_t eventId, void* params,
                                                    uint32_t paramSize, uintptr_t context);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus

/* The device object. Records whose layout belongs to one operation are passed
 * as untyped pointers here; their layouts are documented with the operations. */
// clang-format off
class DSLR_INTERFACE DslrObject {
public:
    /* Slot 0: destroys the object; bit 0 of the flag set also frees its memory.
     * It stands where a compiler for the host's platform puts the deleting
     * destructor; DSLR_DeleteObject is the way applications should use it. */
    virtual void* DSLR_METHOD DeletingDestructor(uint32_t deletingFlags);

    virtual uint32_t DSLR_METHOD baseOpenCameraComm(uint16_t wDebugFlag, DslrNotifyCallback pfnCallback, uintptr_t context) = 0; /* 1 */
    virtual uint32_t DSLR_METHOD baseCloseCameraComm() = 0;                                                                   /* 2 */
    virtual uint32_t DSLR_METHOD baseReserved03(uint32_t, uint32_t, uint32_t, uint32_t) = 0;                                   /* 3 */
    virtual uint32_t DSLR_METHOD baseReserved04(uint32_t) = 0;                                                                 /* 4 */
    virtual uint32_t DSLR_METHOD baseGetVols(void* pVolInfo, uint16_t* pwNumEntries) = 0;                                      /* 5 */
    virtual uint32_t DSLR_METHOD baseReserved06(uint32_t, uint32_t, uint32_t) = 0;                                             /* 6 */
    virtual uint32_t DSLR_METHOD baseFormatVol(const char* pszVolName, uint32_t dwUnused) = 0;                                 /* 7 */
    virtual uint32_t DSLR_METHOD baseGetDirs(void* pDirSubtree, uint32_t* pdwLength) = 0;                                      /* 8 */
    virtual uint32_t DSLR_METHOD basecreateDir(const char* pszDirPath) = 0;                                                    /* 9 */
    virtual uint32_t DSLR_METHOD baseCreateDCFDir(const char* pszDcfName, char* pszDirPath) = 0;                               /* 10 */
    virtual uint32_t DSLR_METHOD baseReserved11(uint32_t) = 0;                                                                 /* 11 */
    virtual uint32_t DSLR_METHOD baseGetFile(const char* pszFilePath, uint32_t* pdwLength) = 0;                                /* 12 */
    virtual uint32_t DSLR_METHOD baseGetFileSize(const char* pszFilePath, void* pSize) = 0;                                    /* 13 */
    virtual uint32_t DSLR_METHOD baseGetParsingHeader(const char* pszFilePath, uint32_t* pdwLength) = 0;                       /* 14 */
    virtual uint32_t DSLR_METHOD basePutFile(const char* pszFilePath, uint32_t dwLength, uint32_t dwFileParam, const void* pData) = 0; /* 15 */
    virtual uint32_t DSLR_METHOD baseDeleteFiles(const void* pPathList) = 0;                                                   /* 16 */
    virtual uint32_t DSLR_METHOD baseSetFileAttribs(const void* pPathList, uint32_t dwAttribs) = 0;                            /* 17 */
    virtual uint32_t DSLR_METHOD baseSetFileTimes(const void* pPathList, uint32_t dwTime) = 0;                                 /* 18 */
    virtual uint32_t DSLR_METHOD baseReadSetting(uint32_t dwTag, void* pSetting) = 0;                                          /* 19 */
    virtual uint32_t DSLR_METHOD baseWriteSetting(uint32_t dwTag, const void* pSetting) = 0;                                   /* 20 */
    virtual uint32_t DSLR_METHOD baseReserved21(uint32_t, uint32_t) = 0;                                                       /* 21 */
    virtual uint32_t DSLR_METHOD baseSetNotificationCB(DslrNotifyCallback pfnCallback, uintptr_t context) = 0;                 /* 22 */
    virtual uint32_t DSLR_METHOD baseGetModelDescrip(void* pModelDescrip) = 0;                                                 /* 23 */
    virtual uint32_t DSLR_METHOD baseDslrReadData(void* pBuffer, uint32_t dwLength) = 0;                                       /* 24 */
    virtual uint32_t DSLR_METHOD base1394WriteData(const void* pData, uint32_t dwLength, void* pReply, uint32_t dwReplyLength) = 0; /* 25 */
    virtual uint32_t DSLR_METHOD baseDslrOpenPort(const char* pszPortName) = 0;                                                /* 26 */
    virtual uint32_t DSLR_METHOD baseDslrClosePort() = 0;                                                                      /* 27 */
    virtual uint32_t DSLR_METHOD baseSetUILock(uint32_t dwLockParam) = 0;                                                      /* 28 */
    virtual uint32_t DSLR_METHOD baseResetUILock(uint32_t dwLockParam) = 0;                                                    /* 29 */
    virtual uint32_t DSLR_METHOD baseSetDevelopParamSetting(uint32_t dwSize, const void* pParams) = 0;                         /* 30 */
    virtual uint32_t DSLR_METHOD baseGetDevelopParamSetting(uint32_t dwSize, void* pParams) = 0;                               /* 31 */
    virtual uint32_t DSLR_METHOD baseGetRemoteAPIVersion(uint32_t* pdwVersion) = 0;                                            /* 32 */
    virtual uint32_t DSLR_METHOD baseReleaseControlEx(uint32_t dwCommand, uint32_t dwParamSize, const void* pParams, uint32_t dwReplySize, void* pReply) = 0; /* 33 */
    virtual uint32_t DSLR_METHOD baseReserved34(uint32_t) = 0;                                                                 /* 34 */
    virtual uint32_t DSLR_METHOD baseReleaseControlGetReleasedData(uint32_t dwKind, uint32_t dwSequenceID, uint32_t* pdwLength) = 0; /* 35 */
    virtual uint32_t DSLR_METHOD baseDslrResetTransfer(uint16_t wTransferType) = 0;                                            /* 36 */
    virtual uint32_t DSLR_METHOD dsl1394MessageTxRx(const void* pRequest, uint32_t dwRequestLength, void* pReply, uint32_t dwReplyLength) = 0; /* 37 */
    virtual uint32_t DSLR_METHOD dsl1394MessageTx(const void* pRequest, uint32_t dwRequestLength, uint32_t* pdwFirstReplyWord) = 0; /* 38 */
    virtual uint32_t DSLR_METHOD baseNotifyStart() = 0;                                                                        /* 39 */
    virtual uint32_t DSLR_METHOD baseNotifyTerminate() = 0;                                                                    /* 40 */
    virtual uint32_t DSLR_METHOD dsl1394TestFunction(uint32_t dwOperation, void* pInput, uint32_t dwUnused1, uint32_t* pdwOutput, uint32_t dwUnused2) = 0; /* 41 */
    virtual uint32_t DSLR_METHOD baseSetGammaLookupTable(uint32_t dwSize, const void* pTable) = 0;                             /* 42 */
    virtual uint32_t DSLR_METHOD baseGetGammaLookupTable(uint32_t dwSize, void* pTable) = 0;                                   /* 43 */
    virtual uint32_t DSLR_METHOD baseSetDirectWhiteBalanceSetting(uint32_t dwKelvin) = 0;                                      /* 44 */
    virtual uint32_t DSLR_METHOD baseGetDirectWhiteBalanceSetting(uint32_t* pdwKelvin) = 0;                                    /* 45 */
    virtual uint32_t DSLR_METHOD baseSetWhiteBalanceParameters(uint32_t dwSize, const void* pParams) = 0;                      /* 46 */
    virtual uint32_t DSLR_METHOD baseGetWhiteBalanceParameters(uint32_t dwSize, void* pParams) = 0;                            /* 47 */
    virtual uint32_t DSLR_METHOD baseSetCustomFunctionSetting(uint32_t dwUnusedSize, const void* pParams) = 0;                 /* 48 */
    virtual uint32_t DSLR_METHOD baseGetCustomFunctionSetting(uint32_t dwSize, void* pParams) = 0;                             /* 49 */
    virtual uint32_t DSLR_METHOD baseSetPersonalFunctionSetting(uint32_t dwSize, const void* pParams) = 0;                     /* 50 */
    virtual uint32_t DSLR_METHOD baseGetPersonalFunctionSetting(uint32_t dwSize, void* pParams) = 0;                           /* 51 */
    virtual uint32_t DSLR_METHOD baseReserved52(uint32_t, uint32_t) = 0;                                                       /* 52 */
    virtual uint32_t DSLR_METHOD baseReserved53(uint32_t, uint32_t) = 0;                                                       /* 53 */
    virtual uint32_t DSLR_METHOD baseGetPersonalFunctionExSize(uint32_t* pdwSize) = 0;                                         /* 54 */
    virtual uint32_t DSLR_METHOD baseGetPersonalFunctionEx(uint32_t dwSize, void* pParams) = 0;                                /* 55 */
    virtual uint32_t DSLR_METHOD baseSetPersonalFunctionEx(uint32_t dwSize, const void* pParams) = 0;                          /* 56 */
    virtual uint32_t DSLR_METHOD baseSetUserColorMatrix(uint32_t dwSize, const void* pMatrix) = 0;                             /* 57 */
    virtual uint32_t DSLR_METHOD baseGetUserColorMatrix(uint32_t dwSize, void* pMatrix) = 0;                                   /* 58 */
    virtual uint32_t DSLR_METHOD baseSetJpegQuality(uint32_t dwSize, const void* pQuality) = 0;                                /* 59 */
    virtual uint32_t DSLR_METHOD baseGetJpegQuality(uint32_t dwSize, void* pQuality) = 0;                                      /* 60 */
    virtual uint32_t DSLR_METHOD baseSetWhiteBalanceShift(uint32_t dwSize, const void* pShift) = 0;                            /* 61 */
    virtual uint32_t DSLR_METHOD baseGetWhilteBalanceShift(uint32_t dwSize, void* pShift) = 0;                                 /* 62 */

protected:
    DslrObject() = default;
    /* Not virtual: destruction always goes through slot 0. */
    ~DslrObject() = default;
    DslrObject(const DslrObject&) = delete;
    DslrObject& operator=(const DslrObject&) = delete;
};
// clang-format on

extern "C" {
/* Creates a device object, or returns null. Export ordinal 2. */
DSLR_EXPORT DslrObject* DSLR_STDCALL DSLR_GetObject(void);
/* Ends and destroys a device object; null is ignored. Export ordinal 1. */
DSLR_EXPORT void DSLR_STDCALL DSLR_DeleteObject(DslrObject* pObject);
}

#endif /* __cplusplus */

#endif /* VKRNQ402_H */
