// The application's view of the camera's settings: the tagged read and
// write, the model description and the callback registration.

#include "camera/camera_clock.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {

const char* readTagName(uint32_t tag)
{
    switch (tag) {
        case OWNER_NAME:
            return "baseReadSetting: OWNER_NAME";
        case CAMERA_TIME:
            return "baseReadSetting: CAMERA_TIME";
        case READ_FIRM_VERSION:
            return "baseReadSetting: READ_FIRM_VERSION";
        case READ_BATT_STATUS:
            return "baseReadSetting: READ_BATT_STATUS";
        case READ_BODY_ID:
            return "baseReadSetting: READ_BODY_ID";
        case READ_CAMERA_FUNCTION_INFO:
            return "baseReadSetting: READ_CAMERA_FUNCTION_INFO";
        case DIRECTORY_SUFFIX:
            return "baseReadSetting: DIRECTORY_SUFFIX";
        case CURRENT_DIRECTORY:
            return "baseReadSetting: CURRENT_DIRECTORY";
        case NAME_PREFIX_EX:
            return "baseReadSetting: NAME_PREFIX_EX";
        default:
            return nullptr;
    }
}

DWORD noSetting(const char* operation)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s: SettingPtr is NULL", operation);
    return vkRNERROR_INVALID_PARAMETER;
}

void putWord(void* record, DWORD value) { std::memcpy(record, &value, sizeof(value)); }

}  // namespace

// A setting read that fails leaves the caller's record as it was, except for
// the battery state and the clock: they report 0 when the camera could not be
// read, so that an application never takes an old value for a fresh one.
uint32_t Dslr1394Object::baseReadSetting(uint32_t dwTag, void* pSetting)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "baseReadSetting(0x%lx)",
               static_cast<unsigned long>(dwTag));
    if (const char* name = readTagName(dwTag)) Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "%s", name);
    if (dwTag == CAMERA_TIME && (Dbg_GetLogLevel() & DBGFLAG_CANNED_ANSWERS)) return vkRN_OK;

    // The owner name and function information check their own records.
    const bool checksOwnRecord = dwTag == OWNER_NAME || dwTag == READ_CAMERA_FUNCTION_INFO;
    DWORD result = vkRNERROR_NOT_SUPPORTED;
    if (readTagName(dwTag) == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "baseReadSetting: unknown operation tag.");
    } else if (dwTag == CURRENT_DIRECTORY) {
        result = vkRNERROR_NOT_SUPPORTED;
    } else if (pSetting == nullptr && !checksOwnRecord) {
        result = noSetting("baseReadSetting");
    } else {
        switch (dwTag) {
            case OWNER_NAME:
                result = _rapiGetOwnerName(static_cast<char*>(pSetting));
                break;
            case READ_BODY_ID: {
                DWORD bodyID = 0;
                result = _rapiGetCameraBodyID(&bodyID);
                if (result == vkRN_OK) putWord(pSetting, bodyID);
                break;
            }
            case READ_CAMERA_FUNCTION_INFO:
                result = _rapiGetCameraFunctionInfo(pSetting);
                break;
            case DIRECTORY_SUFFIX:
                result = _rapiGetDirNameSuffix(static_cast<char*>(pSetting));
                break;
            case NAME_PREFIX_EX:
                result = _rapiGetFileNamePrefix(pSetting);
                break;
            case READ_BATT_STATUS: {
                DWORD status = 0;
                result = _rapiGetCurrentBatteryStatus(&status);
                putWord(pSetting, result == vkRN_OK ? status : 0);
                break;
            }
            case READ_FIRM_VERSION: {
                dsCAMERA_PROPERTY property = {};
                result = _rapiGetCameraProperty(&property);
                if (result == vkRN_OK)
                    _MakeFirmwareVersionString(property.dwFirmVersion,
                                               static_cast<char*>(pSetting));
                break;
            }
            case CAMERA_TIME: {
                DWORD timeRecord[3] = {};
                result = _rapiGetCameraTime(timeRecord);
                if (result != vkRN_OK) timeRecord[0] = 0;
                DWORD utc = 0;
                if (timeRecord[0] != 0 && !Clock_CameraToUtc(timeRecord[0], &utc))
                    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                               "gmtime returned NULL in baseReadSetting()");
                putWord(pSetting, utc);
                break;
            }
            default:
                break;
        }
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "baseReadSetting()");
    return result;
}

uint32_t Dslr1394Object::baseWriteSetting(uint32_t dwTag, const void* pSetting)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseWriteSetting()");
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "Tag(0x%lx)", static_cast<unsigned long>(dwTag));
    switch (dwTag) {
        case OWNER_NAME:
            return _rapiSetOwnerName(static_cast<const char*>(pSetting));
        case CAMERA_TIME: {
            if (pSetting == nullptr) return noSetting("baseWriteSetting");
            DWORD value = 0;
            std::memcpy(&value, pSetting, sizeof(value));
            value = Clock_UtcToCamera(value);
            // The clock's record is the application's to be converted in
            // place: it reads the count the camera was given.
            std::memcpy(const_cast<void*>(pSetting), &value, sizeof(value));
            return _rapiSetCameraTime(value, 0, 0);
        }
        case DIRECTORY_SUFFIX:
            return _rapiSetDirectoryNameSuffix(static_cast<const char*>(pSetting));
        case RESET_NAME_PREFIX:
            return _rapiResetFileNamePrefix();
        case RESET_DIRECTORY_SUFFIX:
            return _rapiResetDirectoryNameSuffix();
        case NAME_PREFIX_EX:
            return _rapiSetFileNamePrefix(pSetting);
        default:
            return vkRNERROR_NOT_SUPPORTED;
    }
}

// The model name loses the maker's name and its separator; a name that is
// no longer than the maker's name loses only what it has.
uint32_t Dslr1394Object::baseGetModelDescrip(void* pModelDescrip)
{
    FunctionTrace trace(DBG_TAG_VKRN, "baseGetModelDescrip");
    if (pModelDescrip == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "baseGetModelDescrip: ModelDescPtr is NULL");
        return vkRNERROR_INVALID_PARAMETER;
    }
    auto* description = static_cast<dsMODEL_DESCRIP*>(pModelDescrip);
    description->dwModelID = m_dwModelID;
    dsCAMERA_PROPERTY property = {};
    const DWORD result = _rapiGetCameraProperty(&property);
    if (result != vkRN_OK) return result;
    // The camera's name is read no further than its field: one without a NUL
    // is cut there, and what is copied always fits the caller's field.
    const char* name = property.cModelName;
    const void* end = std::memchr(name, '\0', sizeof(property.cModelName));
    std::size_t length =
        end != nullptr ? static_cast<const char*>(end) - name : sizeof(property.cModelName);
    if (length >= 5 && std::strncmp(name, "Velor", 5) == 0) {
        const std::size_t skipped = length < 6 ? length : 6;
        name += skipped;
        length -= skipped;
    }
    if (length >= sizeof(description->cModelName)) length = sizeof(description->cModelName) - 1;
    std::memcpy(description->cModelName, name, length);
    description->cModelName[length] = '\0';
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "baseGetModelDescrip: ModelName(%s)",
               description->cModelName);
    return result;
}
