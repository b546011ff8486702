// The data channel's no-device report: what a transfer that met a lost
// device, or a stop of the event threads, does to the device object's own
// flag mapping.
#pragma once

struct NoDeviceReportTexts {
    const char* beforeMap;  // with the mapping handle; null when the caller logs none
    const char* noView;
    const char* beforeUnmap;
    const char* unmapped;
    const char* unmapFailed;
};
