// The message channel to the camera: the device handle, a named mutex shared
// by every process that talks to the same port, the overlapped event, and the
// shared no-device flag. The operations are declared in the order of the
// object's table; each family is implemented in its own file.
#pragma once

#include "memory/os_allocated.h"
#include "platform/scsiscan.h"
#include "platform/win32_types.h"

constexpr DWORD kPortNameSize = 260;

class ScsiScanManager : public OsAllocated {
public:
    ScsiScanManager();
    ScsiScanManager(const ScsiScanManager&) = delete;
    ScsiScanManager& operator=(const ScsiScanManager&) = delete;

    virtual DWORD ClosePort();                     // 7
    virtual DWORD OpenPort(const char* portName);  // 8
    virtual ~ScsiScanManager();                    // 9
    virtual DWORD WriteMapFile(DWORD value);       // 10
    virtual DWORD CheckDeviceHandle();             // 11
    virtual DWORD ReadMapFile();                   // 12
    virtual DWORD ScsiScanSequence(DWORD operation, BYTE* data, DWORD size,
                                   DWORD timeout);         // 13
    virtual DWORD WaitForOverlappedObject(DWORD timeout);  // 16
    virtual DWORD CheckDeviceIoControlResult();            // 17
    virtual DWORD WaitForMutexObject(DWORD timeout);       // 18
    virtual DWORD CreateScsiScanCommand(SCSISCAN_CMD* command, DWORD operation,
                                        DWORD length);                           // 19
    virtual DWORD Create12byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length);  // 20
    virtual DWORD Create10byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length);  // 21
    virtual DWORD Create6byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length);   // 22
    virtual DWORD SetTimeOut(DWORD seconds);                                     // 23
    virtual DWORD CreateoverlappedEventHandle();                                 // 31
    virtual DWORD CreateMapFileHandle();                                         // 32
    virtual DWORD CreateMutexHandle();                                           // 33
    virtual DWORD CreateMapFileHandleAttributes(SECURITY_ATTRIBUTES* attributes,
                                                SECURITY_DESCRIPTOR* descriptor);  // 34
    virtual DWORD CreateMutexHandleAttributes(SECURITY_ATTRIBUTES* attributes,
                                              SECURITY_DESCRIPTOR* descriptor);  // 35
    virtual DWORD CreateMapFileObjectName(char* name);                           // 36
    virtual DWORD CreateMutexObjectName(char* name);                             // 37
    virtual DWORD CreateDeviceHandle();                                          // 38

    DWORD m_portOpenCount;
    WORD m_wTransferID;
    OSVERSIONINFOA m_osVersionInfo;
    WORD m_wEndianType;
    DWORD m_maxScsiDataSize;
    HANDLE m_hMapFile;
    HANDLE m_hOverlappedEvent;
    HANDLE m_hAccessMutex;
    HANDLE m_hDevice;
    char m_portName[kPortNameSize];

private:
    bool isNT() const;
    bool isWindows98() const;
    bool isWindowsMe() const;
    // Runs one command of a sequence: builds its block, hands it to the
    // driver, waits, and reads how many bytes it moved. A command that
    // outlives its wait is cancelled and awaited before its block and
    // OVERLAPPED record go out of scope.
    DWORD runCommand(DWORD operation, BYTE* position, DWORD length, DWORD timeout,
                     DWORD& transferred);
    // Builds the world-SID descriptor shared by the two attribute operations;
    // denyWriteAccess adds the entry that keeps other processes from changing
    // the object's security.
    void fillWorldAttributes(SECURITY_ATTRIBUTES* attributes, SECURITY_DESCRIPTOR* descriptor,
                             bool denyWriteAccess, BOOL inheritOnNT);
    // Writes prefix + the port's base name into a 260-byte name buffer.
    DWORD makeObjectName(char* name, const char* prefix);
    void closeAndInvalidate(HANDLE& handle);
    // Opens m_portName the way the still-image driver expects: read/write,
    // exclusive, overlapped.
    HANDLE openDevicePath() const;
};

// Process-wide, as the driver reports into them: the SRB status of the last
// command and the auto-sense buffer of REQUEST SENSE.
extern BYTE g_bySrbStatus;
extern BYTE g_senseData[21];

// Releases the access-control list a descriptor built by the attribute
// operations refers to, once the object it protected has been created.
void ReleaseWorldDescriptor(SECURITY_DESCRIPTOR* descriptor);
