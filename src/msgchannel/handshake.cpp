// The connection handshake: connect, device identification, and agreement
// on the largest data block. Each request and its reply are two separately
// locked transfers with a ten-second budget.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"

#include <cstring>

namespace {

constexpr DWORD kConnectTimeout = 10000;

constexpr DWORD MSG_CONNECT = 0x10000001;
constexpr DWORD MSG_GET_DEVICE_ID = 0x10000003;
constexpr DWORD MSG_GET_NEGOTIATION = 0x10000004;
constexpr DWORD MSG_SET_NEGOTIATION = 0x10000005;
// A reply's type is its request's with the request bit swapped for the reply bit.
constexpr DWORD replyTo(DWORD request) { return (request & ~0x10000000u) | 0x20000000u; }

DWORD word(const BYTE* bytes, int index)
{
    DWORD value;
    std::memcpy(&value, bytes + sizeof(DWORD) * static_cast<std::size_t>(index), sizeof(value));
    return value;
}

}  // namespace

DWORD ScsiScanManager::exchange(const char* name, DWORD requestType, const BYTE* request,
                                DWORD requestLength, BYTE* reply, DWORD replyLength)
{
    DWORD result = WriteSequence(requestType, request, requestLength, kConnectTimeout);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("%s: WriteSequence went wrong"), name);
        return result;
    }
    result = ReadSequence(replyTo(requestType), reply, replyLength, kConnectTimeout);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("%s: ReadSequence went wrong"), name);
    }
    return result;
}

DWORD ScsiScanManager::SendEndianTypeRequest()
{
    // The camera speaks the host's byte order; nothing is sent.
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("SendEndianTypeRequest->"),
                        SSCM_TEXT("SendEndianTypeRequest<-"));
    return vkRN_OK;
}

DWORD ScsiScanManager::SendDisConnectRequest()
{
    // The camera needs no goodbye; nothing is sent.
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("SendDisConnectRequest->"),
                        SSCM_TEXT("SendDisConnectRequest<-"));
    return vkRN_OK;
}

DWORD ScsiScanManager::SendConnectRequest()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("SendConnectRequest->"),
                        SSCM_TEXT("SendConnectRequest<-"));
    BYTE reply[8] = {};
    DWORD result = exchange("SendConnectRequest", MSG_CONNECT, nullptr, 0, reply, sizeof(reply));
    if (result != vkRN_OK) return result;
    const DWORD code = word(reply, 1);
    switch (code) {
        case 0:
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("ConnectResponceCode is SUCCESS"));
            return vkRN_OK;
        case 1:
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("ConnectResponceCode is ALREADY"));
            return vkRNERROR_PORT_IS_IN_USE;
        case 2:
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ConnectResponceCode is FAILED"));
            return vkRNERROR_CONNECT_REFUSED;
        case 3:
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ConnectResponceCode is WAIT"));
            return vkRNERROR_PORT_NOT_OPEN;
        default:
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ConnectResponceCode(0x%lx) is nothing"),
                       static_cast<unsigned long>(code));
            return vkRNERROR_PORT_NOT_OPEN;
    }
}

DWORD ScsiScanManager::SendGetDeviceIDDataRequest(DWORD* deviceIDData, DWORD* modelID)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("SendGetDeviceIDDataRequest->"),
                        SSCM_TEXT("SendGetDeviceIDDataRequest<-"));
    if (deviceIDData == nullptr || modelID == nullptr) return vkRNERROR_INVALID_PARAMETER;
    BYTE reply[16] = {};
    DWORD result =
        exchange("SendGetDeviceIDDataRequest", MSG_GET_DEVICE_ID, nullptr, 0, reply, sizeof(reply));
    if (result != vkRN_OK) return result;
    Dbg_Dump(DBG_TAG_SSCM, "deviceIDData", reply, sizeof(reply));
    *deviceIDData = word(reply, 1);
    if (*deviceIDData == 0) return vkRNERROR_NO_DEVICE_ID;
    *modelID = word(reply, 2);
    m_maxScsiDataSize = word(reply, 3);
    return vkRN_OK;
}

DWORD ScsiScanManager::SendGetNegotiationDataRequest(DWORD* record)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("SendGetNegotiationDataRequest->"),
                        SSCM_TEXT("SendGetNegotiationDataRequest<-"));
    BYTE reply[8] = {};
    DWORD result = exchange("SendGetNegotiationDataRequest", MSG_GET_NEGOTIATION, nullptr, 0, reply,
                            sizeof(reply));
    if (result != vkRN_OK) return result;
    if (word(reply, 0) != 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("SendGetNegotiationDataRequest: ErrorCode was returned from Device"));
        return vkRNERROR_NOT_SUPPORTED;
    }
    std::memcpy(record, reply, sizeof(reply));
    return vkRN_OK;
}

DWORD ScsiScanManager::SendSetNegotiationDataRequest(const DWORD* record)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("SendSetNegotiationDataRequest->"),
                        SSCM_TEXT("SendSetNegotiationDataRequest<-"));
    BYTE request[8];
    std::memcpy(request, record, sizeof(request));
    BYTE reply[8] = {};
    DWORD result = exchange("SendSetNegotiationDataRequest", MSG_SET_NEGOTIATION, request,
                            sizeof(request), reply, sizeof(reply));
    if (result != vkRN_OK) return result;
    if (word(reply, 0) != 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("SendSetNegotiationDataRequest: ErrorCode was returned from Device"));
        return vkRNERROR_NOT_SUPPORTED;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
               SSCM_TEXT("SendSetNegotiationDataRequest: dwMaxSizeScsiData is 0x%lx"),
               static_cast<unsigned long>(word(reply, 1)));
    return vkRN_OK;
}

// The block size is the camera's: it must say the same in its device-ID
// reply and its negotiation reply, and the host confirms it unchanged.
DWORD ScsiScanManager::NegotiationDevice()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("NegotiationDevice->"),
                        SSCM_TEXT("NegotiationDevice<-"));
    DWORD record[2] = {0, 0};
    DWORD result = SendGetNegotiationDataRequest(record);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("NegotiationDevice: SendGetNegotiationDataRequest went wrong"));
        return result;
    }
    if (m_maxScsiDataSize != record[1]) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("NegotiationDevice: m_maxScsiDataSize(0x%lx) differs from the gotten "
                             "maxSizeScsiData(0x%lx)"),
                   static_cast<unsigned long>(m_maxScsiDataSize),
                   static_cast<unsigned long>(record[1]));
        return vkRNERROR_TRANSFER_FAILED;
    }
    result = SendSetNegotiationDataRequest(record);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("NegotiationDevice: SendSetNegotiationDataRequest went wrong"));
        return result;
    }
    Dbg_Printf(
        DBG_TAG_SSCM, DBG_CHECK,
        SSCM_TEXT("NegotiationDevice: It was decided that m_maxScsiDataSize would be 0x%lx."),
        static_cast<unsigned long>(m_maxScsiDataSize));
    return vkRN_OK;
}

DWORD ScsiScanManager::ConnectCamera(DWORD* deviceIDData, DWORD* modelID, WORD* endianType)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("ConnectCamera->"), SSCM_TEXT("ConnectCamera<-"));
    if (m_portOpenCount == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ConnectCamera: The Port is not open"));
        return vkRNERROR_PORT_NOT_OPEN;
    }
    if (deviceIDData == nullptr || modelID == nullptr || endianType == nullptr) {
        return vkRNERROR_INVALID_PARAMETER;
    }
    DWORD result = SendEndianTypeRequest();
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ConnectCamera: SendEndianRequest went wrong"));
        return result;
    }
    *endianType = m_wEndianType;
    const DWORD connected = SendConnectRequest();
    if (connected != vkRN_OK && connected != vkRNERROR_PORT_IS_IN_USE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ConnectCamera: SendConnectRequest went wrong"));
        return connected;
    }
    if ((result = SendGetDeviceIDDataRequest(deviceIDData, modelID)) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ConnectCamera: SendGetDeviceIDDataRequest went wrong"));
        return result;
    }
    if ((result = NegotiationDevice()) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ConnectCamera: NegotiationDevice went wrong"));
        return result;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("ConnectCamera: The Device was connected"));
    return connected;
}

DWORD ScsiScanManager::DisConnectCamera()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("DisConnectCamera->"),
                        SSCM_TEXT("DisConnectCamera<-"));
    if (m_portOpenCount == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ConnectCamera: The Port is not open"));
        return vkRNERROR_PORT_NOT_OPEN;
    }
    if (m_portOpenCount > 1) return vkRNERROR_PORT_IS_IN_USE;  // another user still has the port
    CheckDeviceHandle();  // only Windows 98 learns anything; the disconnect goes ahead
    DWORD result = SendDisConnectRequest();
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("DisConnectCamera: SendDisConnectRequest went wrong"));
    } else {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("ConnectCamera: The Device was disconnected"));
    }
    return result;
}
