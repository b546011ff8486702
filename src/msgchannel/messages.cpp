// Whole messages over the channel: one SCSI transfer each, under the port's
// access mutex and between two checks of the shared no-device flag.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "memory/message_buffer.h"
#include "memory/sense_message.h"
#include "platform/platform_api.h"

#include <cstring>

namespace {

constexpr DWORD kMessageMutexTimeout = 30000;
constexpr DWORD kSenseMutexTimeout = 60000;  // waited for as long as it takes
constexpr DWORD kSenseTimeoutSeconds = 10;
constexpr DWORD kDefaultTimeoutSeconds = 60;
constexpr DWORD kFactoryTimeoutSeconds = 600;

}  // namespace

// The flag is read before the wait, so that a stopped channel fails at once,
// and again after it, so that a stop during the wait is honoured.
DWORD ScsiScanManager::lockedTransfer(const char* name, DWORD operation, BYTE* data, DWORD length,
                                      DWORD mutexTimeout, DWORD timeout)
{
    if (m_portOpenCount == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("%s: The Port is not open"), name);
        return vkRNERROR_PORT_NOT_OPEN;
    }
    if (data == nullptr) return vkRNERROR_INVALID_PARAMETER;
    if (ReadMapFile() == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("%s: ReadMapFile went wrong"), name);
        return vkRNERROR_DEVICE_NOT_AVAILABLE;
    }
    DWORD result = WaitForMutexObject(mutexTimeout);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("%s: WaitForMutexObjet went wrong"), name);
        return result;
    }
    if (ReadMapFile() == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("%s: ReadMapFile went wrong"), name);
        result = vkRNERROR_DEVICE_NOT_AVAILABLE;
    } else {
        result = ScsiScanSequence(operation, data, length, timeout);
        if (result != vkRN_OK) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("%s: ScsiScanSequence went wrong"), name);
        } else {
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("%s: ScsiScanSequence was successful"),
                       name);
        }
    }
    if (!os::ReleaseMutex(m_hAccessMutex)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("%s: ReleaseMutex went wrong"), name);
        return vkRNERROR_TRANSFER_FAILED;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("%s: ReleaseMutex is successful"), name);
    os::Sleep(0);  // let a waiting thread or process have the channel
    return result;
}

DWORD ScsiScanManager::WriteMessage(MessageBuffer* message, DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("WriteMessage->"), SSCM_TEXT("WriteMessage<-"));
    CheckDeviceHandle();  // only Windows 98 learns anything; the message goes out either way
    if (message == nullptr) return vkRNERROR_INVALID_PARAMETER;
    return lockedTransfer("WriteMessage", SCSIOP_WRITE10, message->GetBufferPointer(),
                          message->GetBufferSize(), kMessageMutexTimeout, timeout);
}

DWORD ScsiScanManager::ReadMessage(MessageBuffer* message, DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("ReadMessage->"), SSCM_TEXT("ReadMessage<-"));
    if (message == nullptr) return vkRNERROR_INVALID_PARAMETER;
    return ReadInto(message->GetBufferPointer(), message->GetBufferSize(), timeout);
}

DWORD ScsiScanManager::ReadInto(BYTE* data, DWORD length, DWORD timeout)
{
    return lockedTransfer("ReadMessage", SCSIOP_READ10, data, length, kMessageMutexTimeout,
                          timeout);
}

DWORD ScsiScanManager::ReadRequestSense(SenseMessage* sense)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("ReadRequestSense->"),
                        SSCM_TEXT("ReadRequestSense<-"));
    if (m_portOpenCount == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ReadRequestSense: The Port is not open"));
        return vkRNERROR_PORT_NOT_OPEN;
    }
    if (sense == nullptr || sense->GetBufferPointer() == nullptr)
        return vkRNERROR_INVALID_PARAMETER;
    if (ReadMapFile() == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ReadRequestSense: ReadMapFile went wrong"));
        return vkRNERROR_DEVICE_NOT_AVAILABLE;
    }
    DWORD result = WaitForMutexObject(kSenseMutexTimeout);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ReadRequestSense: WaitForMutexObjet went wrong"));
        return result;
    }
    if (ReadMapFile() == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ReadRequestSense: ReadMapFile went wrong"));
        result = vkRNERROR_DEVICE_NOT_AVAILABLE;
    } else if ((result = SetTimeOut(kSenseTimeoutSeconds)) != vkRN_OK) {
        Dbg_Printf(
            DBG_TAG_SSCM, DBG_ERROR,
            SSCM_TEXT("ReadRequestSense: SetTimeOut(SCSISCAN_TIMEOUT_SENSE_MODE) went wrong"));
    } else {
        result = ScsiScanSequence(SCSIOP_REQUEST_SENSE, sense->GetBufferPointer(),
                                  sense->GetBufferSize(), 10000);
        if (result != vkRN_OK) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       SSCM_TEXT("ReadRequestSense: ScsiScanSequence went wrong"));
        } else {
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                       SSCM_TEXT("ReadRequestSense: ScsiScanSequence was successful"));
        }
        DWORD restored = SetTimeOut(kDefaultTimeoutSeconds);
        if (restored != vkRN_OK) {
            Dbg_Printf(
                DBG_TAG_SSCM, DBG_ERROR,
                SSCM_TEXT(
                    "ReadRequestSense: SetTimeOut(SCSISCAN_TIMEOUT_DEFAULT_MODE) went wrong"));
            result = restored;
        }
    }
    if (!os::ReleaseMutex(m_hAccessMutex)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ReadRequestSense: ReleaseMutex went wrong"));
        return vkRNERROR_TRANSFER_FAILED;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("ReadRequestSense: ReleaseMutex is successful"));
    return result;
}

// The factory messages run with the driver's long time-out, set and
// restored around the message outside the mutex.
DWORD ScsiScanManager::factoryTransfer(const char* name, const char* transferName,
                                       DWORD (ScsiScanManager::*transfer)(MessageBuffer*, DWORD),
                                       MessageBuffer* message, DWORD timeout)
{
    DWORD result = SetTimeOut(kFactoryTimeoutSeconds);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("%s: SetTimeOut(SCSISCAN_TIMEOUT_FAPI_MODE) went wrong"), name);
        return result;
    }
    result = (this->*transfer)(message, timeout);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "\t%s: %s() went wrong", name, transferName);
    } else {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "\t%s: %s() was successful", name, transferName);
    }
    DWORD restored = SetTimeOut(kDefaultTimeoutSeconds);
    if (restored != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("%s: SetTimeOut(SCSISCAN_TIMEOUT_DEFAULT_MODE) went wrong"), name);
        return restored;
    }
    return result;
}

DWORD ScsiScanManager::FactoryWriteMessage(MessageBuffer* message, DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, "\t\tFactoryWriteMessage->",
                        SSCM_TEXT("FactoryWriteMessage<-"));
    return factoryTransfer("FactoryWriteMessage", "WriteMessage", &ScsiScanManager::WriteMessage,
                           message, timeout);
}

DWORD ScsiScanManager::FactoryReadMessage(MessageBuffer* message, DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, "\t\tFactoryReadMessage->",
                        SSCM_TEXT("FactoryReadMessage<-"));
    return factoryTransfer("FactoryReadMessage", "ReadMessage", &ScsiScanManager::ReadMessage,
                           message, timeout);
}

DWORD ScsiScanManager::WriteSequence(DWORD messageType, const BYTE* data, DWORD length,
                                     DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("WriteSequence->"), SSCM_TEXT("WriteSequence<-"));
    MessageBuffer* message = new MessageBuffer;
    if (message == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("WriteSequence: transferMessage was be able to created a instance"));
        return vkRNERROR_OUT_OF_MEMORY;
    }
    DWORD result = message->CreateTransferMessage(messageType, data, length);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("WriteSequence: CreateTransferMessage went wrong"));
    } else if ((result = WriteMessage(message, timeout)) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("WriteSequence: WriteMessage went wrong"));
    } else if ((result = message->FreeBufferMemory()) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("WriteSequence: FreeBufferMemory went wrong"));
    } else {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("WriteSequence: It succeeded in transmission of a message."));
    }
    delete message;
    return result;
}

DWORD ScsiScanManager::ReadSequence(DWORD messageType, BYTE* buffer, DWORD length, DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("ReadSequence->"), SSCM_TEXT("ReadSequence<-"));
    if (buffer == nullptr && length != 0) return vkRNERROR_INVALID_PARAMETER;
    MessageBuffer* message = new MessageBuffer;
    if (message == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ReadSequence: recivedMessage was be able to created a instance"));
        return vkRNERROR_OUT_OF_MEMORY;
    }
    DWORD result = message->CreateRecivedMessageBuffer(length);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ReadSequence: CreateRecivedMessageBuffer went wrong"));
    } else if ((result = ReadMessage(message, timeout)) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ReadSequence: ReadMessage went wrong"));
    } else if ((result = message->CheckRecivedMessage(messageType, length)) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ReadSequence: CheckRecivedMessage went wrong"));
    } else {
        if (length != 0) std::memcpy(buffer, message->GetDataPointer(), length);
        if ((result = message->FreeBufferMemory()) != vkRN_OK) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       SSCM_TEXT("ReadSequence: FreeBufferMemory went wrong"));
        } else {
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                       SSCM_TEXT("ReadSequence: It succeeded in reception  of a message."));
        }
    }
    delete message;
    return result;
}
