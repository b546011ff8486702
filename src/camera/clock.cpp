// Clock conversions between the application's UTC count and the camera's
// local count.
//
// The camera's count is its wall clock, and a wall clock in summer shows
// summer time. Reading breaks the count down as UTC and lets mktime decide
// daylight saving from the date itself. Writing subtracts the zone's standard
// offset only, with no daylight-saving correction. The two do not mirror each
// other: a time written in summer reads back one hour earlier. Host programs
// know the interface this way and may rely on it, so both sides stay as they
// are.

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
    Clock_ZoneOffset();    // mktime reads the zone as it is now
    fields.tm_isdst = -1;  // gmtime says "no daylight saving"; let the date decide
    const std::time_t utc = std::mktime(&fields);
    if (utc == static_cast<std::time_t>(-1)) return false;  // not a time of this zone
    *utcSeconds = static_cast<DWORD>(utc);
    return true;
}

DWORD Clock_UtcToCamera(DWORD utcSeconds)
{
    return static_cast<DWORD>(static_cast<long long>(utcSeconds) - Clock_ZoneOffset());
}
