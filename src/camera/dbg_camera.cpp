// The canned answers of the camera that is not there.

#include "camera/dbg_camera.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"

#include <cstring>

namespace {

// The canned function information describes a camera of the newer
// generation. Only the fields below are set; every other byte, the whole
// function table included, is zero (docs/camera-settings.md).
void fillCannedFunctionInfo(dsCAMERA_FUNCTION_INFO& info)
{
    std::memset(&info, 0, sizeof(info));
    info.wSize = sizeof(dsCAMERA_FUNCTION_INFO);
    info.dwModelID = DSLR_MODEL_ID_Q529;
    std::strcpy(info.cModelName, "Velor ARX-7QM");
    info.dwNumOfEntries = 5;
    const char* const names[5] = {"Large:Raw", "Large:Valiable", "Medium1:Valiable",
                                  "Medium2:Valiable", "Small:Valiable"};
    for (int i = 0; i < 5; ++i) std::strcpy(info.entries[i].cName, names[i]);
    info.entries[0].dwValue[2] = 4;
    const DWORD fixed[4] = {0x70, 0, 0x9F, 7};
    std::memcpy(info.dwFixedValue, fixed, sizeof(fixed));
    info.wFixedValue = 11;
    info.dwSetting[5] = 0x8000000F;  // offset 592
}

}  // namespace

DbgCamera::DbgCamera() : m_dwLastMode(0), m_matrixRows() {}

DWORD DbgCamera::Dbg_getRemoteAPIVersion(DWORD* version)
{
    if (version != nullptr) *version = 0x81FF0800;
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_getBatteryStatus(DWORD* status)
{
    if (status != nullptr) *status = 0x10000006;
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_getBodyID(const char* portName, DWORD* bodyID)
{
    DWORD value = 0;
    const std::size_t length = portName != nullptr ? std::strlen(portName) : 0;
    if (length > 0 && portName[length - 1] >= '0' && portName[length - 1] <= '9')
        value = static_cast<DWORD>(portName[length - 1] - '0');
    if (bodyID != nullptr) *bodyID = value;
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_getOwnerName(char* ownerName)
{
    if (ownerName != nullptr) {
        std::memset(ownerName, 0, 32);
        std::strcpy(ownerName, "Mr.Velor");
    }
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_getCameraTime(DWORD* timeRecord)
{
    if (timeRecord != nullptr) {
        timeRecord[0] = 1000000000;
        timeRecord[1] = 0;
        timeRecord[2] = 0;
    }
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_getFunctionInfo(void* functionInfo)
{
    if (functionInfo != nullptr) {
        dsCAMERA_FUNCTION_INFO info;
        fillCannedFunctionInfo(info);
        std::memcpy(functionInfo, &info, sizeof(info));
    }
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_getVols(void* volInfo, WORD* numEntries)
{
    if (volInfo == nullptr || numEntries == nullptr) return vkRNERROR_INVALID_PARAMETER;
    BYTE data[19] = {};
    const DWORD count = 1, free = 0x40000000;
    const WORD one = 1;
    std::memcpy(data, &count, 4);
    std::memcpy(data + 4, &one, 2);
    std::memcpy(data + 6, &one, 2);
    std::memcpy(data + 8, &free, 4);
    std::memcpy(data + 16, "A:", 3);
    std::memcpy(volInfo, data, sizeof(data));
    *numEntries = 1;
    Dbg_Dump(DBG_TAG_VKRN, "Dbg_getVols: dummy data", data, 17);
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_resetTransfer() { return vkRN_OK; }

DWORD DbgCamera::Dbg_setUserColorMatrix(const void* matrix)
{
    if (matrix == nullptr) return vkRNERROR_INVALID_PARAMETER;
    dsUSER_COLOR_MATRIX record;
    std::memcpy(&record, matrix, sizeof(record));
    if ((record.dwIndex != 6 && record.dwIndex != 7) || record.dwValue1 < 1 ||
        record.dwValue1 > 2 || record.lValue2 < -2 || record.lValue2 > 2 || record.lValue3 < -2 ||
        record.lValue3 > 2)
        return vkRNERROR_INVALID_PARAMETER;
    m_dwLastMode = record.dwIndex;
    LONG* row = m_matrixRows[record.dwIndex - 1];
    row[0] = static_cast<LONG>(record.dwValue1);
    row[1] = record.lValue2;
    row[2] = record.lValue3;
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_getUserColorMatrix(void* matrix)
{
    if (matrix == nullptr) return vkRNERROR_INVALID_PARAMETER;
    dsUSER_COLOR_MATRIX record;
    std::memcpy(&record, matrix, sizeof(record));
    if (record.dwIndex < 1 || record.dwIndex > 7) return vkRNERROR_INVALID_PARAMETER;
    const LONG* row = m_matrixRows[record.dwIndex - 1];
    record.dwValue1 = static_cast<DWORD>(row[0]);
    record.lValue2 = row[1];
    record.lValue3 = row[2];
    std::memcpy(matrix, &record, sizeof(record));
    return vkRN_OK;
}

DWORD DbgCamera::Dbg_noOperation() { return vkRN_OK; }
