// The camera's image-processing parameters: develop parameters, gamma
// look-up tables, the direct (kelvin) white balance, white-balance parameter
// sets, custom functions, personal functions in their fixed and extended
// form, user colour matrices, JPEG quality and white-balance shift.
//
// Most of them are set/get pairs of one shape: check the record, copy it,
// convert it, send it (set), or send its selector and place the reply after
// it (get). That shape is written once (runSet, runGet) and each member is a
// row of what differs: its command, check, conversion, canned answer and
// texts. The custom functions and the extended personal functions have steps
// of their own and are written out below the rows.

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"
#include "rapi/record_checks.h"

#include <algorithm>
#include <cstring>

namespace {

using Check = DWORD (*)(Dslr1394Object* object, DWORD dwSize, const void* record, BOOL flag);
using Convert = DWORD (*)(Dslr1394Object* object, DWORD dwSize, void* record);

template <DWORD (Dslr1394Object::*F)(DWORD, const void*, BOOL)>
DWORD memberCheck(Dslr1394Object* object, DWORD dwSize, const void* record, BOOL flag)
{
    return (object->*F)(dwSize, record, flag);
}

template <DWORD (Dslr1394Object::*F)(DWORD, void*)>
DWORD memberConvert(Dslr1394Object* object, DWORD dwSize, void* record)
{
    return (object->*F)(dwSize, record);
}

template <DWORD (*F)(DWORD, void*)>
DWORD plainConvert(Dslr1394Object*, DWORD dwSize, void* record)
{
    return F(dwSize, record);
}

constexpr DWORD kLowestKelvin = 2800;
constexpr DWORD kHighestKelvin = 10000;
constexpr DWORD kKelvinStep = 100;

// The direct white balance has no record: its check is the kelvin range,
// which holds whatever the debug flag word says.
DWORD checkKelvin(Dslr1394Object*, DWORD, const void* kelvin, BOOL)
{
    DWORD value = 0;
    std::memcpy(&value, kelvin, sizeof(value));
    if (value >= kLowestKelvin && value <= kHighestKelvin && value % kKelvinStep == 0)
        return vkRN_OK;
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
               "baseSetDirectWhiteBalanceSetting: kelvin(%d[K]) Out of Range",
               static_cast<int>(value));
    return vkRNERROR_INVALID_PARAMETER;
}

// What a member answers while debug bit 22 asks for canned answers.
enum class Canned { kNone, kNoOperation, kSetMatrix, kGetMatrix };

// What a request carries: the record (or its working copy), the record
// after a word holding its size, the record's selector alone, or nothing.
enum class Param { kRecord, kSizeAndRecord, kSelector, kNone };

// Where a get's reply record lands: after the selector, or over the whole
// record.
enum class Reply { kNone, kAfterSelector, kWhole };

struct Member {
    DWORD request;
    const char* entryText;
    const char* exitText;
    Check check;  // null: nothing to check
    BOOL checkValues;
    Convert convert;  // null: no conversion
    Canned canned;
    bool checkAgain;  // the check runs again once the canned answer is ruled out
    Param param;
    Reply reply;
    // Gets: convert before sending (the working copy, or the caller's record
    // where there is none), and whether the final conversion's result is
    // the operation's where the reply went straight into the caller's record.
    bool convertFirst;
    bool conversionDecides;
    const char* copyText;  // null: no working copy, the record itself goes out
    RapiCallTexts texts;
};

template <DWORD (Dslr1394Object::*F)(DWORD, const void*, BOOL)>
constexpr Check kCheck = memberCheck<F>;
template <DWORD (Dslr1394Object::*F)(DWORD, void*)>
constexpr Convert kConvert = memberConvert<F>;

constexpr Check kDevParamCheck = kCheck<&Dslr1394Object::Utl_DevParamCheckVal>;
constexpr Check kGammaCheck = kCheck<&Dslr1394Object::Utl_GammaLutCheckVal>;
constexpr Check kWbCheck = kCheck<&Dslr1394Object::Utl_WbSettingCheckVal>;
constexpr Check kPFnCheck = kCheck<&Dslr1394Object::Utl_PFnCheck>;
constexpr Check kMatrixCheck = kCheck<&Dslr1394Object::Utl_ColorMatrixCheckVal>;
constexpr Check kJpegCheck = kCheck<&Dslr1394Object::Utl_JpgQualityCheckVal>;
constexpr Check kShiftCheck = kCheck<&Dslr1394Object::Utl_WbShiftCheckVal>;
constexpr Convert kDevParamSwap = kConvert<&Dslr1394Object::Utl_DevParamByteSwap>;
constexpr Convert kGammaSwap = kConvert<&Dslr1394Object::Utl_GammaLutByteSwap>;
constexpr Convert kWbSwap = kConvert<&Dslr1394Object::Utl_WbSettingByteSwap>;
constexpr Convert kMatrixSwap = kConvert<&Dslr1394Object::Utl_ColorMatrixByteSwap>;
constexpr Convert kJpegSwap = kConvert<&Dslr1394Object::Utl_JpgQualityByteSwap>;
constexpr Convert kShiftSwap = kConvert<&Dslr1394Object::Utl_WbShiftByteSwap>;
constexpr Convert kPFnSwap = plainConvert<Utl_PFnByteSwap>;

// clang-format off
const Member kSetDevelopParam = {
    0x12100015, "baseSetDevelopParamSetting()", "baseSetDevelopParamSetting()",
    kDevParamCheck, TRUE, kDevParamSwap, Canned::kNone, false, Param::kRecord, Reply::kNone,
    false, false, "baseSetDevelopParamSetting: vParamPtr is NULL(alloc failed)",
    {"baseSetDevelopParamSetting: TxMsgPtr is NULL(alloc failed)",
     "baseSetDevelopParamSetting: vRxMsgPtr is NULL(alloc failed)",
     "dslrSendRemoteAPICommand has Error(0x%lx) in baseSetDevelopParamSetting()", nullptr}};
const Member kGetDevelopParam = {
    0x12100016, "baseGetDevelopParamSetting()", "baseGetDevelopParamSetting()",
    kDevParamCheck, FALSE, kDevParamSwap, Canned::kNone, false, Param::kSelector,
    Reply::kAfterSelector, true, false, nullptr,
    {"baseGetDevelopParamSetting: TxMsgPtr is NULL(allog failed)",
     "baseGetDevelopParamSetting: vRxMsgPtr is NULL(alloc failed)",
     "baseGetDevelopParamSetting: dslrSendRemoteAPICommand has Error(0x%lx)", nullptr}};
const Member kSetGamma = {
    0x12100017, "baseSetGammaLookupTable()", "baseSetGammaLookupTable()",
    kGammaCheck, TRUE, kGammaSwap, Canned::kNone, false, Param::kRecord, Reply::kNone,
    false, false, "baseSetGammaLookupTable: vParam is NULL(alloc failed)",
    {"baseSetGammaLookupTable: TxMsgPtr is NULL(alloc failed)",
     "baseSetGammaLookupTable: vRxMsgPtr is NULL(alloc failed)",
     "baseSetGammaLookupTable: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kGetGamma = {
    0x12100018, "baseGetGammaLookupTable()", "baseGetGammaLookupTable()",
    kGammaCheck, TRUE, kGammaSwap, Canned::kNone, false, Param::kSelector, Reply::kAfterSelector,
    true, false, "baseGetGammaLookupTable: vParamPtr is NULL(alloc failed)",
    {"_rapiGetGammaLookupTable: TxMsgPtr is NULL(alloc failed)",
     "_rapiGetGammaLookupTable: vRxMsgPtr is NULL(alloc failed)",
     "_rapiGetGammaLookupTable: dslrSendRemoteAPICommand has Error(0x%lx)", nullptr}};
const Member kSetDirectWb = {
    0x1210001A, "baseSetDirectWhiteBalanceSetting()", "baseSetDirectWhiteBalanceSetting()",
    checkKelvin, FALSE, nullptr, Canned::kNone, false, Param::kRecord, Reply::kNone,
    false, false, nullptr,
    {"baseSetDirectWhiteBalanceSetting: TxMsgPtr is NULL(alloc failed)",
     "baseSetDirectWhiteBalanceSetting: vRxMsgPtr is NULL(alloc failed)",
     "baseSetDirectWhiteBalanceSetting: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
// The kelvin pointer is not checked: the reply check writes nothing through
// a null one, so a null pointer asks the camera and throws the answer away.
const Member kGetDirectWb = {
    0x12100019, "baseGetDirectWhiteBalanceSetting()", "baseGetDirectWhiteBalanceSetting()",
    nullptr, FALSE, nullptr, Canned::kNone, false, Param::kNone, Reply::kWhole,
    false, false, nullptr,
    {"baseGetDirectWhiteBalanceSetting: TxMsgPtr is NULL(alloc failed)",
     "baseGetDirectWhiteBalanceSetting: vRxMsgPtr is NULL(alloc failed)",
     "baseGetDirectWhiteBalanceSetting: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kSetWbParams = {
    0x1210001C, "baseSetWhiteBalanceParameters()", "baseSetWhiteBalanceParameters()",
    kWbCheck, TRUE, kWbSwap, Canned::kNone, false, Param::kRecord, Reply::kNone,
    false, false, "baseSetWhiteBalanceParameters: vParamPtr is NULL(alloc failed)",
    {"baseSetWhiteBalanceParameters: TxMsgPtr is NULL(alloc failed)",
     "baseSetWhiteBalanceParameters: vRxMsgPtr is NULL(alloc failed)",
     "baseSetWhiteBalanceParameters: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kGetWbParams = {
    0x1210001B, "baseGetWhiteBalanceParameters()", "baseGetWhiteBalanceParameters",
    kWbCheck, TRUE, kWbSwap, Canned::kNone, false, Param::kSelector, Reply::kAfterSelector,
    true, false, "baseGetWhiteBalanceParameters: vParamPtr is NULL(alloc failed)",
    {"baseGetWhiteBalanceParameters: TxMsgPtr is NULL(alloc failed)",
     "baseGetWhiteBalanceParameters: vRxMsgPtr is NULL(alloc failed)",
     "baseGetWhiteBalanceParameters: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kSetPersonal = {
    0x12100020, "baseSetPersonalFunctionSetting", "baseSetPersonalFunctionSetting",
    kPFnCheck, TRUE, kPFnSwap, Canned::kNone, false, Param::kRecord, Reply::kNone,
    false, false, "paramPfPtr is NULL(alloc failed) in baseSetPersonalFunctionSetting()",
    {"TxMsgPtr is NULL(Alloc Error) in baseSetPersonalFunctionSetting()",
     "vRxMsgPtr is NULL(alloc error) in baseSetPersonalFunctionSetting()",
     "dslrSendRemoteAPICommand has error(0x%lx) in baseSetPersonalFunctionSetting()", nullptr}};
const Member kGetPersonal = {
    0x1210001F, "baseGetPersonalFunctionSetting", "baseGetPersonalFunctionSetting",
    kPFnCheck, FALSE, kPFnSwap, Canned::kNone, false, Param::kNone, Reply::kWhole,
    false, true, nullptr,
    {"TxMsgPtr is NULL(Alloc Error) in baseGetPersonalFunctionSetting()",
     "vRxMsgPtr is NULL(alloc error) in baseGetPersonalFunctionSetting()",
     "dslrSendRemoteAPICommand has error(0x%lx) in baseGetPersonalFunctionSetting()", nullptr}};
// The check has already required 16 bytes, which is what the camera takes.
const Member kSetMatrix = {
    0x12100034, "baseSetUserColorMatrix()", "baseSetUserColorMatrix()",
    kMatrixCheck, TRUE, kMatrixSwap, Canned::kSetMatrix, false, Param::kRecord, Reply::kNone,
    false, false, "baseSetUserColorMatrix: vParamPtr is NULL(alloc failed)",
    {"baseSetUserColorMatrix: TxMsgPtr is NULL(alloc failed)",
     "baseSetUserColorMatrix: vRxMsgPtr is NULL(alloc failed)",
     "baseSetUserColorMatrix: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kGetMatrix = {
    0x12100033, "baseGetUserColorMatrix()", "baseGetUserColorMatrix",
    kMatrixCheck, TRUE, kMatrixSwap, Canned::kGetMatrix, true, Param::kSelector,
    Reply::kAfterSelector, false, false, nullptr,
    {"baseGetUserColorMatrix: TxMsgPtr is NULL(alloc failed)",
     "baseGetUserColorMatrix: vRxMsgPtr is NULL(alloc failed)",
     "baseGetUserColorMatrix: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kSetJpeg = {
    0x12100038, "baseSetJpegQuality()", "baseSetJpegQuality",
    kJpegCheck, TRUE, kJpegSwap, Canned::kNoOperation, false, Param::kSizeAndRecord,
    Reply::kNone, false, false, "baseSetJpegQuality: vParamPtr is NULL(alloc failed)",
    {"baseSetJpegQuality: TxMsgPtr is NULL(alloc failed)",
     "baseSetJpegQuality: vRxMsgPtr is NULL(alloc failed)",
     "baseSetJpegQuality: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kGetJpeg = {
    0x12100037, "baseGetJpegQuality()", "baseGetJpegQuality",
    kJpegCheck, FALSE, kJpegSwap, Canned::kNoOperation, false, Param::kNone, Reply::kWhole,
    false, false, nullptr,
    {"baseGetJpegQuality: TxMsgPtr is NULL(alloc failed)",
     "baseGetJpegQuality: vRxMsgPtr is NULL(alloc failed)",
     "baseGetJpegQuality: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kSetShift = {
    0x12100036, "baseSetWhilteBalanceShift()", "baseSetWhilteBalanceShift()",
    kShiftCheck, TRUE, kShiftSwap, Canned::kNoOperation, false, Param::kRecord, Reply::kNone,
    false, false, "baseSetWhiteBalanceShift: vParamPtr is NULL(alloc failed)",
    {"baseSetWhiteBalanceShift: TxMsgPtr is NULL(alloc failed)",
     "baseSetWhiteBalanceShift: vRxMsgPtr is NULL(alloc failed)",
     "baseSetWhiteBalanceShift: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
const Member kGetShift = {
    0x12100035, "baseGetWhilteBalanceShift", "baseGetWhilteBalanceShift",
    kShiftCheck, TRUE, kShiftSwap, Canned::kNoOperation, false, Param::kNone, Reply::kWhole,
    false, false, nullptr,
    {"baseGetWhilteBalanceShift: TxMsgPtr is NULL(alloc failed)",
     "baseGetWhilteBalanceShift: vRxMsgPtr is NULL(alloc failed)",
     "baseGetWhilteBalanceShift: dslrSendRemoteAPICommand has error(0x%lx)", nullptr}};
// clang-format on

bool cannedAnswers() { return (Dbg_GetLogLevel() & DBGFLAG_CANNED_ANSWERS) != 0; }

void entry(const char* text) { Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "%s", text); }
void leave(const char* text) { Dbg_Printf(DBG_TAG_VKRN, DBG_EXIT, "%s", text); }

DWORD failWith(const char* text, DWORD result)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", text);
    return result;
}

DWORD cannedAnswer(Dslr1394Object* object, Canned canned, void* record)
{
    switch (canned) {
        case Canned::kSetMatrix:
            return object->m_dbgCamera.Dbg_setUserColorMatrix(record);
        case Canned::kGetMatrix:
            return object->m_dbgCamera.Dbg_getUserColorMatrix(record);
        default:
            return object->m_dbgCamera.Dbg_noOperation();
    }
}

// The member's check, and its canned answer when debug bit 22 is set.
// Returns true when the operation is answered (result in `result`). The
// canned path writes no exit record.
bool checkedOrAnswered(Dslr1394Object* object, const Member& member, DWORD dwSize, void* record,
                       DWORD& result)
{
    result = vkRN_OK;
    const auto check = [&] {
        return member.check == nullptr ||
               member.check(object, dwSize, record, member.checkValues) == vkRN_OK;
    };
    if (!check()) {
        result = vkRNERROR_INVALID_PARAMETER;
        leave(member.exitText);
        return true;
    }
    if (member.canned != Canned::kNone && cannedAnswers()) {
        result = cannedAnswer(object, member.canned, record);
        return true;
    }
    if (member.checkAgain && !check()) {
        result = vkRNERROR_INVALID_PARAMETER;
        leave(member.exitText);
        return true;
    }
    return false;
}

DWORD runSet(Dslr1394Object* object, const Member& member, DWORD dwSize, const void* record)
{
    entry(member.entryText);
    DWORD result = vkRN_OK;
    // The canned set answers read the record, never write it.
    if (checkedOrAnswered(object, member, dwSize, const_cast<void*>(record), result)) return result;
    const DWORD prefix = member.param == Param::kSizeAndRecord ? sizeof(DWORD) : 0;
    const DWORD paramSize = prefix + dwSize;
    BYTE* copy = nullptr;
    if (member.copyText != nullptr) {
        copy = static_cast<BYTE*>(MEM_AllocateAndInitMemory(paramSize));
        if (copy == nullptr) {
            result = failWith(member.copyText, vkRNERROR_OUT_OF_MEMORY);
            leave(member.exitText);
            return result;
        }
        std::memcpy(copy, &dwSize, prefix);
        std::memcpy(copy + prefix, record, dwSize);
        // A conversion that refuses the copy stops the set before sending.
        if (member.convert != nullptr) result = member.convert(object, dwSize, copy);
    }
    if (result == vkRN_OK) {
        const void* params = copy != nullptr ? copy : record;
        result = Rapi_Call(object, *Rapi_FindCommand(member.request), params, paramSize, nullptr, 0,
                           member.texts);
    }
    if (copy != nullptr) MEM_FreeMemory(copy);
    leave(member.exitText);
    return result;
}

DWORD runGet(Dslr1394Object* object, const Member& member, DWORD dwSize, void* record)
{
    entry(member.entryText);
    DWORD result = vkRN_OK;
    if (checkedOrAnswered(object, member, dwSize, record, result)) return result;
    BYTE* copy = nullptr;
    if (member.copyText != nullptr) {
        copy = static_cast<BYTE*>(MEM_AllocateAndInitMemory(dwSize));
        if (copy == nullptr) {
            result = failWith(member.copyText, vkRNERROR_OUT_OF_MEMORY);
            leave(member.exitText);
            return result;
        }
        std::memcpy(copy, record, dwSize);
    }
    auto* target = copy != nullptr ? copy : static_cast<BYTE*>(record);
    if (member.convertFirst) result = member.convert(object, dwSize, target);
    if (result == vkRN_OK) {
        // The checks have fixed dwSize to a whole record, selector included.
        const bool selector = member.param == Param::kSelector;
        const DWORD skip = member.reply == Reply::kAfterSelector ? sizeof(DWORD) : 0;
        BYTE* landing = target != nullptr ? target + skip : nullptr;
        result = Rapi_Call(object, *Rapi_FindCommand(member.request), selector ? target : nullptr,
                           selector ? sizeof(DWORD) : 0, landing, dwSize - skip, member.texts);
    }
    if (result == vkRN_OK && member.convert != nullptr) {
        const DWORD converted = member.convert(object, dwSize, target);
        if (copy != nullptr || member.conversionDecides) result = converted;
    }
    if (result == vkRN_OK && copy != nullptr) std::memcpy(record, copy, dwSize);
    if (copy != nullptr) MEM_FreeMemory(copy);
    leave(member.exitText);
    return result;
}

constexpr DWORD kCustomBlock = 64;
constexpr DWORD kCustomSelector = sizeof(DWORD);

WORD wordAt(const void* position)
{
    WORD value = 0;
    std::memcpy(&value, position, sizeof(value));
    return value;
}

}  // namespace

uint32_t Dslr1394Object::baseSetDevelopParamSetting(uint32_t dwSize, const void* pParams)
{
    return runSet(this, kSetDevelopParam, dwSize, pParams);
}

uint32_t Dslr1394Object::baseGetDevelopParamSetting(uint32_t dwSize, void* pParams)
{
    return runGet(this, kGetDevelopParam, dwSize, pParams);
}

uint32_t Dslr1394Object::baseSetGammaLookupTable(uint32_t dwSize, const void* pTable)
{
    return runSet(this, kSetGamma, dwSize, pTable);
}

uint32_t Dslr1394Object::baseGetGammaLookupTable(uint32_t dwSize, void* pTable)
{
    return runGet(this, kGetGamma, dwSize, pTable);
}

uint32_t Dslr1394Object::baseSetDirectWhiteBalanceSetting(uint32_t dwKelvin)
{
    return runSet(this, kSetDirectWb, sizeof(dwKelvin), &dwKelvin);
}

uint32_t Dslr1394Object::baseGetDirectWhiteBalanceSetting(uint32_t* pdwKelvin)
{
    return runGet(this, kGetDirectWb, sizeof(*pdwKelvin), pdwKelvin);
}

uint32_t Dslr1394Object::baseSetWhiteBalanceParameters(uint32_t dwSize, const void* pParams)
{
    return runSet(this, kSetWbParams, dwSize, pParams);
}

uint32_t Dslr1394Object::baseGetWhiteBalanceParameters(uint32_t dwSize, void* pParams)
{
    return runGet(this, kGetWbParams, dwSize, pParams);
}

uint32_t Dslr1394Object::baseSetPersonalFunctionSetting(uint32_t dwSize, const void* pParams)
{
    return runSet(this, kSetPersonal, dwSize, pParams);
}

uint32_t Dslr1394Object::baseGetPersonalFunctionSetting(uint32_t dwSize, void* pParams)
{
    return runGet(this, kGetPersonal, dwSize, pParams);
}

uint32_t Dslr1394Object::baseSetUserColorMatrix(uint32_t dwSize, const void* pMatrix)
{
    return runSet(this, kSetMatrix, dwSize, pMatrix);
}

uint32_t Dslr1394Object::baseGetUserColorMatrix(uint32_t dwSize, void* pMatrix)
{
    return runGet(this, kGetMatrix, dwSize, pMatrix);
}

uint32_t Dslr1394Object::baseSetJpegQuality(uint32_t dwSize, const void* pQuality)
{
    return runSet(this, kSetJpeg, dwSize, pQuality);
}

uint32_t Dslr1394Object::baseGetJpegQuality(uint32_t dwSize, void* pQuality)
{
    return runGet(this, kGetJpeg, dwSize, pQuality);
}

uint32_t Dslr1394Object::baseSetWhiteBalanceShift(uint32_t dwSize, const void* pShift)
{
    return runSet(this, kSetShift, dwSize, pShift);
}

uint32_t Dslr1394Object::baseGetWhilteBalanceShift(uint32_t dwSize, void* pShift)
{
    return runGet(this, kGetShift, dwSize, pShift);
}

// The record's size is not used: the block carries its own length, and the
// record must hold its selector and wLength bytes from offset 4 (at most the
// 68 bytes of dsCUSTOM_FUNCTION). A null record is refused before anything
// is read, rather than trusted.
uint32_t Dslr1394Object::baseSetCustomFunctionSetting(uint32_t, const void* pParams)
{
    entry("baseSetCustomFunctionSetting()");
    DWORD result = vkRN_OK;
    const auto* record = static_cast<const BYTE*>(pParams);
    if (record == nullptr) {
        result = failWith("baseSetCustomFunctionSetting: pCustomFunction is NULL",
                          vkRNERROR_INVALID_PARAMETER);
    } else if (const WORD length = wordAt(record + kCustomSelector); length > kCustomBlock) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "baseSetCustomFunctionSetting: The Length of App is bigger than the structure "
                   "used by LL. Length(0x%lx)",
                   static_cast<unsigned long>(length));
        result = vkRNERROR_TRANSFER_FAILED;
    } else {
        auto* block = static_cast<BYTE*>(MEM_AllocateAndInitMemory(kCustomSelector + kCustomBlock));
        if (block == nullptr) {
            result = failWith("baseSetCustomFunctionSetting: setCFnBufferPtr is NULL(alloc error)",
                              vkRNERROR_OUT_OF_MEMORY);
        } else {
            std::memcpy(block, record, kCustomSelector + length);
            result = Utl_CFnByteSwap(kCustomSelector + kCustomBlock, block);
            const RapiCallTexts texts = {
                "baseSetCustomFunctionSetting: TxMsgPtr is NULL(alloc error)",
                "baseGetCustomFunctionSetting: vRxMsgPtr is NULL(alloc error)",
                "baseSetCustomFunctionSetting: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
            if (result == vkRN_OK)
                result = Rapi_Call(this, *Rapi_FindCommand(0x1210001E), block,
                                   kCustomSelector + kCustomBlock, nullptr, 0, texts);
            MEM_FreeMemory(block);
        }
    }
    leave("baseSetCustomFunctionSetting()");
    return result;
}

// A null record, or one too short for its selector, is refused before
// anything is read or sent: the get sends the selector and places the block
// after it.
uint32_t Dslr1394Object::baseGetCustomFunctionSetting(uint32_t dwSize, void* pParams)
{
    entry("baseGetCustomFunctionSetting()");
    auto* record = static_cast<BYTE*>(pParams);
    if (record == nullptr || dwSize < kCustomSelector) {
        const DWORD result = failWith(
            "baseGetCustomFunctionSetting: pCustomFunction is NULL or "
            "too short for its selector",
            vkRNERROR_INVALID_PARAMETER);
        leave("baseGetCustomFunctionSetting()");
        return result;
    }
    Dbg_Dump(DBG_TAG_VKRN, "baseGetCustomFunctionSetting: 1.getCFn", record, dwSize);
    DWORD result = vkRN_OK;
    auto* block = static_cast<BYTE*>(MEM_AllocateAndInitMemory(kCustomBlock));
    if (block == nullptr) {
        result = failWith("baseGetCustomFunctionSetting: getCFnBufferPtr is NULL(alloc error)",
                          vkRNERROR_OUT_OF_MEMORY);
    } else {
        const RapiCallTexts texts = {
            "baseGetCustomFunctionSetting: TxMsgPtr is NULL(alloc error)",
            "baseGetCustomFunctionSetting: vRxMsgPtr is NULL(alloc error)",
            "baseGetCustomFunctionSetting: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
        result = Rapi_Call(this, *Rapi_FindCommand(0x1210001D), record, kCustomSelector, block,
                           kCustomBlock, texts);
        if (result == vkRN_OK) result = Utl_CFnByteSwap(kCustomBlock, block);
        const DWORD room = dwSize - kCustomSelector;
        if (const WORD length = wordAt(block);
            result == vkRN_OK && (length > kCustomBlock || length > room)) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                       "baseGetCustomFunctionSetting: The Length of firm is bigger than the used "
                       "structure. Length(0x%lx)",
                       static_cast<unsigned long>(length));
            result = vkRNERROR_TRANSFER_FAILED;
        }
        if (result == vkRN_OK)
            std::memcpy(record + kCustomSelector, block, std::min(room, kCustomBlock));
        MEM_FreeMemory(block);
    }
    Dbg_Dump(DBG_TAG_VKRN, "baseGetCustomFunctionSetting: 2.getCFn", record, dwSize);
    leave("baseGetCustomFunctionSetting()");
    return result;
}

uint32_t Dslr1394Object::baseGetPersonalFunctionExSize(uint32_t* pdwSize)
{
    entry("baseGetPersonalFunctionExSize()");
    DWORD result = vkRN_OK;
    if (pdwSize == nullptr) {
        result = failWith("baseGetPersonalFunctionExSize: dwSizePtr is NULL",
                          vkRNERROR_INVALID_PARAMETER);
    } else {
        const RapiCallTexts texts = {
            "baseGetPersonalFunctionExSize: TxMsgPtr is NULL(alloc failed)",
            "baseGetPersonalFunctionExSize: vRxMsgPtr is NULL(alloc failed)",
            "baseGetPersonalFunctionExSize: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
        result = Rapi_Call(this, *Rapi_FindCommand(0x12100030), nullptr, 0, pdwSize,
                           sizeof(*pdwSize), texts);
        if (result == vkRN_OK) result = Utl_ParamByteSwap(sizeof(*pdwSize), pdwSize, 4);
        Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "dwSize(0x%lx) in getPfExSize()",
                   static_cast<unsigned long>(*pdwSize));
    }
    leave("baseGetPersonalFunctionExSize()");
    return result;
}

// The working block is had before the request goes out, so that a lack of
// memory costs no exchange whose answer would be thrown away. A reply whose
// item chain runs past dwSize never reaches the caller.
uint32_t Dslr1394Object::baseGetPersonalFunctionEx(uint32_t dwSize, void* pParams)
{
    entry("baseGetPersonalFunctionEx()");
    DWORD result = vkRN_OK;
    if (dwSize == 0) {
        result =
            failWith("baseGetPersonalFunctionEx: paramSize is zero", vkRNERROR_INVALID_PARAMETER);
    } else if (pParams == nullptr) {
        result =
            failWith("baseGetPersonalFunctionEx: vPFnExPtr is NULL", vkRNERROR_INVALID_PARAMETER);
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "baseGetPersonalFunctionEx: size(0x%lx)",
                   static_cast<unsigned long>(dwSize));
        auto* block = static_cast<BYTE*>(MEM_AllocateAndInitMemory(dwSize));
        if (block == nullptr) {
            result = failWith("baseGetPersonalFunctionEx: paramPfPtr is NULL(alloc failed)",
                              vkRNERROR_OUT_OF_MEMORY);
        } else {
            const RapiCallTexts texts = {
                "baseGetPersonalFunctionEx: TxMsgPtr is NULL(alloc failed)",
                "baseGetPersonalFunctionEx: vRxMsgPtr is NULL(alloc failed)",
                "baseGetPersonalFunctionEx: dslrSendRemoteAPICommand has error(0x%lx)", nullptr};
            result =
                Rapi_Call(this, *Rapi_FindCommand(0x12100031), nullptr, 0, block, dwSize, texts);
            if (result == vkRN_OK) {
                Dbg_Dump(DBG_TAG_VKRN, "baseGetPersonalFunctionEx: getPfEx param(befor)", block,
                         dwSize);
                result = Utl_PFnExByteSwap(dwSize, block);
            }
            if (result == vkRN_OK) {
                std::memcpy(pParams, block, dwSize);
                Dbg_Dump(DBG_TAG_VKRN, "baseGetPersonalFunctionEx: getPfEx param(after)", block,
                         dwSize);
            }
            MEM_FreeMemory(block);
        }
    }
    leave("baseGetPersonalFunctionEx()");
    return result;
}

// The walk of the item chain only reports: a set goes out as the caller
// wrote it, and the camera judges the chain.
uint32_t Dslr1394Object::baseSetPersonalFunctionEx(uint32_t dwSize, const void* pParams)
{
    entry("baseSetPersonalFunctionEx");
    DWORD result = vkRN_OK;
    if (dwSize == 0) {
        result = failWith("paramSize is zero in baseSetPersonalFunctionEx()",
                          vkRNERROR_INVALID_PARAMETER);
    } else if (pParams == nullptr) {
        result = failWith("vPFnExPtr is NULL-pointer in baseSetPersonalFunctionEx()",
                          vkRNERROR_INVALID_PARAMETER);
    } else if (auto* copy = static_cast<BYTE*>(MEM_AllocateAndInitMemory(dwSize));
               copy == nullptr) {
        result = failWith("baseSetPersonalFunctionEx: paramPfPtr is NULL(alloc failed)",
                          vkRNERROR_OUT_OF_MEMORY);
    } else {
        std::memcpy(copy, pParams, dwSize);
        Dbg_Dump(DBG_TAG_VKRN, "baseSetPersonalFunctionEx: setPfEx param(befor)", copy, dwSize);
        Utl_PFnExByteSwap(dwSize, copy);
        Dbg_Dump(DBG_TAG_VKRN, "baseSetPersonalFunctionEx: setPfEx param(after)", copy, dwSize);
        const RapiCallTexts texts = {
            "TxMsgPtr is NULL(Alloc Error) in baseSetPersonalFunctionEx()",
            "vRxMsgPtr is NULL(alloc error) in baseSetPersonalFunctionEx()",
            "dslrSendRemoteAPICommand has error(0x%lx) in baseSetPersonalFunctionEx()", nullptr};
        result = Rapi_Call(this, *Rapi_FindCommand(0x12100032), copy, dwSize, nullptr, 0, texts);
        MEM_FreeMemory(copy);
    }
    leave("baseSetPersonalFunctionEx");
    return result;
}
