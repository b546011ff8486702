// The storage operations that take lists: the directory listing of a
// directory-subtree list, and delete, attributes and times of the files a
// path list names.

#include "camera/camera_clock.h"
#include "camera/camera_paths.h"
#include "camera/storage_request.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"
#include "rapi/rapi_messages.h"

#include <cstring>

namespace {

constexpr DWORD kListingRecord = 16;
constexpr DWORD kVolumeName = 5;  // "ATA01"

DWORD failWith(const char* text, DWORD result)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", text);
    return result;
}

// With debug bit 21 a listing of "ATA02" is asked of "ATA01": the first
// path of the copy becomes "ATA01" followed by the caller's path from its
// first colon, and the entries after it move with it. A path without a
// colon names no volume and stays as it is. The copy has room for a path
// five bytes longer than the caller's (a volume name shorter than five
// characters). True when the path was renamed.
bool renameFirstVolume(BYTE* copy, DWORD* length)
{
    char* path = reinterpret_cast<char*>(copy + 1);
    if (path[0] == '\0' || std::strstr(path, "ATA02") == nullptr) return false;
    const char* colon = std::strchr(path, ':');
    if (colon == nullptr) return false;
    const DWORD volume = static_cast<DWORD>(colon - path);
    const DWORD tail = *length - 1 - volume;  // from the colon to the list's end
    std::memmove(path + kVolumeName, colon, tail);
    std::memcpy(path, "ATA01", kVolumeName);
    *length = 1 + kVolumeName + tail;
    return true;
}

}  // namespace

uint32_t Dslr1394Object::baseGetDirs(void* pDirSubtree, uint32_t* pdwLength)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseGetDirs", "baseGetDir");
    auto* list = static_cast<BYTE*>(pDirSubtree);
    if (list == nullptr)
        return failWith("DirSubtrees is NULL in baseGetDirs()", vkRNERROR_INVALID_PARAMETER);
    if (pdwLength == nullptr)
        return failWith("FileLengthPtr is NULL in baseGetDirs()", vkRNERROR_INVALID_PARAMETER);
    const DWORD callerLength = _LenDirSubtree(list);
    Dbg_Dump(DBG_TAG_VKRN, "baseGetDirs: DirSubtrees", list, callerLength);
    const char* firstPath = reinterpret_cast<const char*>(list + 1);
    Dbg_Printf(DBG_TAG_VKRN, DBG_DATA, "DirSubTrees depth(%d) Path(%s) in baseGetDirs()", list[0],
               firstPath);
    Dbg_Dump(DBG_TAG_VKRN, "DirSubtrees", list, callerLength);
    Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "dwDirSubtreesLength(0x%lx) cPathNameStr(0x%lx)",
               static_cast<unsigned long>(callerLength),
               static_cast<unsigned long>(std::strlen(firstPath)));

    auto* copy = static_cast<BYTE*>(MEM_AllocateAndInitMemory(callerLength + kVolumeName));
    if (copy == nullptr)
        return failWith("DirSubtreesCpy alloc error in baseGetDirs()", vkRNERROR_OUT_OF_MEMORY);
    std::memcpy(copy, list, callerLength);
    DWORD copyLength = callerLength;
    if (Dbg_GetLogLevel() & DBGFLAG_RENAME_ATA02) {
        m_bDirSubtreeMode = 0;
        if (renameFirstVolume(copy, &copyLength)) m_bDirSubtreeMode = 1;
    }

    DWORD length = 0;
    DWORD result = vkRN_OK;
    if (Utl_GetDirPathLength(copy, &length) != vkRN_OK) {
        MEM_FreeMemory(copy);
        return failWith("UtlGetDirPathLength error in baseGetDirs()", vkRNERROR_OUT_OF_MEMORY);
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "Return dwLength(0x%lx) for Utl_GetDirPathLength()",
               static_cast<unsigned long>(length));
    Utl_TrimDirSubtree(copy, &length);
    Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "Return dwLength(0x%lx) for Utl_GetDirPathLength()",
               static_cast<unsigned long>(length));

    // The list goes padded to the caller's length; a renamed list that grew
    // goes whole.
    const DWORD sent = length > callerLength ? length : callerLength;
    const DWORD refConst = Rapi_NewRefConst();
    BYTE* request = Storage_NewRequest(0x1120000B, sent, refConst);
    if (request == nullptr) {
        result = failWith("TxMsgPtr alloc error in baseGetDirs()", vkRNERROR_OUT_OF_MEMORY);
    } else {
        std::memcpy(request + kRapiRequestHeader, copy, length);
        const RapiCallTexts texts = {
            "TxMsgPtr alloc error in baseGetDirs()", "vRxMsgPtr alloc error in baseGetDirs()",
            "baseGetDirs: dslrSendRemoteAPICommand returned error (0x%lx)", nullptr};
        DWORD record[kListingRecord / 4] = {};
        bool sendFailed = false;
        result = Rapi_Exchange(this, *Rapi_FindCommand(0x1120000B), request, refConst, record,
                               kListingRecord, texts, false, &sendFailed);
        if (sendFailed) {
            *pdwLength = 0;
        } else {
            Dbg_Dump(DBG_TAG_VKRN, "baseGetDir: GetDirParam", record, sizeof(record));
            if (result == vkRN_OK) *pdwLength = record[0];
        }
        MEM_FreeMemory(request);
    }
    MEM_FreeMemory(copy);
    Dbg_Printf(DBG_TAG_VKRN, DBG_DATALEN, "(%d)byte retrun baseGetDir()",
               static_cast<int>(*pdwLength));
    return result;
}

namespace {

enum ListKind : DWORD { kDelete = 0, kAttributes = 1, kTimes = 2 };

struct ListTexts {
    const char* name;
    DWORD request;
    const char* nullList;
    const char* emptyFirst;
    const char* copyNotAllocated;
    const char* pathRefused;
    const char* paramsNotAllocated;
    const char* resultLine;  // null: none
    RapiCallTexts call;
};

const ListTexts kListTexts[] = {
    {"baseDeleteFiles",
     0x1110000A,
     "PathStrPtr is NULL in baseDeleteFiles()",
     "PathStrPtr(%s) is NULL in baseDeleteFiles()",
     "cChangePathPtr is NULL(alloc error) in baseDeleteFiles()",
     "Utl_Q317PathChange2 is  error in baseDeleteFiles()",
     "cChangePathPtr is NULL(alloc error) in baseDeleteFiles()",
     "baseDeleteFiles Result = 0x%08x",
     {"TxMsgPtr is NULL(alloc error) in baseDeleteFiles()",
      "vRxMsgPtr is NULL(alloc error) in baseDeleteFiles()",
      "dslrSendRemoteAPICommand has error(0x%lx) in baseDeleteFiles()", nullptr}},
    {"baseSetFileAttribs",
     0x11100005,
     "FilePathStrPtr is NULL in baseSetFileAttribs()",
     "FilePathStrPtr(%s) is NULL in baseSetFileAttribs()",
     "cChangePathStrPtr is NULL(alloc error) in baseSetFileAttribs()",
     "Utl_Q317PathChange2 is  error in baseSetFileAttribs()",
     "vParamPtr is NULL(alloc error) in baseSetFileAttribs()",
     "baseSetFileAttribs Result = 0x%08x",
     {"TxMsgPtr is NULL(alloc error) in baseSetFileAttribs()",
      "vRxMsgPtr is NULL(alloc error) in baseSetFileAttribs()",
      "dslrSendRemoteAPICommand has error(0x%lx) in baseDeleteFiles()", nullptr}},
    {"baseSetFileTimes",
     0x11100006,
     "FilePathStrPtr is NULL in baseSetFileTimes()",
     "FilePathStrPtr(%s) is NULL in baseSetFileTimes()",
     "cChangePathPtr is NULL(alloc error) in baseSetFileTimes()",
     nullptr,
     "vParamPtr is NULL(alloc error) in baseSetFileTimes()",
     nullptr,
     {"TxMsgPtr is Alloc Error in baseSetFileTimes()",
      "vRxMsgPtr is Alloc Error in baseSetFileTimes()",
      "dslrSendRemoteAPICommand has error(0x%lx) in baseSetFileTimes()", nullptr}},
};

bool acceptedAttribute(DWORD value)
{
    const DWORD low = value & 0xFFFF;
    return low == 0x0020 || low == 0x0000 || low == 0x0001 || low == 0x0021;
}

}  // namespace

// The path list is converted in a copy, expanded into one full path per
// file and sent, preceded for attributes and times by their value.
DWORD Dslr1394Object::_PathListCommand(const void* pathList, DWORD kind, DWORD value)
{
    const ListTexts& t = kListTexts[kind];
    const auto* list = static_cast<const char*>(pathList);
    if (kind == kAttributes && !acceptedAttribute(value)) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "Attribs(0x%lx) Q317 Invalid Param in baseSetFileAttribs()",
                   static_cast<unsigned long>(value));
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (list == nullptr) return failWith(t.nullList, vkRNERROR_INVALID_PARAMETER);
    if (list[0] == '\0') {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, t.emptyFirst, list);
        return vkRNERROR_INVALID_PARAMETER;
    }
    const DWORD total = _GetTotalPathLength(list);
    auto* copy = static_cast<char*>(MEM_AllocateAndInitMemory(total));
    if (copy == nullptr) return failWith(t.copyNotAllocated, vkRNERROR_OUT_OF_MEMORY);
    if (kind == kTimes) {
        Utl_Q317PathChange(list, copy, total);
    } else {
        std::memcpy(copy, list, total);
        const DWORD checked = Utl_Q317PathChange2(copy, total);
        if (checked != vkRN_OK) {
            MEM_FreeMemory(copy);
            // Deleting answers a path it cannot take as the camera's
            // operations always have; the attributes pass the check's own
            // result on.
            return failWith(t.pathRefused, kind == kDelete ? vkRNERROR_OUT_OF_MEMORY : checked);
        }
        Utl_ReplaceChar(copy, '\\', '/');
    }

    // The measure needs scratch space of its own: 0 says it had none.
    const DWORD needed = Utl_MakePathLength(copy, total);
    const DWORD head = kind == kDelete ? 0 : 4;
    BYTE* params = needed != 0 && needed <= 0xFFFFFFFFu - head
                       ? static_cast<BYTE*>(MEM_AllocateAndInitMemory(head + needed))
                       : nullptr;
    DWORD expanded = 0;
    if (params == nullptr || Utl_MakePathList(copy, total, reinterpret_cast<char*>(params + head),
                                              &expanded) == vkRNERROR_OUT_OF_MEMORY) {
        if (params != nullptr) MEM_FreeMemory(params);
        MEM_FreeMemory(copy);
        return failWith(t.paramsNotAllocated, vkRNERROR_OUT_OF_MEMORY);
    }
    if (kind == kDelete)
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL,
                   "dwTotalLength(0x%lx) dwMathLength(0x%lx) dwMakeLength(0x%lx)",
                   static_cast<unsigned long>(total), static_cast<unsigned long>(needed),
                   static_cast<unsigned long>(expanded));
    // The camera keeps its files' times in local standard time.
    const DWORD word = kind == kAttributes ? (value & 0xFFFF) : Clock_UtcToCamera(value);
    if (head != 0) std::memcpy(params, &word, 4);

    const DWORD result =
        Rapi_Call(this, *Rapi_FindCommand(t.request), params, head + needed, nullptr, 0, t.call);
    MEM_FreeMemory(params);
    MEM_FreeMemory(copy);
    if (t.resultLine != nullptr) Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, t.resultLine, result);
    return result;
}

uint32_t Dslr1394Object::baseDeleteFiles(const void* pPathList)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseDeleteFiles");
    const DWORD result = _PathListCommand(pPathList, kDelete, 0);
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseDeleteFiles");
    return result;
}

uint32_t Dslr1394Object::baseSetFileAttribs(const void* pPathList, uint32_t dwAttribs)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseSetFileAttribs");
    const DWORD result = _PathListCommand(pPathList, kAttributes, dwAttribs);
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseSetFileAttribs");
    return result;
}

uint32_t Dslr1394Object::baseSetFileTimes(const void* pPathList, uint32_t dwTime)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseSetFileTimes");
    const DWORD result = _PathListCommand(pPathList, kTimes, dwTime);
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseSetFileTimes");
    return result;
}
