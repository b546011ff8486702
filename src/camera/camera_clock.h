// The camera's clock counts local wall-clock time as if it were UTC; the
// application counts seconds since 1970-01-01 00:00 UTC. The conversions use
// the C runtime's time-zone data, as set by TZ.
#pragma once

#include "platform/win32_types.h"

// The C runtime's time-zone offset (seconds west of UTC, daylight saving not
// included), its data read afresh.
long Clock_ZoneOffset();

// The application's time for a camera count: the count broken down as UTC
// and read back as local time, daylight saving taken from the date. False
// when the runtime cannot convert it.
bool Clock_CameraToUtc(DWORD cameraSeconds, DWORD* utcSeconds);

// The camera's count for an application time: the zone's standard offset
// added, whatever the date (so a summer time reads back an hour earlier).
DWORD Clock_UtcToCamera(DWORD utcSeconds);
