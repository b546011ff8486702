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

#include <stddef.h>
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

/* ------------------------------------------------------------------------
 * Records exchanged with the application. Every multi-byte field is
 * little-endian, the host's own order. Layouts are exact: the records are
 * packed, and the assertions after each one hold its size and the offsets
 * that natural alignment would move.
 * ------------------------------------------------------------------------ */

#if defined(__cplusplus)
#define DSLR_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define DSLR_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* Setting tags of baseReadSetting (slot 19) and baseWriteSetting (slot 20). */
enum dsSETTING_TAG {
    OWNER_NAME = 2,                /* read: char[32]; write: NUL-terminated string */
    CAMERA_TIME = 3,               /* uint32_t seconds since 1970-01-01 00:00 UTC; a write
                                      leaves the camera's local count in the caller's value */
    READ_FIRM_VERSION = 5,         /* read: char buffer of at least 33 bytes */
    READ_BATT_STATUS = 6,          /* read: uint32_t */
    READ_BODY_ID = 8,              /* read: uint32_t */
    READ_CAMERA_FUNCTION_INFO = 9, /* read: dsCAMERA_FUNCTION_INFO */
    DIRECTORY_SUFFIX = 10,         /* read: char[6]; write: string of exactly 5 characters */
    CURRENT_DIRECTORY = 11,        /* not supported */
    RESET_NAME_PREFIX = 12,        /* write: record ignored */
    RESET_DIRECTORY_SUFFIX = 13,   /* write: record ignored */
    NAME_PREFIX_EX = 14            /* read and write: dsFILE_NAME_PREFIX */
};

/* Release-control codes of baseReleaseControlEx (slot 33). */
enum dsRELEASE_CONTROL_CODE {
    DS_RELEASE_CONTROL_INIT = 0,
    DS_RELEASE_CONTROL_EXIT = 1,
    DS_RELEASE_CONTROL_RELEASE = 4,
    DS_RELEASE_CONTROL_RELEASE_PARAMS = 7,
    DS_RELEASE_CONTROL_SET_TRANSFER_MODE = 9,
    DS_RELEASE_CONTROL_GET_RELEASE_PARAMS = 10,
    DS_RELEASE_CONTROL_GET_AVAILABLE_SHOT = 13,
    DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_SIZE = 16,
    DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_VERSION = 17,
    DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS = 18,
    DS_RELEASE_CONTROL_SET_EXT_RELEASE_PARAMS = 19,
    DS_RELEASE_CONTROL_GET_SIZE_OF_AVAILABLE_VALUE_OF_PARAM = 27,
    DS_RELEASE_CONTROL_GET_AVAILABLE_VALUE_OF_PARAM = 28,
    DS_RELEASE_CONTROL_GET_IMAGE_DATA_SIZE = 29
};

/* Model IDs the library tells apart. */
#define DSLR_MODEL_ID_Q402 0x80000402u /* the camera this library serves */
#define DSLR_MODEL_ID_Q529 0x80000529u /* the newer generation's own ID */
#define DSLR_MODEL_ID_Q611 0x80000611u /* a sibling sharing some newer layouts */

#pragma pack(push, 1)

/* --- camera information and settings --------------------------------- */

/* NAME_PREFIX_EX: three NUL-terminated prefixes of 4 characters. */
typedef struct dsFILE_NAME_PREFIX {
    char cJpgPrefix[5];
    char cRvxPrefix[5];
    char cWavPrefix[5];
} dsFILE_NAME_PREFIX;
DSLR_STATIC_ASSERT(sizeof(dsFILE_NAME_PREFIX) == 15, "dsFILE_NAME_PREFIX");

/* baseGetModelDescrip (slot 23). */
typedef struct dsMODEL_DESCRIP {
    uint32_t dwModelID;
    char cModelName[32]; /* NUL-terminated, the maker's name left out */
} dsMODEL_DESCRIP;
DSLR_STATIC_ASSERT(sizeof(dsMODEL_DESCRIP) == 36, "dsMODEL_DESCRIP");

/* The camera's property record (Remote API version, firmware, names). */
typedef struct dsCAMERA_PROPERTY {
    uint32_t dwRemoteAPIVersion;
    uint32_t dwFirmVersion; /* one version part per byte, most significant first */
    char cModelName[32];
    char cSecondName[32];
} dsCAMERA_PROPERTY;
DSLR_STATIC_ASSERT(sizeof(dsCAMERA_PROPERTY) == 72, "dsCAMERA_PROPERTY");

/* One image-size entry of the function information. */
typedef struct dsIMAGE_SIZE_ENTRY {
    char cName[20];
    uint32_t dwValue[3];
} dsIMAGE_SIZE_ENTRY;
DSLR_STATIC_ASSERT(sizeof(dsIMAGE_SIZE_ENTRY) == 32, "dsIMAGE_SIZE_ENTRY");

#define DSLR_MAX_FUNCTION_INDEX 100

/* READ_CAMERA_FUNCTION_INFO: 1,056 bytes. */
typedef struct dsCAMERA_FUNCTION_INFO {
    uint16_t wSize; /* 1056 */
    uint32_t dwModelID;
    char cModelName[32];
    uint32_t dwNumOfEntries;
    dsIMAGE_SIZE_ENTRY entries[16];
    uint32_t dwFixedValue[4];
    uint16_t wFixedValue;
    uint32_t dwSetting[20];
    uint16_t wNumOfFunctions;
    uint32_t dwFunction[DSLR_MAX_FUNCTION_INDEX];
    uint16_t wReserved;
} dsCAMERA_FUNCTION_INFO;
DSLR_STATIC_ASSERT(sizeof(dsCAMERA_FUNCTION_INFO) == 1056, "dsCAMERA_FUNCTION_INFO");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, dwModelID) == 2, "dwModelID");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, cModelName) == 6, "cModelName");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, dwNumOfEntries) == 38, "dwNumOfEntries");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, entries) == 42, "entries");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, dwFixedValue) == 554, "dwFixedValue");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, wFixedValue) == 570, "wFixedValue");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, dwSetting) == 572, "dwSetting");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, wNumOfFunctions) == 652, "wNumOfFunctions");
DSLR_STATIC_ASSERT(offsetof(dsCAMERA_FUNCTION_INFO, dwFunction) == 654, "dwFunction");

/* --- storage volumes and directory entries ---------------------------- */

/* baseGetVols fills a uint32_t count followed by this many entries, packed:
 * each entry's name runs on to its NUL and the next entry follows. */
typedef struct dsVOLUME_INFO_ENTRY {
    uint16_t wReserved1; /* 1 */
    uint16_t wReserved2; /* 1 */
    uint32_t dwFreeSpace1; /* the two words of the volume's free-space reply */
    uint32_t dwFreeSpace2;
    char cNameStr[1]; /* the volume name, NUL-terminated, as long as it is */
} dsVOLUME_INFO_ENTRY;
DSLR_STATIC_ASSERT(offsetof(dsVOLUME_INFO_ENTRY, cNameStr) == 12, "cNameStr");

/* A volume's free-space record as the camera reports it. */
typedef struct dsDRIVE_FREE_SPACE {
    uint32_t dwValue[2];
} dsDRIVE_FREE_SPACE;
DSLR_STATIC_ASSERT(sizeof(dsDRIVE_FREE_SPACE) == 8, "dsDRIVE_FREE_SPACE");

/* One record of a directory listing; the path runs on to its NUL and the
 * next record follows. All-zero fields and an empty path end the listing. */
typedef struct dsDIRECTORY_ENTRY {
    uint16_t wAttribute;
    uint32_t dwSize;
    uint32_t dwTime;
    char cPathStr[1];
} dsDIRECTORY_ENTRY;
DSLR_STATIC_ASSERT(offsetof(dsDIRECTORY_ENTRY, dwSize) == 2, "dwSize");
DSLR_STATIC_ASSERT(offsetof(dsDIRECTORY_ENTRY, dwTime) == 6, "dwTime");
DSLR_STATIC_ASSERT(offsetof(dsDIRECTORY_ENTRY, cPathStr) == 10, "cPathStr");

/* --- image notifications and remote release --------------------------- */

/* Parameters of the image notifications (events 8, 12 and 16). */
typedef struct dsIMAGE_NOTIFY {
    uint32_t SequenceID;
    uint8_t FormatType;
    uint32_t SizeOfData;
} dsIMAGE_NOTIFY;
DSLR_STATIC_ASSERT(sizeof(dsIMAGE_NOTIFY) == 9, "dsIMAGE_NOTIFY");
DSLR_STATIC_ASSERT(offsetof(dsIMAGE_NOTIFY, SizeOfData) == 5, "SizeOfData");

/* DS_RELEASE_CONTROL_RELEASE_PARAMS and _GET_RELEASE_PARAMS: 48 bytes. */
typedef struct dsREMOTE_RELEASE_PARAMS {
    uint8_t byReserved1[26];
    uint16_t wISO;
    uint16_t wAv;
    uint16_t wTv;
    uint8_t byReserved2[16];
} dsREMOTE_RELEASE_PARAMS;
DSLR_STATIC_ASSERT(sizeof(dsREMOTE_RELEASE_PARAMS) == 48, "dsREMOTE_RELEASE_PARAMS");
DSLR_STATIC_ASSERT(offsetof(dsREMOTE_RELEASE_PARAMS, wISO) == 26, "wISO");

/* DS_RELEASE_CONTROL_GET/SET_EXT_RELEASE_PARAMS: 60 bytes for models
 * 0x80000402 and 0x80000611, the first 44 bytes for the others. */
typedef struct dsREMOTE_RELEASE_EXT_PARAMS {
    uint32_t sizeOfThis;
    uint32_t version;
    uint8_t byReserved1[32];
    uint16_t KelvinValue;
    uint16_t ColorMatrix;
    uint8_t byReserved2[16];
} dsREMOTE_RELEASE_EXT_PARAMS;
#define DSLR_EXT_RELEASE_PARAMS_SHORT_SIZE 44
DSLR_STATIC_ASSERT(sizeof(dsREMOTE_RELEASE_EXT_PARAMS) == 60, "dsREMOTE_RELEASE_EXT_PARAMS");
DSLR_STATIC_ASSERT(offsetof(dsREMOTE_RELEASE_EXT_PARAMS, byReserved2) ==
                       DSLR_EXT_RELEASE_PARAMS_SHORT_SIZE,
                   "short form");

/* DS_RELEASE_CONTROL_SET_TRANSFER_MODE. */
typedef struct dsREMOTE_RELEASE_TRANSFER_MODE {
    uint16_t wSetMode; /* not 0 */
    uint16_t wReserved;
} dsREMOTE_RELEASE_TRANSFER_MODE;
DSLR_STATIC_ASSERT(sizeof(dsREMOTE_RELEASE_TRANSFER_MODE) == 4, "dsREMOTE_RELEASE_TRANSFER_MODE");

/* DS_RELEASE_CONTROL_GET_AVAILABLE_VALUE_OF_PARAM (9 bytes or more): the
 * head, then dwNumOfValues values of 16 or 32 bits. */
typedef struct dsAVAILABLE_VALUES {
    uint32_t dwNumOfValues;
    uint32_t dwValueType;
} dsAVAILABLE_VALUES;
DSLR_STATIC_ASSERT(sizeof(dsAVAILABLE_VALUES) == 8, "dsAVAILABLE_VALUES");

/* DS_RELEASE_CONTROL_GET_IMAGE_DATA_SIZE request (3 bytes). */
typedef struct dsIMAGE_DATA_SIZE_PARAMS {
    uint8_t ImageSize;
    uint8_t FVFileFormat;
    uint8_t CompQuality;
} dsIMAGE_DATA_SIZE_PARAMS;
DSLR_STATIC_ASSERT(sizeof(dsIMAGE_DATA_SIZE_PARAMS) == 3, "dsIMAGE_DATA_SIZE_PARAMS");

/* --- image-processing parameters -------------------------------------- */

/* Develop parameters: 32 bytes, or the first 28 for older cameras. */
typedef struct dsDEVELOP_PARAM {
    uint32_t dwIndex; /* 1 to 3 */
    uint32_t dwBValid;
    uint32_t dwGammaLookupTable;
    uint32_t dwEdgeLevel;
    uint32_t dwEdgeFrequency;
    uint32_t dwNormalQuality;
    uint32_t dwFineQuality;
    int32_t lContrast;
} dsDEVELOP_PARAM;
#define DSLR_DEVELOP_PARAM_Q317_SIZE 28
DSLR_STATIC_ASSERT(sizeof(dsDEVELOP_PARAM) == 32, "dsDEVELOP_PARAM");

/* Gamma look-up table: 158 bytes for model 0x80000402. */
typedef struct dsGAMMA_LOOKUP_TABLE {
    uint32_t dwIndex; /* 1 to 3 */
    uint32_t dwReserved;
    uint16_t wTable[75];
} dsGAMMA_LOOKUP_TABLE;
DSLR_STATIC_ASSERT(sizeof(dsGAMMA_LOOKUP_TABLE) == 158, "dsGAMMA_LOOKUP_TABLE");

/* The older cameras' gamma look-up table: 56 bytes. */
typedef struct dsGAMMA_LOOKUP_TABLE_Q317 {
    uint32_t dwIndex;
    uint32_t dwReserved;
    uint16_t wTable[24];
} dsGAMMA_LOOKUP_TABLE_Q317;
DSLR_STATIC_ASSERT(sizeof(dsGAMMA_LOOKUP_TABLE_Q317) == 56, "dsGAMMA_LOOKUP_TABLE_Q317");

/* White-balance parameters: 48 bytes for model 0x80000402. */
typedef struct dsWHITE_BALANCE_PARAMETERS {
    uint32_t dwWhiteBalanceSetting; /* 1 to 3 */
    uint32_t dwReserved;
    char cCaption[32]; /* NUL-terminated */
    uint16_t wValue[4];
} dsWHITE_BALANCE_PARAMETERS;
DSLR_STATIC_ASSERT(sizeof(dsWHITE_BALANCE_PARAMETERS) == 48, "dsWHITE_BALANCE_PARAMETERS");

/* The older cameras' white-balance parameters: 88 bytes. */
typedef struct dsWHITE_BALANCE_PARAMETERS_Q317 {
    uint32_t dwWhiteBalanceSetting;
    uint32_t dwReserved;
    char cCaption[32];
    uint16_t wValue[24];
} dsWHITE_BALANCE_PARAMETERS_Q317;
DSLR_STATIC_ASSERT(sizeof(dsWHITE_BALANCE_PARAMETERS_Q317) == 88,
                   "dsWHITE_BALANCE_PARAMETERS_Q317");

typedef struct dsJPEG_QUALITY {
    uint16_t nLargeJpegQuality; /* each 1 to 10 */
    uint16_t nMiddle1JpegQuality;
    uint16_t nMiddle2JpegQuality;
    uint16_t nSmallJpegQuality;
} dsJPEG_QUALITY;
DSLR_STATIC_ASSERT(sizeof(dsJPEG_QUALITY) == 8, "dsJPEG_QUALITY");

typedef struct dsUSER_COLOR_MATRIX {
    uint32_t dwIndex; /* 1 to 7 */
    uint32_t dwValue1;
    int32_t lValue2;
    int32_t lValue3;
} dsUSER_COLOR_MATRIX;
DSLR_STATIC_ASSERT(sizeof(dsUSER_COLOR_MATRIX) == 16, "dsUSER_COLOR_MATRIX");

typedef struct dsWHITE_BALANCE_SHIFT {
    uint8_t byShift[8];
} dsWHITE_BALANCE_SHIFT;
DSLR_STATIC_ASSERT(sizeof(dsWHITE_BALANCE_SHIFT) == 8, "dsWHITE_BALANCE_SHIFT");

/* Custom-function block; the set operation sends all 68 bytes. */
typedef struct dsCUSTOM_FUNCTION {
    uint32_t dwSelector;
    uint16_t wLength; /* bytes from wLength on, at most 64 */
    uint8_t byData[62];
} dsCUSTOM_FUNCTION;
DSLR_STATIC_ASSERT(sizeof(dsCUSTOM_FUNCTION) == 68, "dsCUSTOM_FUNCTION");

/* Personal functions: 57 words in two blocks of 32 and 25. */
typedef struct dsPERSONAL_FUNCTION {
    uint16_t wFirstBlock[32];
    uint16_t wSecondBlock[15];
    uint16_t PFn_25_Value_AEmode;
    uint16_t PFn_25_Value_Metering;
    uint16_t PFn_25_Value_Shutter;
    uint16_t PFn_25_Value_AFmode;
    uint16_t PFn_25_Value_AFframe;
    uint16_t PFn_25_Value_Quality;
    uint16_t PFn_25_Value_WBmode;
    uint16_t PFn_25_Value_Develop;
    uint16_t PFn_25_Value;
    uint16_t wLastWord;
} dsPERSONAL_FUNCTION;
DSLR_STATIC_ASSERT(sizeof(dsPERSONAL_FUNCTION) == 114, "dsPERSONAL_FUNCTION");
DSLR_STATIC_ASSERT(offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_AEmode) == 94, "AEmode");
DSLR_STATIC_ASSERT(offsetof(dsPERSONAL_FUNCTION, PFn_25_Value) == 110, "PFn_25_Value");

/* The extended personal functions: wNumOfItems, then that many items, each
 * starting with this head and followed by wNumOfValues values. */
typedef struct dsPERSONAL_FUNCTION_EX {
    uint16_t wNumOfItems; /* not 0 */
} dsPERSONAL_FUNCTION_EX;

typedef struct dsPERSONAL_FUNCTION_EX_ITEM {
    uint16_t wItemSize; /* the next item starts this many bytes further on */
    uint8_t byReserved[8];
    uint16_t wNumOfValues;
    uint16_t wValueType;
} dsPERSONAL_FUNCTION_EX_ITEM;
DSLR_STATIC_ASSERT(sizeof(dsPERSONAL_FUNCTION_EX_ITEM) == 14, "dsPERSONAL_FUNCTION_EX_ITEM");

#pragma pack(pop)

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
