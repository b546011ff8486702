#include "rapi/command_table.h"

namespace {

constexpr DWORD T = kDefaultRapiTimeout;
constexpr DWORD C = kRecordSizeOfCaller;

const RapiCommand kCommands[] = {
    {0x11100004, 0x21100004, 3, 4, T, "baseGetFileSize"},
    {0x11100005, 0x21100005, 4, 0, T, "baseSetFileAttribs"},
    {0x11100006, 0x21100006, 5, 0, T, "baseSetFileTimes"},
    {0x11100007, 0x21100007, 6, 0, T, "basecreateDir"},
    {0x11100008, 0x21100008, 6, 4, T, "baseCreateDCFDir"},
    {0x1110000A, 0x2110000A, 9, 0, T, "baseDeleteFiles"},
    {0x1110000D, 0x2110000D, 11, 8, T, "_rapiGetDriveFreeSpace"},
    {0x1110000F, 0, 17, 0, T, "baseDslrResetTransfer"},
    {0x11200001, 0x21200001, 0x80000001, 16, T, "baseGetFile"},
    {0x11200002, 0x21200002, 0x80000001, 16, T, "_TestDbgBenchMark"},
    {0x1120000B, 0x2120000B, 0x8000000A, 16, 180000, "baseGetDirs"},
    {0x1120000E, 0x2120000E, 0x8000000C, 16, T, "_rapiGetLogicalDriveStrings"},
    {0x11400003, 0x21400003, 0x40000002, 16, T, "basePutFile"},
    {0x12100001, 0x22100001, 101, 72, T, "_rapiGetCameraProperty"},
    {0x12100003, 0x22100003, 103, 12, T, "_rapiGetCameraTime"},
    {0x12100004, 0x22100004, 104, 0, T, "_rapiSetCameraTime"},
    {0x12100005, 0x22100005, 105, 32, T, "_rapiGetOwnerName"},
    {0x12100006, 0x22100006, 106, 0, T, "_rapiSetOwnerName"},
    {0x12100007, 0x22100007, 107, 15, T, "_rapiGetFileNamePrefix"},
    {0x12100008, 0x22100008, 108, 0, T, "_rapiSetFileNamePrefix"},
    {0x12100009, 0x22100009, 109, 0, T, "_rapiResetFileNamePrefix"},
    {0x1210000A, 0x2210000A, 110, 6, T, "_rapiGetDirNameSuffix"},
    {0x1210000B, 0x2210000B, 111, 0, T, "_rapiSetDirectoryNameSuffix"},
    {0x1210000C, 0x2210000C, 112, 0, T, "_rapiResetDirectoryNameSuffix"},
    {0x12100013, 0x22100013, 119, 4, T, "_rapiGetCurrentBatteryStatus"},
    {0x12100014, 0x22100014, 120, 4, 20000, "baseFormatVol"},
    {0x12100015, 0x22100015, 122, 0, T, "baseSetDevelopParamSetting"},
    {0x12100016, 0x22100016, 121, C, T, "baseGetDevelopParamSetting"},
    {0x12100017, 0x22100017, 124, 0, T, "baseSetGammaLookupTable"},
    {0x12100018, 0x22100018, 123, C, T, "baseGetGammaLookupTable"},
    {0x12100019, 0x22100019, 127, 4, T, "baseGetDirectWhiteBalanceSetting"},
    {0x1210001A, 0x2210001A, 128, 0, T, "baseSetDirectWhiteBalanceSetting"},
    {0x1210001B, 0x2210001B, 130, C, T, "baseGetWhiteBalanceParameters"},
    {0x1210001C, 0x2210001C, 130, 0, T, "baseSetWhiteBalanceParameters"},
    {0x1210001D, 0x2210001D, 135, 64, T, "baseGetCustomFunctionSetting"},
    {0x1210001E, 0x2210001E, 136, 0, T, "baseSetCustomFunctionSetting"},
    {0x1210001F, 0x2210001F, 135, C, T, "baseGetPersonalFunctionSetting"},
    {0x12100020, 0x22100020, 136, 0, T, "baseSetPersonalFunctionSetting"},
    {0x12100021, 0x22100021, 147, 0, T, "baseSetUILock"},
    {0x12100022, 0x22100022, 148, 0, T, "baseResetUILock"},
    {0x12100023, 0x22100023, 149, 4, T, "_rapiGetCameraBodyID"},
    {0x12100024, 0x22100024, 150, 1056, T, "_rapiGetCameraFunctionInfo"},
    {0x12100025, 0x22100025, 201, C, T, "baseReleaseControlEx"},
    {0x12100030, 0x22100030, 139, 4, T, "baseGetPersonalFunctionExSize"},
    {0x12100031, 0x22100031, 140, C, T, "baseGetPersonalFunctionEx"},
    {0x12100032, 0x22100032, 141, 0, T, "baseSetPersonalFunctionEx"},
    {0x12100033, 0x22100033, 125, C, T, "baseGetUserColorMatrix"},
    {0x12100034, 0x22100034, 126, 0, T, "baseSetUserColorMatrix"},
    {0x12100035, 0x22100035, 131, C, T, "baseGetWhilteBalanceShift"},
    {0x12100036, 0x22100036, 132, 0, T, "baseSetWhiteBalanceShift"},
    {0x12100037, 0x22100037, 125, C, T, "baseGetJpegQuality"},
    {0x12100038, 0x22100038, 133, 0, T, "baseSetJpegQuality"},
    {0x121000FE, 0x221000FE, 501, 0, T, "_NotifyControlStart"},
    {0x121000FF, 0x221000FF, 502, 0, T, "_NotifyControlTerminate"},
    {0x12200026, 0x22200026, 0x800000CA, 16, T, "baseReleaseControlGetReleasedData"},
    {0x13100001, 0, 101, 0, 1000, "_TestSetFirmUpdate"},
};

}  // namespace

const RapiCommand* Rapi_FindCommand(DWORD request)
{
    for (const RapiCommand& command : kCommands) {
        if (command.request == request) return &command;
    }
    return nullptr;
}

const RapiCommand* Rapi_Commands(std::size_t* count)
{
    if (count != nullptr) *count = sizeof(kCommands) / sizeof(kCommands[0]);
    return kCommands;
}
