// Which generation of an image-processing record the caller passed, told
// from its size and the camera's model, and, when the debug flag word asks
// for range checks, whether its fields hold values the camera accepts. A
// failing check stops the operation before anything is sent.

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"

#include <cstring>
#include <iterator>

namespace {

enum class Models { kAny, kNot402, kOnly402, k402Or611, kNone };

bool modelIn(Models models, DWORD model)
{
    switch (models) {
        case Models::kAny:
            return true;
        case Models::kNot402:
            return model != DSLR_MODEL_ID_Q402;
        case Models::kOnly402:
            return model == DSLR_MODEL_ID_Q402;
        case Models::k402Or611:
            return model == DSLR_MODEL_ID_Q402 || model == DSLR_MODEL_ID_Q611;
        case Models::kNone:
            return false;
    }
    return false;
}

// The two layouts a record may have, and the texts of one check routine.
struct GenerationRule {
    DWORD q317Size;
    Models q317Models;
    DWORD q529Size;
    Models q529Models;
    DWORD traceLevel;
    const char* nullText;
    const char* zeroText;
    const char* q317Text;
    const char* q529Text;
    const char* unknownText;
};

const GenerationRule kDevParam = {
    DSLR_DEVELOP_PARAM_Q317_SIZE,
    Models::kAny,
    sizeof(dsDEVELOP_PARAM),
    Models::k402Or611,
    DBG_VALUE,
    "Utl_DevParamCheckVal: vDevParamPtr is NULL",
    "Utl_DevParamCheckVal: dwSize is zero",
    "Utl_DevParamCheckVal: dwSize(0x%lx) is Q317type",
    "Utl_DevParamCheckVal: dwSize(0x%lx) is Q529type",
    "Utl_DevParamCheckVal: unknown param. modelID(0x%lx) size(0x%lx)"};

const GenerationRule kGammaLut = {
    sizeof(dsGAMMA_LOOKUP_TABLE_Q317),
    Models::kNot402,
    sizeof(dsGAMMA_LOOKUP_TABLE),
    Models::kOnly402,
    DBG_ERROR,
    "Utl_GammaLutByteSwap: vGammaPtr is NULL",
    "Utl_GammaLutByteSwap: dwSize is zero",
    "Utl_GammaLutByteSwap: dwSize(0x%lx) is Q317type",
    "Utl_GammaLutByteSwap: dwSize(0x%lx) is Q529type",
    "Utl_GammaLutByteSwap: unknown param. modelID(0x%lx) size(0x%lx)"};

const GenerationRule kWbSetting = {
    sizeof(dsWHITE_BALANCE_PARAMETERS_Q317),
    Models::kNot402,
    sizeof(dsWHITE_BALANCE_PARAMETERS),
    Models::kOnly402,
    DBG_VALUE,
    "Utl_WbSettingCheckVal: vGammaPtr is NULL",
    "Utl_WbSettingCheckVal: dwSize is zero",
    "Utl_WbSettingCheckVal: dwSize(0x%lx) is Q317type",
    "Utl_WbSettingCheckVal: dwSize(0x%lx) is Q529type",
    "Utl_GammaLutByteSwap: unknown param. modelID(0x%lx) size(0x%lx)"};

const GenerationRule kJpgQuality = {
    0,
    Models::kNone,
    sizeof(dsJPEG_QUALITY),
    Models::kOnly402,
    DBG_VALUE,
    "Utl_JpgQualityCheckVal: vJpegQualityPtr is NULL",
    "Utl_JpgQualityCheckVal: dwSize is zero",
    nullptr,
    "Utl_JpgQualityCheckVal: dwSize(0x%lx) is Q529type",
    "Utl_JpgQualityCheckVal: unknown param. modelID(0x%lx) size(0x%lx)"};

const GenerationRule kColorMatrix = {
    0,
    Models::kNone,
    sizeof(dsUSER_COLOR_MATRIX),
    Models::kOnly402,
    DBG_VALUE,
    "Utl_ColorMatrixCheckVal: vMatrixPtr is NULL",
    "Utl_ColorMatrixCheckVal: dwSize is zero",
    nullptr,
    "Utl_ColorMatrixCheckVal: dwSize(0x%lx) is Q529type",
    "Utl_ColorMatrixCheckVal: unknown param. modelID(0x%lx) size(0x%lx)"};

const GenerationRule kWbShift = {0,
                                 Models::kNone,
                                 sizeof(dsWHITE_BALANCE_SHIFT),
                                 Models::k402Or611,
                                 DBG_VALUE,
                                 "Utl_WbShiftCheckVal: vWbShiftPtr is NULL",
                                 "Utl_WbShiftCheckVal: dwSize is zero",
                                 nullptr,
                                 "Utl_WbShiftCheckVal: dwSize(0x%lx) is Q529type",
                                 "Utl_WbShiftCheckVal: unknown param. modelID(0x%lx) size(0x%lx)"};

struct Generation {
    bool refused;  // no record, or no size: nothing may be read
    DWORD result;  // 0 for a known layout, else 0x02000060
};

Generation classify(const GenerationRule& rule, DWORD model, DWORD dwSize, const void* record)
{
    if (record == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", rule.nullText);
        return {true, vkRNERROR_INVALID_PARAMETER};
    }
    if (dwSize == 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", rule.zeroText);
        return {true, vkRNERROR_INVALID_PARAMETER};
    }
    const char* trace = nullptr;
    if (dwSize == rule.q317Size && modelIn(rule.q317Models, model)) {
        trace = rule.q317Text;
    } else if (dwSize == rule.q529Size && modelIn(rule.q529Models, model)) {
        trace = rule.q529Text;
    }
    if (trace != nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, rule.traceLevel, trace, static_cast<unsigned long>(dwSize));
        return {false, vkRN_OK};
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, rule.unknownText, static_cast<unsigned long>(model),
               static_cast<unsigned long>(dwSize));
    return {false, vkRNERROR_INVALID_PARAMETER};
}

bool rangeChecksOn() { return (Dbg_GetLogLevel() & DBGFLAG_RECORD_RANGE_CHECKS) != 0; }

// One field against its range; `hex` chooses how its message prints it.
struct FieldRange {
    bool checked;
    long long value;
    long long low;
    long long high;
    const char* text;
    bool hex;
};

// Checks every field and logs each one out of range.
DWORD checkEveryField(const FieldRange* fields, std::size_t count)
{
    DWORD result = vkRN_OK;
    for (std::size_t i = 0; i < count; ++i) {
        const FieldRange& field = fields[i];
        if (!field.checked || (field.value >= field.low && field.value <= field.high)) continue;
        if (field.hex) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, field.text,
                       static_cast<unsigned long>(field.value));
        } else {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, field.text, static_cast<int>(field.value));
        }
        result = vkRNERROR_INVALID_PARAMETER;
    }
    return result;
}

DWORD firstWord(const void* record)
{
    DWORD value = 0;
    std::memcpy(&value, record, sizeof(value));
    return value;
}

}  // namespace

DWORD Dslr1394Object::Utl_DevParamCheckVal(DWORD dwSize, const void* record, BOOL checkValues)
{
    const Generation generation = classify(kDevParam, m_dwModelID, dwSize, record);
    if (generation.refused || !rangeChecksOn()) return generation.result;
    // A record too short for its index has no index to check; the size
    // already failed the generation rule.
    if (dwSize >= sizeof(DWORD) && firstWord(record) > 3) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "Utl_DevParamCheckVal: dwIndex(0x%lx) Out of Range",
                   static_cast<unsigned long>(firstWord(record)));
        return vkRNERROR_INVALID_PARAMETER;
    }
    if (generation.result != vkRN_OK || !checkValues) return generation.result;
    dsDEVELOP_PARAM p = {};
    std::memcpy(&p, record, dwSize);  // 28 or 32 bytes, as classified
    const bool served = m_dwModelID == DSLR_MODEL_ID_Q402;
    const FieldRange fields[] = {
        {true, p.dwIndex, 1, 3, "Utl_DevParamCheckVal: dwIndex(0x%lx) Out of Range", true},
        {true, p.dwBValid, 0, 1, "Utl_DevParamCheckVal: dwBValid(%d) Out of Range", false},
        {!served, p.dwGammaLookupTable, 0, 3,
         "Utl_DevParamCheckVal: dwGammaLookupTable(%d) Out of Range", false},
        {true, p.dwEdgeLevel, 0, 5, "Utl_DevParamCheckVal: dwEdgeLevel(%d) Out of Range", false},
        {true, p.dwEdgeFrequency, 1, 5, "Utl_DevParamCheckVal: dwEdgeFrequency(%d) Out of Range",
         false},
        {!served, p.dwNormalQuality, 1, 5, "Utl_DevParamCheckVal: dwNormalQuality(%d) Out of Range",
         false},
        {!served, p.dwFineQuality, 6, 10, "Utl_DevParamCheckVal: dwFineQuality(%d) Out of Range",
         false},
        {served && dwSize == sizeof(dsDEVELOP_PARAM), p.lContrast, -2, 2,
         "Utl_DevParamCheckVal: lContrast(%d) Out of Range", false},
    };
    return checkEveryField(fields, std::size(fields));
}

DWORD Dslr1394Object::Utl_GammaLutCheckVal(DWORD dwSize, const void* record, BOOL)
{
    const Generation generation = classify(kGammaLut, m_dwModelID, dwSize, record);
    if (generation.refused || !rangeChecksOn() || generation.result != vkRN_OK)
        return generation.result;
    const DWORD index = firstWord(record);
    if (index < 1 || index > 3) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "baseSetGammaLookupTable: dwIndex(0x%lx) Out of Range",
                   static_cast<unsigned long>(index));
        return vkRNERROR_INVALID_PARAMETER;
    }
    return vkRN_OK;
}

DWORD Dslr1394Object::Utl_WbSettingCheckVal(DWORD dwSize, const void* record, BOOL)
{
    const Generation generation = classify(kWbSetting, m_dwModelID, dwSize, record);
    if (generation.refused || !rangeChecksOn() || generation.result != vkRN_OK)
        return generation.result;
    const DWORD setting = firstWord(record);
    if (setting < 1 || setting > 3) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "Utl_WbSettingCheckVal: dwWhiteBalanceSetting(0x%lx) Out of Range",
                   static_cast<unsigned long>(setting));
        return vkRNERROR_INVALID_PARAMETER;
    }
    const auto* caption =
        static_cast<const BYTE*>(record) + offsetof(dsWHITE_BALANCE_PARAMETERS, cCaption);
    if (std::memchr(caption, 0, sizeof(dsWHITE_BALANCE_PARAMETERS::cCaption)) == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "Utl_WbSettingCheckVal: cCaption is not NULL terminate");
        return vkRNERROR_INVALID_PARAMETER;
    }
    return vkRN_OK;
}

DWORD Dslr1394Object::Utl_JpgQualityCheckVal(DWORD dwSize, const void* record, BOOL checkValues)
{
    const Generation generation = classify(kJpgQuality, m_dwModelID, dwSize, record);
    if (generation.refused || !rangeChecksOn() || generation.result != vkRN_OK || !checkValues)
        return generation.result;
    dsJPEG_QUALITY q = {};
    std::memcpy(&q, record, sizeof(q));
    const FieldRange fields[] = {
        {true, q.nLargeJpegQuality, 1, 10,
         "Utl_WbSettingCheckVal: nLargeJpegQuality(0x%lx) Out of Range", true},
        {true, q.nMiddle1JpegQuality, 1, 10,
         "Utl_WbSettingCheckVal: nMiddle1JpegQuality(0x%lx) Out of Range", true},
        {true, q.nMiddle2JpegQuality, 1, 10,
         "Utl_WbSettingCheckVal: nMiddle2JpegQuality(0x%lx) Out of Range", true},
        {true, q.nSmallJpegQuality, 1, 10,
         "Utl_WbSettingCheckVal: nSmallJpegQuality(0x%lx) Out of Range", true},
    };
    return checkEveryField(fields, std::size(fields));
}

DWORD Dslr1394Object::Utl_ColorMatrixCheckVal(DWORD dwSize, const void* record, BOOL checkValues)
{
    const Generation generation = classify(kColorMatrix, m_dwModelID, dwSize, record);
    if (generation.refused || !rangeChecksOn() || generation.result != vkRN_OK || !checkValues)
        return generation.result;
    const FieldRange index = {
        true, firstWord(record), 1, 7, "Utl_ColorMatrixCheckVal: dwIndex(0x%lx) Out of Range",
        true};
    return checkEveryField(&index, 1);
}

DWORD Dslr1394Object::Utl_WbShiftCheckVal(DWORD dwSize, const void* record, BOOL)
{
    return classify(kWbShift, m_dwModelID, dwSize, record).result;
}

namespace {

// The nine values of personal function 25, in the record's order, each with
// the values the camera accepts.
struct PersonalFunctionWord {
    std::size_t offset;
    const char* text;
    bool (*accepts)(WORD value);
};

bool oneOf(WORD value, std::initializer_list<WORD> accepted)
{
    for (WORD one : accepted) {
        if (value == one) return true;
    }
    return false;
}

const PersonalFunctionWord kFunction25[] = {
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_AEmode),
     "PFn_25_Value_AEmode(0x%x) OutOfRange in baseSetFunctionSetting()",
     [](WORD v) {
         return oneOf(v & 0x00FC, {0x80, 0x40, 0x20, 0x10, 0x08, 0x04});
     }},
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_Metering),
     "PFn_25_Value_Metering(0x%x) OutOfRange in baseSetPersonalFunctionSetting()",
     [](WORD v) {
         return oneOf(v & 0x00F0, {0x80, 0x40, 0x20, 0x10});
     }},
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_Shutter),
     "PFn_25_Value_Shutter(0x%x) OutOfRange in baseSetPersonalFunctionSetting()",
     [](WORD v) {
         return oneOf(v & 0x001F, {0x10, 0x08, 0x04, 0x02, 0x01});
     }},
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_AFmode),
     "PFn_25_Value_AFmode(0x%x) OutOfRange in baseSetPersonalFunctionSetting()",
     [](WORD v) {
         return oneOf(v & 0x0006, {0x04, 0x02});
     }},
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_AFframe),
     "PFn_25_Value_AFframe(0x%x) OutOfRange in baseSetPersonalFunctionSetting()",
     [](WORD v) {
         return oneOf(v, {0xFF, 0x4A});
     }},
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_Quality),
     "PFn_25_Value_Quality(0x%x) OutOfRange in baseSetPersonalFunctionSetting()",
     [](WORD v) { return v >= 1 && v <= 4; }},
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_WBmode),
     "PFn_25_Value_WBmode(0x%x) OutOfRange in baseSetPersonalFunctionSetting()",
     [](WORD v) { return v <= 12; }},
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_Develop),
     "PFn_25_Value_Develop(0x%x) OutOfRange in baseSetPersonalFunctionSetting()",
     [](WORD v) {
         return oneOf(v, {1, 2, 4, 8});
     }},
    {offsetof(dsPERSONAL_FUNCTION, PFn_25_Value),
     "PFn_25_Value(0x%x) OutOfRange in baseSetPersonalFunctionSetting()",
     [](WORD v) { return v >= 1 && v <= 5; }},
};

}  // namespace

// Not gated by the debug flag word: the set operation always checks the
// values of personal function 25.
DWORD Dslr1394Object::Utl_PFnCheck(DWORD dwSize, const void* record, BOOL checkValues)
{
    DWORD result = vkRN_OK;
    if (dwSize != sizeof(dsPERSONAL_FUNCTION)) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "different param size(0x%lx) in Utl_PFnCheck()",
                   static_cast<unsigned long>(dwSize));
        result = vkRNERROR_INVALID_PARAMETER;
    } else if (record == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "vPFnPtr is NULL in Utl_PFnCheck()");
        result = vkRNERROR_INVALID_PARAMETER;
    }
    if (!checkValues || result != vkRN_OK) return result;
    for (const PersonalFunctionWord& word : kFunction25) {
        WORD value = 0;
        std::memcpy(&value, static_cast<const BYTE*>(record) + word.offset, sizeof(value));
        if (!word.accepts(value)) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, word.text, static_cast<unsigned>(value));
            return vkRNERROR_INVALID_PARAMETER;
        }
    }
    return vkRN_OK;
}
