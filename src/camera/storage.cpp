// The camera's storage, one Remote API exchange per operation: volumes,
// format, directory creation (plain and DCF-numbered), file and header
// announcements, file size and file blocks written to the camera. The data a
// reply announces is read afterwards with baseDslrReadData.

#include "camera/camera_paths.h"
#include "camera/storage_request.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"
#include "rapi/rapi_messages.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr DWORD kAnnounceRecord = 16;
constexpr DWORD kRenameArea = 256;
constexpr DWORD kDriveStringsArea = 32;
constexpr DWORD kMostVolumes = 3;
constexpr DWORD kFormatPadding = 168;
constexpr DWORD kDcfNameLength = 5;
constexpr DWORD kPutFileHead = 12;  // kind 2, file parameter, data length

bool flagSet(DWORD flag) { return (Dbg_GetLogLevel() & flag) != 0; }

DWORD refuse(const char* text)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", text);
    return vkRNERROR_INVALID_PARAMETER;
}

DWORD outOfMemory(const char* text)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", text);
    return vkRNERROR_OUT_OF_MEMORY;
}

DWORD stringLength(const char* text) { return static_cast<DWORD>(std::strlen(text)); }

// With debug bit 21 a file on any volume but "ATA01" is read from "ATA01"
// under the same path. A path without a colon names no volume and is sent
// as it is; one whose rewrite would not fit the 256-byte area (NUL
// included) is refused, as no camera path is that long.
enum class Rename { kNone, kRenamed, kTooLong };

Rename renameVolume(const char* path, char (&area)[kRenameArea])
{
    if (!flagSet(DBGFLAG_RENAME_ATA02) || std::strstr(path, "ATA01") != nullptr)
        return Rename::kNone;
    const char* colon = std::strchr(path, ':');
    if (colon == nullptr) return Rename::kNone;
    const int written = std::snprintf(area, sizeof(area), "ATA01%s", colon);
    return written >= 0 && static_cast<DWORD>(written) < kRenameArea ? Rename::kRenamed
                                                                     : Rename::kTooLong;
}

// What tells a file read from a header read: the mode word and the log's
// words.
struct AnnounceTexts {
    DWORD mode;
    const char* nullPath;
    const char* nullLength;
    const char* pathGiven;
    const char* pathTooLong;
    const char* pathConverted;
    const char* pathNotAllocated;
    const char* recordDump;
    const char* lengthLine;
    RapiCallTexts call;
};

const AnnounceTexts kGetFile = {
    0,
    "baseGetFile: FilePathStrPtr is NULL",
    "baseGetFile: FileLengthPtr is NULL",
    "baseGetFile: FilePathStrPtr(%s)",
    "baseGetFile: FilePathStrPtr(%s) is too long to rename",
    "baseGetFile: cChangePathPtr(%s)",
    "baseGetFile: cChangePathPtr is NULL(alloc failed)",
    "baseGetFile: GetFileParam",
    "baseGetFile: DataLength (%d)byte",
    {"baseGetFile: TxMsgPtr is NULL(alloc failed)", "baseGetFile: vRxMsgPtr is NULL(alloc failed)",
     "baseGetFile: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};

const AnnounceTexts kGetHeader = {
    1,
    "FilePathStrPtr is NULL in baseGetParsingHeader()",
    "FileLengthPtr is NULL in baseGetParsingHeader()",
    "1.FilePathStrPtr(%s) in baseGetParsingHeader()",
    "FilePathStrPtr(%s) is too long to rename in baseGetParsingHeader()",
    "cChangePathPtr(%s) in baseGetParsingHeader()",
    "cChangePathPtr is NULL(memory alloc error) in baseGetParsingHeader()",
    "baseGetParsingHeader: GetFileHeaderParam",
    "(%d)byte retrun baseGetParsingHeader()",
    {"TxMsgPtr is NULL(memory alloc error) in baseGetParsingHeader()",
     "vRxMsgPtr is NULL(alloc error) in baseGetParsingHeader()",
     "dslrSendRemoteAPICommand has error(0x%lx) in baseGetParsingHeader()", nullptr}};

// The upper-cased camera form of a path (the volume syntax of the camera's
// generation) in a tracked block of the path's length and its NUL.
char* cameraPath(Dslr1394Object* object, const char* path)
{
    const DWORD length = stringLength(path) + 1;
    auto* converted = static_cast<char*>(MEM_AllocateAndInitMemory(length));
    if (converted != nullptr) object->Utl_Q317PathChange(path, converted, length);
    return converted;
}

// A copy of a path with its backslashes turned into slashes, as the camera
// takes the paths it creates or writes.
char* slashedPath(const char* path)
{
    const DWORD length = stringLength(path) + 1;
    auto* copy = static_cast<char*>(MEM_AllocateAndInitMemory(length));
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, path, length);
    Utl_ReplaceChar(copy, '\\', '/');
    return copy;
}

}  // namespace

BYTE* Storage_NewRequest(DWORD messageID, DWORD paramSize, DWORD refConst)
{
    if (paramSize > 0xFFFFFFFFu - kRapiRequestHeader) return nullptr;
    auto* request = static_cast<BYTE*>(MEM_AllocateAndInitMemory(kRapiRequestHeader + paramSize));
    if (request == nullptr) return nullptr;
    const RAPI_REQ header = {kRapiKindCommand, messageID, kRapiRequestHeader + paramSize, refConst};
    std::memcpy(request, &header, sizeof(header));
    return request;
}

// The file read (mode 0) and the header read (mode 1): the reply announces
// the length of the data that baseDslrReadData then reads.
DWORD Dslr1394Object::_AnnounceFileData(const char* path, uint32_t* length, bool header)
{
    const AnnounceTexts& t = header ? kGetHeader : kGetFile;
    const DWORD start = os::GetTickCount();
    const bool timing = !header && flagSet(DBGFLAG_EXTRA_TIMING);
    if (timing) Dbg_Printf(DBG_TAG_VKRN, DBG_TIME, "EnterLLFunction(GetFile)");
    if (path == nullptr) return refuse(t.nullPath);
    if (length == nullptr) return refuse(t.nullLength);
    Dbg_Printf(DBG_TAG_VKRN, DBG_DATA, t.pathGiven, path);

    char renamed[kRenameArea] = {};
    const Rename rename = renameVolume(path, renamed);
    if (rename == Rename::kTooLong) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, t.pathTooLong, path);
        return vkRNERROR_INVALID_PARAMETER;
    }
    const char* sent = rename == Rename::kRenamed ? renamed : path;
    char* converted = cameraPath(this, sent);
    if (converted == nullptr) return outOfMemory(t.pathNotAllocated);
    Dbg_Printf(DBG_TAG_VKRN, header ? DBG_DETAIL : DBG_DATA, t.pathConverted, converted);
    if (header)
        Dbg_Printf(DBG_TAG_VKRN, DBG_DATA, "2.FilePathStrPtr(%s) in baseGetParsingHeader()", path);

    const DWORD pathLength = stringLength(converted);
    const DWORD refConst = Rapi_NewRefConst();
    BYTE* request = Storage_NewRequest(0x11200001, 4 + pathLength + 1 + 1, refConst);
    DWORD result = vkRN_OK;
    if (request == nullptr) {
        result = outOfMemory(t.call.requestNotAllocated);
    } else {
        std::memcpy(request + kRapiRequestHeader, &t.mode, 4);
        std::memcpy(request + kRapiRequestHeader + 4, converted, pathLength);
        if (header)
            Dbg_Printf(DBG_TAG_VKRN, DBG_TIME, "Msg Make Time = %d(ms) in baseGetParsingHeader()",
                       static_cast<int>(os::GetTickCount() - start));
        DWORD record[kAnnounceRecord / 4] = {};
        result = Rapi_Exchange(this, *Rapi_FindCommand(0x11200001), request, refConst, record,
                               kAnnounceRecord, t.call);
        if (header)
            Dbg_Printf(DBG_TAG_VKRN, DBG_TIME,
                       "RAPI Write/Read Time = %d(ms) in baseGetParsingHeader()",
                       static_cast<int>(os::GetTickCount() - start));
        Dbg_Dump(DBG_TAG_VKRN, t.recordDump, record, sizeof(record));
        if (result == vkRN_OK) *length = record[0];
        MEM_FreeMemory(request);
    }
    MEM_FreeMemory(converted);
    Dbg_Printf(DBG_TAG_VKRN, DBG_DATALEN, t.lengthLine, static_cast<int>(*length));
    if (timing)
        Dbg_Printf(DBG_TAG_VKRN, DBG_TIME, "LeaveLLFunction(GetFile:DataLength (%d)byte",
                   static_cast<int>(*length));
    return result;
}

uint32_t Dslr1394Object::baseGetFile(const char* pszFilePath, uint32_t* pdwLength)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseGetFile()");
    const DWORD result = _AnnounceFileData(pszFilePath, pdwLength, false);
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseGetFile()");
    return result;
}

uint32_t Dslr1394Object::baseGetParsingHeader(const char* pszFilePath, uint32_t* pdwLength)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseGetParsingHeader");
    const DWORD result = _AnnounceFileData(pszFilePath, pdwLength, true);
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseGetParsingHeader");
    return result;
}

uint32_t Dslr1394Object::baseGetFileSize(const char* pszFilePath, void* pSize)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseGetFileSize(FilePathStrPtr<%s>)",
               pszFilePath != nullptr ? pszFilePath : "(null)");
    DWORD result = vkRN_OK;
    if (pszFilePath == nullptr) {
        result = refuse("baseGetFile: FilePathStrPtr is NULL");
    } else if (pSize == nullptr) {
        result = refuse("baseGetFile: FileLengthPtr is NULL");
    } else if (char* converted = cameraPath(this, pszFilePath); converted == nullptr) {
        result = outOfMemory("baseGetFileSize: cChangePathPtr is NULL(alloc failed)");
    } else {
        const DWORD pathLength = stringLength(converted);
        const DWORD refConst = Rapi_NewRefConst();
        BYTE* request = Storage_NewRequest(0x11100004, pathLength + 1 + 1, refConst);
        if (request == nullptr) {
            result = outOfMemory("baseGetFile: TxMsgPtr is NULL(alloc failed)");
        } else {
            std::memcpy(request + kRapiRequestHeader, converted, pathLength);
            const RapiCallTexts texts = {"baseGetFile: TxMsgPtr is NULL(alloc failed)",
                                         "baseGetFileSize: vRxMsgPtr is NULL(alloc failed)",
                                         "baseGetFile: dslrSendRemoteAPICommand has error(0x%lx)",
                                         nullptr};
            // The size goes straight into the caller's word, and only when
            // the reply passed its check.
            result = Rapi_Exchange(this, *Rapi_FindCommand(0x11100004), request, refConst, pSize, 4,
                                   texts);
            if (result == vkRN_OK) {
                Dbg_Dump(DBG_TAG_VKRN, "baseGetFileSize: FileLengthPtr", pSize, 4);
                DWORD size = 0;
                std::memcpy(&size, pSize, 4);
                Dbg_Printf(DBG_TAG_VKRN, DBG_DATALEN, "baseGetFileSize: DataLength (%d)byte",
                           static_cast<int>(size));
            }
            MEM_FreeMemory(request);
        }
        MEM_FreeMemory(converted);
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseGetFileSize()");
    return result;
}

uint32_t Dslr1394Object::basecreateDir(const char* pszDirPath)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "basecreateDir()");
    DWORD result = vkRN_OK;
    if (pszDirPath == nullptr) {
        result = refuse("basecreateDir: DirPathStrPtr is NULL");
    } else if (char* copy = slashedPath(pszDirPath); copy == nullptr) {
        result = outOfMemory("cChangePathPtr is NULL(memory alloc error) in basecreateDir()");
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_DATA, "basecreateDir: DirPathStrPtr(%s)", pszDirPath);
        Dbg_Printf(DBG_TAG_VKRN, DBG_DATA, "baseGetFile: DirPathStrPtr(%s)", copy);
        const DWORD pathLength = stringLength(copy);
        const DWORD refConst = Rapi_NewRefConst();
        BYTE* request = Storage_NewRequest(0x11100007, pathLength + 1, refConst);
        if (request == nullptr) {
            result = outOfMemory("cChangePathPtr is NULL(memory alloc error) in basecreateDir()");
        } else {
            std::memcpy(request + kRapiRequestHeader, copy, pathLength);
            const RapiCallTexts texts = {
                "cChangePathPtr is NULL(memory alloc error) in basecreateDir()",
                "basecreateDir: vRxMsgPtr is NULL(alloc failed)",
                "baseGetFile: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
            result = Rapi_Exchange(this, *Rapi_FindCommand(0x11100007), request, refConst, nullptr,
                                   0, texts);
            MEM_FreeMemory(request);
        }
        MEM_FreeMemory(copy);
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "basecreateDir()");
    return result;
}

// One block of a file travels inside the request: at most the largest block
// the camera takes. The file parameter goes to the camera as given (to the
// simulated camera 0 creates the file and 1 appends to it). The data is
// copied only when there is a pointer and a length; a length without data
// sends that many zero bytes. A null path is refused: there is nothing to
// name the file by.
uint32_t Dslr1394Object::basePutFile(const char* pszFilePath, uint32_t dwLength,
                                     uint32_t dwFileParam, const void* pData)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "basePutFile");
    DWORD result = vkRN_OK;
    if (dwLength > m_dwSizeOfMaxScsiData) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "Out of DataLength error DataLength(0x%lx) > dwSizeOfMaxData(0x%lx) in "
                   "basePutFile()",
                   static_cast<unsigned long>(dwLength),
                   static_cast<unsigned long>(m_dwSizeOfMaxScsiData));
        result = vkRNERROR_INVALID_PARAMETER;
    } else if (pszFilePath == nullptr) {
        result = refuse("cFilePathPtr is NULL in basePutFile()");
    } else if (char* copy = slashedPath(pszFilePath); copy == nullptr) {
        result =
            outOfMemory("cChangePathPtr is NULL(memory alloc error) in baseGetParsingHeader()");
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, "befor PathChange(%s) in basePutFile()", pszFilePath);
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, "after PathChange(%s) in basePutFile()", copy);
        Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "cFilePathPtr(%s) in basePutFile()", copy);
        const DWORD pathLength = stringLength(copy);
        const DWORD refConst = Rapi_NewRefConst();
        BYTE* request =
            Storage_NewRequest(0x11400003, kPutFileHead + pathLength + 1 + dwLength, refConst);
        if (request == nullptr) {
            result = outOfMemory("PutFileMsgPtr is NULL(alloc error) in basePutFile()");
        } else {
            const DWORD head[3] = {2, dwFileParam, dwLength};
            BYTE* params = request + kRapiRequestHeader;
            std::memcpy(params, head, sizeof(head));
            std::memcpy(params + kPutFileHead, copy, pathLength);
            if (pData != nullptr && dwLength != 0)
                std::memcpy(params + kPutFileHead + pathLength + 1, pData, dwLength);
            const RapiCallTexts texts = {
                "PutFileMsgPtr is NULL(alloc error) in basePutFile()",
                "vRxMsgPtr alloc error in basePutFile()",
                "dslrSendRemoteAPICommand has error(0x%lx) in basePutFile()", nullptr};
            DWORD discarded[kAnnounceRecord / 4] = {};
            result = Rapi_Exchange(this, *Rapi_FindCommand(0x11400003), request, refConst,
                                   discarded, kAnnounceRecord, texts);
            MEM_FreeMemory(request);
        }
        MEM_FreeMemory(copy);
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "basePutFile");
    return result;
}

uint32_t Dslr1394Object::baseFormatVol(const char* pszVolName, uint32_t)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseFormatVol");
    DWORD result = vkRN_OK;
    if (pszVolName == nullptr || pszVolName[0] == '\0') {
        result = refuse("VolNameStrPtr is NULL in baseFormatVol()");
    } else {
        const DWORD nameLength = stringLength(pszVolName) + 1;
        auto* params = static_cast<char*>(MEM_AllocateAndInitMemory(kFormatPadding + nameLength));
        if (params == nullptr) {
            result = outOfMemory("FormatParamPtr is NULL(alloc error) in baseFormatVol()");
        } else {
            Utl_Q317PathChange(pszVolName, params + kFormatPadding, nameLength);
            const RapiCallTexts texts = {
                "TxMsgPtr is NULL(alloc error) in baseFormatVol()",
                "vRxMsgPtr is NULL(alloc error) in baseFormatVol()",
                "dslrSendRemoteAPICommand has Error(0x%lx) in baseFormatVol().", nullptr};
            DWORD discarded = 0;
            result = Rapi_Call(this, *Rapi_FindCommand(0x12100014), params,
                               kFormatPadding + nameLength, &discarded, 4, texts);
            MEM_FreeMemory(params);
        }
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseFormatVol");
    return result;
}

// The camera numbers the folder; the name is its number in three digits
// followed by the five characters given. A number of four or more digits
// fits no DCF name: it is refused as a reply that does not add up
// (0x02000002) and the caller's string is left as it was.
uint32_t Dslr1394Object::baseCreateDCFDir(const char* pszDcfName, char* pszDirPath)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseCreateDCFDir()");
    DWORD result = vkRN_OK;
    if (pszDcfName == nullptr) {
        result = refuse("baseCreateDCFDir: DcfDirNamePtr is NULL");
    } else if (const DWORD nameLength = stringLength(pszDcfName); nameLength != kDcfNameLength) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "baseCreateDCFDir: DcfDirNamePtr(%s) is Out of Length(0x%lx)", pszDcfName,
                   static_cast<unsigned long>(nameLength));
        result = vkRNERROR_INVALID_PARAMETER;
    } else if (pszDirPath == nullptr) {
        result = refuse("baseCreateDCFDir: DCFStrPtr is NULL");
    } else {
        const RapiCallTexts texts = {"baseCreateDCFDir: TxMsgPtr is NULL(alloc failed)",
                                     "baseCreateDCFDir: vRxMsgPtr is NULL(alloc failed)",
                                     "baseCreateDCFDir: dslrSendRemoteAPICommand has error(0x%lx)",
                                     nullptr};
        DWORD number = 0;
        result = Rapi_Call(this, *Rapi_FindCommand(0x11100008), pszDcfName, kDcfNameLength + 1,
                           &number, 4, texts);
        if (result == vkRN_OK) {
            char digits[16];
            const int count =
                std::snprintf(digits, sizeof(digits), "%lu", static_cast<unsigned long>(number));
            if (count < 1 || count > 3) {
                Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                           "baseCreateDCFDir: cDCFDirNo(%s) is Out of Length", digits);
                result = vkRNERROR_TRANSFER_FAILED;
            } else {
                static const char* const kLengthLines[] = {
                    "baseCreateDCFDir: cDCFDirNo Length is 1char",
                    "baseCreateDCFDir: cDCFDirNo Length is 2char",
                    "baseCreateDCFDir: cDCFDirNo Length is 3char"};
                Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, "%s", kLengthLines[count - 1]);
                static const char* const kPadding[] = {"00", "0", ""};
                std::strcpy(pszDirPath, kPadding[count - 1]);
                std::strcat(pszDirPath, digits);
                std::strcat(pszDirPath, pszDcfName);
            }
        }
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, "baseCreateDCFDir: befor free TxMsgPtr");
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseCreateDCFDir()");
    return result;
}

// The caller's buffer takes the count word and up to three packed entries
// (at most 72 bytes from 32 bytes of drive strings). Only the bytes the
// operation writes are dumped: the caller's buffer may be no larger. An
// empty first drive string means the camera serves no volume.
uint32_t Dslr1394Object::baseGetVols(void* pVolInfo, uint16_t* pwNumEntries)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseGetVols");
    if (pVolInfo == nullptr) return refuse("DestVolInfoDataPtr is NULL in baseGetVols()");
    if (pwNumEntries == nullptr) return refuse("NumOfVolInfo_Ptr is NULL in baseGetVols()");
    if (flagSet(DBGFLAG_CANNED_ANSWERS)) return m_dbgCamera.Dbg_getVols(pVolInfo, pwNumEntries);
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "NumOfVolInfo_Ptr(%d) in baseGetVols()", *pwNumEntries);

    char drives[kDriveStringsArea] = {};
    DWORD result = _rapiGetLogicalDriveStrings(drives);
    drives[kDriveStringsArea - 1] = '\0';
    if (result == vkRN_OK && std::strlen(drives) >= kDriveStringsArea - 1) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "Out of Size DriveStrings in baseGetVols()");
        result = vkRNERROR_TRANSFER_FAILED;
    }
    DWORD written = 0;
    if (result == vkRN_OK) {
        Dbg_Dump(DBG_TAG_VKRN, " DriveStrings", drives, sizeof(drives));
        WORD found = 0;
        DWORD starts[kMostVolumes] = {};
        for (DWORD at = 0; at < kDriveStringsArea - 1 && found < kMostVolumes;) {
            if (drives[at] == '\0') break;  // the empty string ends the list
            starts[found++] = at;
            at += static_cast<DWORD>(std::strlen(drives + at)) + 1;
        }
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, " 1.wVolumeCount(%d)", found);
        const WORD capacity = *pwNumEntries;
        const DWORD entries = found < capacity ? found : capacity;
        *pwNumEntries = found;
        auto* out = static_cast<BYTE*>(pVolInfo);
        std::memcpy(out, &entries, 4);
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, " 2.wVolumeCount(%d)", static_cast<int>(entries));
        written = 4;
        for (DWORD i = 0; i < entries; ++i) {
            const char* root = drives + starts[i];
            Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "DriveRoot(%s) in getVols", root);
            // A volume whose free space the camera will not give is still
            // listed. A camera that stopped answering gives no value at
            // all: its zeros would read as an empty card.
            dsDRIVE_FREE_SPACE space = {};
            const DWORD spaceResult = _rapiGetDriveFreeSpace(root, &space);
            if (spaceResult == vkRNERROR_TRANSFER_FAILED ||
                spaceResult == vkRNERROR_DEVICE_NOT_AVAILABLE) {
                result = spaceResult;
                break;
            }
            if (spaceResult != vkRN_OK) space = {};
            const WORD one = 1;
            std::memcpy(out + written, &one, 2);
            std::memcpy(out + written + 2, &one, 2);
            std::memcpy(out + written + 4, space.dwValue, 8);
            Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, " byDriveStrngsPtr(%s)", root);
            const DWORD nameLength = stringLength(root) + 1;
            std::memcpy(out + written + 12, root, nameLength);
            Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, " volInfoPtr->cNameStr(%s)",
                       reinterpret_cast<const char*>(out + written + 12));
            written += 12 + nameLength;
        }
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "NumOfVolInfo_Ptr(0x%lx)",
               static_cast<unsigned long>(*pwNumEntries));
    Dbg_Dump(DBG_TAG_VKRN, "DestVolInfoDataPtr", pVolInfo, written);
    return result;
}
