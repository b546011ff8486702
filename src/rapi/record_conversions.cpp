// Conversions of camera records between camera and host byte order. The
// camera sends every field least significant byte first, as the host keeps
// it, so visiting a field leaves it as it is and no routine here changes a
// byte. They are still called where a record is copied for sending and where
// a reply is copied out, because their argument checks (and the item walk of
// the extended personal functions) are what the operations rely on.

#include "rapi/record_checks.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {

// The checks every member conversion makes: a record, and a size.
DWORD checkRecord(const void* record, DWORD dwSize, const char* nullText, const char* zeroText)
{
    if (record == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", nullText);
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (dwSize == 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", zeroText);
        return vkRNERROR_INVALID_PARAMETER;
    }
    return vkRN_OK;
}

WORD wordAt(const BYTE* position)
{
    WORD value = 0;
    std::memcpy(&value, position, sizeof(value));
    return value;
}

}  // namespace

DWORD Utl_ParamByteSwap(DWORD dwSize, void* data, DWORD dwOrder)
{
    if (data == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "Utl_ParamByteSwap: vParamPtr is NULL");
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (dwSize == 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "Utl_ParamByteSwap: dwSize is zero");
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (dwOrder != 2 && dwOrder != 4) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "Utl_ByteSwap: unknown param. dwSize(0x%lx) dwOrder(0x%lx)",
                   static_cast<unsigned long>(dwSize), static_cast<unsigned long>(dwOrder));
        return vkRNERROR_INVALID_PARAMETER;
    }
    return vkRN_OK;
}

DWORD Dslr1394Object::Utl_CameraPropertyByteSwap(DWORD dwSize, void* record)
{
    return checkRecord(record, dwSize, "Utl_CameraPropertyByteSwap: vCamPropPtr is NULL",
                       "Utl_CameraPropertyByteSwap: dwSize is zero");
}

DWORD Dslr1394Object::Utl_DevParamByteSwap(DWORD dwSize, void* record)
{
    return checkRecord(record, dwSize, "Utl_DevParamByteSwap: vDevParamPtr is NULL",
                       "Utl_DevParamByteSwap: dwSize is zero");
}

DWORD Dslr1394Object::Utl_GammaLutByteSwap(DWORD dwSize, void* record)
{
    return checkRecord(record, dwSize, "Utl_GammaLutByteSwap: vGammaPtr is NULL",
                       "Utl_GammaLutByteSwap: dwSize is zero");
}

DWORD Dslr1394Object::Utl_WbSettingByteSwap(DWORD dwSize, void* record)
{
    return checkRecord(record, dwSize, "Utl_WbSettingByteSwap: vGammaPtr is NULL",
                       "Utl_WbSettingByteSwap: dwSize is zero");
}

DWORD Dslr1394Object::Utl_JpgQualityByteSwap(DWORD dwSize, void* record)
{
    return checkRecord(record, dwSize, "Utl_JpgQualityByteSwap: vJpgQualityPtr is NULL",
                       "Utl_JpgQualityByteSwap: dwSize is zero");
}

DWORD Dslr1394Object::Utl_ColorMatrixByteSwap(DWORD dwSize, void* record)
{
    return checkRecord(record, dwSize, "Utl_ColorMatrixByteSwap: vMatrixPtr is NULL",
                       "Utl_ColorMatrixByteSwap: dwSize is zero");
}

DWORD Dslr1394Object::Utl_WbShiftByteSwap(DWORD dwSize, void* record)
{
    return checkRecord(record, dwSize, "Utl_WbShiftByteSwap: vWbShiftPtr is NULL",
                       "Utl_WbShiftByteSwap: dwSize is zero");
}

// The block's size is not looked at: the custom-function block carries its
// own length.
DWORD Utl_CFnByteSwap(DWORD, void* block)
{
    if (block == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "Utl_CFnByteSwap: pCustomFunction is NULL");
        return vkRNERROR_INVALID_PARAMETER;
    }
    return vkRN_OK;
}

DWORD Utl_PFnByteSwap(DWORD dwSize, void* record)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "Utl_PFnByteSwap");
    if (dwSize == 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "dwSize is zero in Utl_PFnExByteSwap()");
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (record == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "vPFnPtr is NULL in Utl_PFnExByteSwap()");
        return vkRNERROR_INVALID_PARAMETER;
    }
    // Before, between and after the two blocks of words.
    Dbg_Dump(DBG_TAG_VKRN, "1.PersonalFuncParam", record, dwSize);
    Dbg_Dump(DBG_TAG_VKRN, "2.PersonalFuncParam", record, dwSize);
    Dbg_Dump(DBG_TAG_VKRN, "3.PersonalFuncParam", record, dwSize);
    return vkRN_OK;
}

// Walks the chain of items: each item's wItemSize leads to the next one, and
// every item must start inside the record. The last item must also end inside
// it: its wItemSize is bounded like the others, so that a reply handed to the
// caller never describes bytes beyond the record. An item must hold at least
// its own wItemSize field before that field is read. A record of one byte
// cannot even hold its item count and is refused as a chain overrun.
DWORD Utl_PFnExByteSwap(DWORD dwSize, void* record)
{
    if (dwSize == 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "dwSize is zero in Utl_PFnExByteSwap()");
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (record == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "vPFnExPtr is NULL in Utl_PFnExByteSwap()");
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (dwSize < sizeof(WORD)) return vkRNERROR_TRANSFER_FAILED;
    const auto* start = static_cast<const BYTE*>(record);
    DWORD remaining = wordAt(start);
    if (remaining == 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "paramPfPtr->wNumOfItems is zero in Utl_PFnExByteSwap()");
        return vkRNERROR_INVALID_PARAMETER;
    }
    DWORD position = sizeof(WORD);
    for (;;) {
        if (position >= dwSize || dwSize - position < sizeof(WORD))
            return vkRNERROR_TRANSFER_FAILED;
        const DWORD itemSize = wordAt(start + position);
        --remaining;
        if (remaining == 0) {
            return itemSize <= dwSize - position ? vkRN_OK : vkRNERROR_TRANSFER_FAILED;
        }
        position += itemSize;
    }
}

BOOL Utl_FuncInfoByteSwap(DWORD, void* record)
{
    if (record == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "vFuncInfoPtr is NULL in Utl_FuncInfoByteSwap()");
        return FALSE;
    }
    if (Dbg_GetLogLevel() & DBGFLAG_CANNED_FUNCTION_INFO) {
        // The caller fills the record with the canned one.
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "529 FunctionInfo Set");
    }
    return TRUE;
}
