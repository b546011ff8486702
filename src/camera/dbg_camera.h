// Canned camera answers, used instead of the camera while debug bit 22 of the
// flag word asks for them, so that the library can run without a camera. The
// object keeps only the user colour matrices that were set through it.
#pragma once

#include "platform/win32_types.h"

class DbgCamera {
public:
    DbgCamera();

    DWORD Dbg_getRemoteAPIVersion(DWORD* version);
    DWORD Dbg_getBatteryStatus(DWORD* status);
    // The last character of the port name as a digit (0 for anything else).
    DWORD Dbg_getBodyID(const char* portName, DWORD* bodyID);
    DWORD Dbg_getOwnerName(char* ownerName);        // 32 bytes
    DWORD Dbg_getCameraTime(DWORD* timeRecord);     // 12 bytes
    DWORD Dbg_getFunctionInfo(void* functionInfo);  // 1,056 bytes
    // One volume: the count word and one packed volume entry (19 bytes).
    DWORD Dbg_getVols(void* volInfo, WORD* numEntries);
    DWORD Dbg_resetTransfer();
    DWORD Dbg_setUserColorMatrix(const void* matrix);  // 16 bytes
    DWORD Dbg_getUserColorMatrix(void* matrix);        // 16 bytes
    DWORD Dbg_noOperation();

private:
    DWORD m_dwLastMode;
    LONG m_matrixRows[7][3];  // modes 1 to 7
};
