// The camera's settings, one Remote API exchange each: clock, owner name,
// file-name prefixes, directory suffix, body ID, battery, property record,
// function information, drive strings and free space. With debug bit 22 set
// several of them answer from the canned-answer camera instead.

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"
#include "rapi/record_checks.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr DWORD kTimeRecord = 12;
constexpr DWORD kSuffixLength = 5;
constexpr std::size_t kPrefixField = 5;
constexpr DWORD kPrefixLength = 4;
constexpr DWORD kDriveStringsRecord = 16;
constexpr DWORD kDriveStringsArea = 32;

bool cannedAnswers() { return (Dbg_GetLogLevel() & DBGFLAG_CANNED_ANSWERS) != 0; }
bool lengthChecksOff() { return (Dbg_GetLogLevel() & DBGFLAG_RECORD_RANGE_CHECKS) != 0; }

void entry(const char* name) { Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "%s", name); }

DWORD nullRecord(const char* text)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", text);
    return vkRNERROR_INVALID_PARAMETER;
}

// One exchange of the family: no parameters unless given, the record of the
// command's size.
DWORD exchange(Dslr1394Object* object, DWORD request, const RapiCallTexts& texts, void* record,
               const void* params = nullptr, DWORD paramSize = 0, bool clearRecord = false)
{
    const RapiCommand& command = *Rapi_FindCommand(request);
    return Rapi_Call(object, command, params, paramSize, record, command.recordSize, texts,
                     clearRecord);
}

// The three prefixes of a record, each cut to its 5-byte field so that a
// field without its NUL is still printed from inside the record.
struct PrefixFields {
    char field[3][kPrefixField + 1];
};

PrefixFields prefixFields(const void* record)
{
    PrefixFields fields = {};
    for (std::size_t i = 0; i < 3; ++i)
        std::memcpy(fields.field[i], static_cast<const BYTE*>(record) + i * kPrefixField,
                    kPrefixField);
    return fields;
}

}  // namespace

DWORD Dslr1394Object::_rapiGetCameraTime(DWORD* timeRecord)
{
    entry("_rapiGetCameraTime()");
    if (timeRecord == nullptr) return nullRecord("_rapiGetCameraTime: CameraTimePtr is NULL");
    if (cannedAnswers()) return m_dbgCamera.Dbg_getCameraTime(timeRecord);
    const RapiCallTexts texts = {"_rapiGetCameraTime: TxMsgPtr is NULL(alloc failed)",
                                 "_rapiGetCameraTime: vRxMsgPtr is NULL(alloc failed)",
                                 "_rapiGetCameraTime: dslrSendRemoteAPICommand has error(0x%lx)",
                                 nullptr};
    const DWORD result = exchange(this, 0x12100003, texts, timeRecord);
    return result == vkRN_OK ? Utl_ParamByteSwap(kTimeRecord, timeRecord, 4) : result;
}

DWORD Dslr1394Object::_rapiSetCameraTime(DWORD seconds, DWORD word1, DWORD word2)
{
    entry("_rapiSetCameraTime()");
    if (cannedAnswers()) return vkRN_OK;
    const DWORD params[3] = {seconds, word1, word2};
    const RapiCallTexts texts = {
        "TxMsgPtr is NULL(alloc error) in _rapiSetCameraTime()",
        "vRxMsgPtr is NULL(alloc error) in _rapiSetCameraTime()",
        "dslrSendRemoteAPICommand has error(0x%lx) in _rapiSetCameraTime()", nullptr};
    return exchange(this, 0x12100004, texts, nullptr, params, sizeof(params));
}

DWORD Dslr1394Object::_rapiGetOwnerName(char* ownerName)
{
    entry("_rapiGetOwnerName()");
    if (ownerName == nullptr) return nullRecord("_rapiGetOwnerName: OwnerNamePtr is NULL");
    if (cannedAnswers()) return m_dbgCamera.Dbg_getOwnerName(ownerName);
    const RapiCallTexts texts = {"_rapiGetOwnerName: TxMsgPtr is NULL(alloc error)",
                                 "_rapiGetOwnerName: vRxMsgPtr is NULL(alloc error)",
                                 "_rapiGetOwnerName: dslrSendRemoteAPICommand has error(0x%lx)",
                                 nullptr};
    return exchange(this, 0x12100005, texts, ownerName);
}

// The name goes as given, with its NUL; the camera judges its length.
DWORD Dslr1394Object::_rapiSetOwnerName(const char* ownerName)
{
    entry("_rapiSetOwnerName()");
    if (ownerName == nullptr) return nullRecord("_rapiSetOwnerName: OwnerNamePtr is NULL");
    if (cannedAnswers()) return vkRN_OK;
    const RapiCallTexts texts = {"_rapiSetOwnerName: TxMsgPtr is NULL(alloc error)",
                                 "_rapiSetOwnerName: vRxMsgPtr is NULL(alloc error)",
                                 "_rapiSetOwnerName: dslrSendRemoteAPICommand has error(0x%lx)",
                                 nullptr};
    return exchange(this, 0x12100006, texts, nullptr, ownerName,
                    static_cast<DWORD>(std::strlen(ownerName)) + 1);
}

DWORD Dslr1394Object::_rapiGetFileNamePrefix(void* prefix)
{
    entry("_rapiGetFileNamePrefix()");
    const RapiCallTexts texts = {
        "_rapiGetFileNamePrefix: TxMsgPtr is NULL(alloc error)",
        "_rapiGetFileNamePrefix: vRxMsgPtr is NULL(alloc error)",
        "_rapiGetFileNamePrefix: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
    const DWORD result = exchange(this, 0x12100007, texts, prefix, nullptr, 0, true);
    if (result == vkRN_OK && prefix != nullptr) {
        const PrefixFields fields = prefixFields(prefix);
        Dbg_Printf(DBG_TAG_VKRN, DBG_DATA, "_rapiGetFileNamePrefix: JPG(%s) RVX(%s) WAV(%s)",
                   fields.field[0], fields.field[1], fields.field[2]);
    }
    return result;
}

// A record is taken when one of its prefixes is exactly 4 characters long (a
// camera leaves the others as they are), or when debug bit 23 turns the
// length rule off.
DWORD Dslr1394Object::_rapiSetFileNamePrefix(const void* prefix)
{
    entry("_rapiSetFileNamePrefix()");
    if (cannedAnswers()) return vkRN_OK;
    if (prefix == nullptr)
        return nullRecord("FileNamePrefixPtr is NULL in _rapiSetFileNamePrefix()");
    const PrefixFields fields = prefixFields(prefix);
    Dbg_Printf(DBG_TAG_VKRN, DBG_DATA, "JPG(%s) RVX(%s) WAV(%s) in _rapiSetFileNamePrefix()",
               fields.field[0], fields.field[1], fields.field[2]);
    bool oneFits = false;
    for (const char* field : fields.field) {
        oneFits = oneFits || (std::strlen(field) == kPrefixLength);
    }
    if (!oneFits && !lengthChecksOff()) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "FileNamePrefix Out of Length in _rapiSetFileNamePrefix()");
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "JPG(%s) RVX(%s) WAV(%s)", fields.field[0],
                   fields.field[1], fields.field[2]);
        return vkRNERROR_INVALID_PARAMETER;
    }
    const RapiCallTexts texts = {
        "TxMsgPtr is NULL(alloc error) in _rapiSetFileNamePrefix()",
        "vRxMsgPtr is NULL(alloc error) in _rapiSetFileNamePrefix()",
        "dslrSendRemoteAPICommand has error(0x%lx) in _rapiSetFileNamePrefix()", nullptr};
    return exchange(this, 0x12100008, texts, nullptr, prefix, sizeof(dsFILE_NAME_PREFIX));
}

DWORD Dslr1394Object::_rapiResetFileNamePrefix()
{
    entry("_rapiResetFileNamePrefix()");
    if (cannedAnswers()) return vkRN_OK;
    const RapiCallTexts texts = {
        "TxMsgPtr is NULL(alloc error) in _rapiResetFileNamePrefix()",
        "vRxMsgPtr is NULL(alloc error) in _rapiResetFileNamePrefix()",
        "dslrSendRemoteAPICommand has error(0x%lx) in _rapiResetFileNamePrefix()", nullptr};
    const DWORD result = exchange(this, 0x12100009, texts, nullptr);
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "_rapiResetFileNamePrefix() end");
    return result;
}

DWORD Dslr1394Object::_rapiGetDirNameSuffix(char* suffix)
{
    entry("_rapiGetDirNameSuffix()");
    const RapiCallTexts texts = {"_rapiGetDirNameSuffix: TxMsgPtr is NULL(alloc error)",
                                 "_rapiGetDirNameSuffix: vRxMsgPtr is NULL(alloc error)",
                                 "_rapiGetDirNameSuffix: dslrSendRemoteAPICommand has error(0x%lx)",
                                 nullptr};
    return exchange(this, 0x1210000A, texts, suffix);
}

// The suffix is checked before the canned-answer mode answers, so that a
// wrong suffix is refused with or without a camera.
DWORD Dslr1394Object::_rapiSetDirectoryNameSuffix(const char* suffix)
{
    entry("_rapiSetDirectoryNameSuffix()");
    if (suffix == nullptr)
        return nullRecord("cDirNameSuffixPtr is NULL in _rapiSetDirectoryNameSuffix()");
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "cDirNameSuffixPtr(%s) in _rapiSetDirectoryNameSuffix()",
               suffix);
    const DWORD length = static_cast<DWORD>(std::strlen(suffix));
    if (length != kSuffixLength && !lengthChecksOff()) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "cDirNameSuffixPtr(%s) Out of Length(0x%lx) in _rapiSetDirectoryNameSuffix()",
                   suffix, static_cast<unsigned long>(length));
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (cannedAnswers()) return vkRN_OK;
    const RapiCallTexts texts = {
        "TxMsgPtr is NULL(alloc error) in _rapiSetDirectoryNameSuffix()",
        "vRxMsgPtr is NULL(alloc error) in _rapiSetDirectoryNameSuffix()",
        "dslrSendRemoteAPICommand has error(0x%lx) in _rapiSetDirectoryNameSuffix()", nullptr};
    return exchange(this, 0x1210000B, texts, nullptr, suffix, length + 1);
}

DWORD Dslr1394Object::_rapiResetDirectoryNameSuffix()
{
    entry("_rapiResetDirectoryNameSuffix()");
    if (cannedAnswers()) return vkRN_OK;
    const RapiCallTexts texts = {
        "TxMsgPtr is NULL(alloc error) in _rapiResetDirectoryNameSuffix()",
        "vRxMsgPtr is NULL(alloc error) in _rapiResetDirectoryNameSuffix()",
        "dslrSendRemoteAPICommand has error(0x%lx) in _rapiResetDirectoryNameSuffix()", nullptr};
    return exchange(this, 0x1210000C, texts, nullptr);
}

DWORD Dslr1394Object::_rapiGetCameraBodyID(DWORD* bodyID)
{
    entry("_rapiGetCameraBodyID()");
    if (cannedAnswers()) return m_dbgCamera.Dbg_getBodyID(m_portName, bodyID);
    const RapiCallTexts texts = {"_rapiGetCameraBodyID: TxMsgPtr is NULL(alloc error)",
                                 "_rapiGetCameraBodyID: vRxMsgPtr is NULL(alloc error)",
                                 "_rapiGetCameraBodyID: dslrSendRemoteAPICommand has error(0x%lx)",
                                 nullptr};
    return exchange(this, 0x12100023, texts, bodyID);
}

DWORD Dslr1394Object::_rapiGetCurrentBatteryStatus(DWORD* status)
{
    entry("_rapiGetCurrentBatteryStatus()");
    if (cannedAnswers()) return m_dbgCamera.Dbg_getBatteryStatus(status);
    const RapiCallTexts texts = {
        "_rapiGetCurrentBattryStatus: TxMsgPtr is NULL(alloc error)",
        "_rapiGetCurrentBatteryStatus: vRxMsgPtr is NULL(alloc error)",
        "_rapiGetCurrentBatteryStatus: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
    return exchange(this, 0x12100013, texts, status);
}

DWORD Dslr1394Object::_rapiGetCameraProperty(void* property)
{
    FunctionTrace trace(DBG_TAG_VKRN, "_rapiGetCameraProperty()");
    if (property == nullptr) return nullRecord("_rapiGetCameraProperty: CameraPropertyPtr is NULL");
    const RapiCallTexts texts = {
        "_rapiGetCameraProperty: TxMsgPtr is NULL(alloc failed)",
        "_rapiGetCameraProperty: vRxMsgPtr is NULL(alloc failed)",
        "_rapiGetCameraProperty: dslrSendRemoteAPICommand has error(0x%lx)",
        "_rapiGetCameraProperty: Returned RemoteAPI has error(0x%lx)"};
    DWORD result = exchange(this, 0x12100001, texts, property);
    if (result != vkRN_OK) return result;
    result = Utl_CameraPropertyByteSwap(sizeof(dsCAMERA_PROPERTY), property);
    // The names are used as strings: each ends inside its field whatever
    // the camera sent.
    auto* record = static_cast<dsCAMERA_PROPERTY*>(property);
    record->cModelName[sizeof(record->cModelName) - 1] = '\0';
    record->cSecondName[sizeof(record->cSecondName) - 1] = '\0';
    return result;
}

DWORD Dslr1394Object::_rapiGetCameraFunctionInfo(void* functionInfo)
{
    entry("_rapiGetCameraFunctionInfo()");
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "_rapiGetCameraFunctionInfo: kMaxFunctionIndex(%d)",
               DSLR_MAX_FUNCTION_INDEX);
    if (functionInfo == nullptr)
        return nullRecord("_rapiGetCameraFunctionInfo: pCameraInfo is NULL");
    if (cannedAnswers()) return m_dbgCamera.Dbg_getFunctionInfo(functionInfo);
    const RapiCallTexts texts = {
        "_rapiGetCameraFunctionInfo: TxMsgPtr is NULL(alloc error)",
        "_rapiGetCameraFunctionInfo: vRxMsgPtr is NULL(alloc error)",
        "_rapiGetCameraFunctionInfo: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
    const DWORD result = exchange(this, 0x12100024, texts, functionInfo);
    if (result != vkRN_OK) return result;
    if (!Utl_FuncInfoByteSwap(sizeof(dsCAMERA_FUNCTION_INFO), functionInfo))
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "_rapiGetCameraFunctionInfo: FuncInfoByteSwap failed");
    if (Dbg_GetLogLevel() & DBGFLAG_CANNED_FUNCTION_INFO)
        m_dbgCamera.Dbg_getFunctionInfo(functionInfo);
    return result;
}

DWORD Dslr1394Object::_rapiGetDriveFreeSpace(const char* drive, void* freeSpace)
{
    entry("_rapiGetDriveFreeSpace()");
    // Without a drive there is nothing to ask; without a record nothing to
    // answer into.
    if (drive == nullptr || freeSpace == nullptr)
        return nullRecord("_rapiGetDriveFreeSpace: DriveStrPtr is NULL");
    const RapiCallTexts texts = {
        "_rapiGetDriveFreeSpace: TxMsgPtr is NULL(alloc error)",
        "vRxMsgPtr is NULL(alloc error) in _rapiGetDriveFreeSpace()",
        "_rapiGetDriveFreeSpace: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
    return exchange(this, 0x1110000D, texts, freeSpace, drive,
                    static_cast<DWORD>(std::strlen(drive)) + 1);
}

// The camera announces its drive strings and they are read as announced
// data. The caller's area holds 32 bytes: a longer announcement is refused
// before anything is read.
DWORD Dslr1394Object::_rapiGetLogicalDriveStrings(char* buffer)
{
    entry("_rapiGetLogicalDriveStrings()");
    if (buffer == nullptr) return nullRecord("_rapiGetLogicalDriveStrings: DestBufferPtr is NULL");
    const RapiCallTexts texts = {
        "_rapiGetLogicalDriveStrings: vTxMsgPtr is NULL(alloc error)",
        "_rapiGetLogicalDriveStrings: vRxMsgPtr is NULL(alloc error)",
        "_rapiGetLogicalDriveStrings: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
    DWORD record[kDriveStringsRecord / 4] = {};
    DWORD result = exchange(this, 0x1120000E, texts, record);
    Dbg_Dump(DBG_TAG_VKRN, "baseGetVols: GetVolsParam", record, sizeof(record));
    if (result != vkRN_OK) return result;
    const DWORD length = record[0];
    if (length > kDriveStringsArea) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "_rapiGetLogicalDriveStrings: Out Of ReadLength(%d)",
                   static_cast<int>(length));
        return vkRNERROR_TRANSFER_FAILED;
    }
    if (length == 0) return vkRN_OK;  // no drives: nothing to read or copy
    auto* strings = static_cast<char*>(MEM_AllocateAndInitMemory(length));
    if (strings == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "_rapiGetLogicalDriveStrings: vDriveStringsPtr is NULL(alloc error)");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    result = baseDslrReadData(strings, length);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "_rapiGetLogicalDriveStrings: base1394ReadData has error(0x%lx)",
                   static_cast<unsigned long>(result));
    } else {
        Dbg_Dump(DBG_TAG_VKRN, "vDriveStringsPtr", strings, length);
        if (m_dwModelID != DSLR_MODEL_ID_Q402) {
            char copy[kDriveStringsArea] = {};
            std::memcpy(copy, strings, length);
            Utl_APPDriveChange(copy, buffer);
        }
        std::memcpy(buffer, strings, length);
        Dbg_Dump(DBG_TAG_VKRN, "DestBufferStr", buffer, length);
    }
    MEM_FreeMemory(strings);
    return result;
}

// "Firmware Version " and the four bytes of the version, most significant
// first: at most 32 characters and the NUL.
void Dslr1394Object::_MakeFirmwareVersionString(DWORD version, char* buffer)
{
    entry("_MakeFirmwareVersionString()");
    if (buffer == nullptr) return;
    const unsigned parts[4] = {
        static_cast<unsigned>(version >> 24) & 0xFFu, static_cast<unsigned>(version >> 16) & 0xFFu,
        static_cast<unsigned>(version >> 8) & 0xFFu, static_cast<unsigned>(version) & 0xFFu};
    std::snprintf(buffer, 33, "Firmware Version %u.%u.%u.%u", parts[0], parts[1], parts[2],
                  parts[3]);
}
