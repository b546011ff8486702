// The message channel to the camera: the device handle, a named mutex shared
// by every process that talks to the same port, the overlapped event, and the
// shared no-device flag. The operations are declared in the order of the
// object's table; each family is implemented in its own file.
#pragma once

#include "memory/os_allocated.h"
#include "platform/scsiscan.h"
#include "platform/win32_types.h"

constexpr DWORD kPortNameSize = 260;

class MemoryBuffer;
class MessageBuffer;
class SenseMessage;

class ScsiScanManager : public OsAllocated {
public:
    ScsiScanManager();
    ScsiScanManager(const ScsiScanManager&) = delete;
    ScsiScanManager& operator=(const ScsiScanManager&) = delete;

    // The operations in the order of the object's table.
    virtual DWORD FactoryReadMessage(MessageBuffer* message, DWORD timeout);
    virtual DWORD FactoryWriteMessage(MessageBuffer* message, DWORD timeout);
    virtual DWORD ReadRequestSense(SenseMessage* sense);
    virtual DWORD ReadMessage(MessageBuffer* message, DWORD timeout);
    virtual DWORD WriteMessage(MessageBuffer* message, DWORD timeout);
    virtual DWORD DisConnectCamera();
    virtual DWORD ConnectCamera(DWORD* deviceIDData, DWORD* modelID, WORD* endianType);
    virtual DWORD ClosePort();
    virtual DWORD OpenPort(const char* portName);
    virtual ~ScsiScanManager();
    virtual DWORD WriteMapFile(DWORD value);
    virtual DWORD CheckDeviceHandle();
    // ReadMessage straight into the caller's memory, with no buffer of its
    // own: a read as long as the camera announced is not held twice.
    DWORD ReadInto(BYTE* data, DWORD length, DWORD timeout);
    virtual DWORD ReadMapFile();
    virtual DWORD ScsiScanSequence(DWORD operation, BYTE* data, DWORD size, DWORD timeout);
    virtual DWORD ReadSequence(DWORD messageType, BYTE* buffer, DWORD length, DWORD timeout);
    virtual DWORD WriteSequence(DWORD messageType, const BYTE* data, DWORD length, DWORD timeout);
    virtual DWORD WaitForOverlappedObject(DWORD timeout);
    virtual DWORD CheckDeviceIoControlResult();
    virtual DWORD WaitForMutexObject(DWORD timeout);
    virtual DWORD CreateScsiScanCommand(SCSISCAN_CMD* command, DWORD operation, DWORD length);
    virtual DWORD Create12byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length);
    virtual DWORD Create10byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length);
    virtual DWORD Create6byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length);
    virtual DWORD SetTimeOut(DWORD seconds);
    virtual DWORD NegotiationDevice();
    virtual DWORD SendSetNegotiationDataRequest(const DWORD* record);
    virtual DWORD SendGetNegotiationDataRequest(DWORD* record);
    virtual DWORD SendGetDeviceIDDataRequest(DWORD* deviceIDData, DWORD* modelID);
    virtual DWORD SendDisConnectRequest();
    virtual DWORD SendConnectRequest();
    virtual DWORD SendEndianTypeRequest();
    virtual DWORD CreateoverlappedEventHandle();
    virtual DWORD CreateMapFileHandle();
    virtual DWORD CreateMutexHandle();
    virtual DWORD CreateMapFileHandleAttributes(SECURITY_ATTRIBUTES* attributes,
                                                SECURITY_DESCRIPTOR* descriptor);
    virtual DWORD CreateMutexHandleAttributes(SECURITY_ATTRIBUTES* attributes,
                                              SECURITY_DESCRIPTOR* descriptor);
    virtual DWORD CreateMapFileObjectName(char* name);
    virtual DWORD CreateMutexObjectName(char* name);
    virtual DWORD CreateDeviceHandle();

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
    // One SCSI transfer of a whole buffer under the access mutex, between two
    // checks of the no-device flag; `name` begins the log texts.
    DWORD lockedTransfer(const char* name, DWORD operation, BYTE* data, DWORD length,
                         DWORD mutexTimeout, DWORD timeout);
    // A factory message: `transfer` under the driver's long time-out.
    DWORD factoryTransfer(const char* name, const char* transferName,
                          DWORD (ScsiScanManager::*transfer)(MessageBuffer*, DWORD),
                          MessageBuffer* message, DWORD timeout);
    // A request and its reply of exactly replyLength data bytes.
    DWORD exchange(const char* name, DWORD requestType, const BYTE* request, DWORD requestLength,
                   BYTE* reply, DWORD replyLength);
    // Opens m_portName the way the still-image driver expects: read/write,
    // exclusive, overlapped.
    HANDLE openDevicePath() const;
};

// Process-wide, as the driver reports into them: the SRB status of the last
// command and the auto-sense buffer of REQUEST SENSE.
extern BYTE g_bySrbStatus;
extern BYTE g_senseData[21];

// A descriptor whose list lets everyone use an object (GENERIC_ALL) and,
// with `denyWriteAccess`, denies everyone WRITE_DAC and WRITE_OWNER. False,
// with nothing left allocated, when any step fails.
bool BuildWorldDescriptor(SECURITY_DESCRIPTOR* descriptor, bool denyWriteAccess);
// Releases the access-control list a descriptor built here refers to, once
// the object it protected has been created.
void ReleaseWorldDescriptor(SECURITY_DESCRIPTOR* descriptor);
