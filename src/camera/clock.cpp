// Clock conversions between the application's UTC count and the camera's
// local count.
//
// Writing subtracts the zone's standard offset; reading breaks the camera's
// count down as UTC and lets mktime read those fields as local standard time
// (the broken-down time says daylight saving is not in effect), which adds
// the same offset back. A value written is therefore read back unchanged on
// either side of a daylight-saving change-over, and the camera keeps standard
// time all year.

#include "camera/camera_clock.h"

#include <ctime>

long Clock_ZoneOffset()
{
#ifdef _WIN32
    _tzset();
    return _timezone;
#else
    tzset();
    return timezone;
#endif
}

bool Clock_CameraToUtc(DWORD cameraSeconds, DWORD* utcSeconds)
{
    const std::time_t camera = static_cast<std::time_t>(cameraSeconds);
    std::tm fields = {};
#ifdef _WIN32
    const std::tm* broken = std::gmtime(&camera);  // thread-local in the Windows runtime
    if (broken == nullptr) return false;
    fields = *broken;
#else
    if (gmtime_r(&camera, &fields) == nullptr) return false;
#endif
    Clock_ZoneOffset();  // mktime reads the zone as it is now
    const std::time_t utc = std::mktime(&fields);
    if (utc == static_cast<std::time_t>(-1)) return false;  // not a time of this zone
    *utcSeconds = static_cast<DWORD>(utc);
    return true;
}

DWORD Clock_UtcToCamera(DWORD utcSeconds)
{
    return static_cast<DWORD>(static_cast<long long>(utcSeconds) - Clock_ZoneOffset());
}
