// Remote API requests and replies, the frame they travel in, and the
// exchange functions of the device object's transport.
#pragma once

#include "platform/win32_types.h"

class Dslr1394Object;

// Request header; the parameter record follows at offset 16.
struct RAPI_REQ {
    DWORD dwKind;
    DWORD dwMessageID;
    DWORD dwMsgSize;
    DWORD dwRefConst;
};

// Reply header; the reply record follows at offset 20.
struct RAPI_HED {
    DWORD dwKind;
    DWORD dwMessageID;
    DWORD dwMsgSize;
    DWORD dwRefConst;
    DWORD dwErrorCode;
};

constexpr DWORD kRapiRequestHeader = sizeof(RAPI_REQ);  // 16
constexpr DWORD kRapiReplyHeader = sizeof(RAPI_HED);    // 20
constexpr DWORD kRapiKindCommand = 2;
constexpr DWORD kRapiKindTest = 1;
constexpr DWORD kDs1394Message = 0x10000010;  // frame type of requests and data blocks
constexpr DWORD kFrameHeader = 8;
constexpr DWORD kDataFromCamera = 0x00200000;  // command-code bit: data follows the reply
constexpr DWORD kReplyBit = 0x10000000;        // reply code = request code + this
constexpr DWORD kNoReplyTransport = 17;        // a request sent with it gets no reply read

// A value no other outstanding request of the process has, for dwRefConst.
DWORD Rapi_NewRefConst();

BYTE* WINAPI _CreateRemoteAPIMessage(DWORD kind, const void* params, DWORD paramSize,
                                     DWORD messageID, DWORD refConst);
BYTE* _AllocReceiveMessageBuffer(DWORD recordSize, DWORD* totalSize);
BYTE* _AllocRxMsgBuffer(DWORD recordSize, DWORD* totalSize);

DWORD _GetDataFromMessage(Dslr1394Object* object, void* record, const BYTE* reply, DWORD expectedID,
                          DWORD refConst, DWORD recordSize);
DWORD _GetDataFromRxMessage(void* record, const BYTE* reply, DWORD expectedID, DWORD refConst,
                            DWORD recordSize);

DWORD dsl1394SendRemoteAPICommand(Dslr1394Object* object, DWORD transport, DWORD ignored,
                                  const BYTE* request, DWORD requestSize, BYTE* reply,
                                  DWORD replySize, DWORD timeout);
DWORD DS1394_SendMessageNonStream(Dslr1394Object* object, DWORD transport, const BYTE* request,
                                  DWORD requestSize, BYTE* reply, DWORD replySize, DWORD timeout);
DWORD DS1394_GetData(Dslr1394Object* object, BYTE* buffer, DWORD length, DWORD timeout,
                     DWORD command, BOOL direct);
DWORD DS1394_PutData(Dslr1394Object* object, const BYTE* data, DWORD length, BYTE* reply,
                     DWORD replyLength, DWORD timeout);

BYTE* Utl_CreateDS1394Message(const BYTE* data, DWORD length, DWORD messageType, DWORD ignored,
                              DWORD* totalSize);
BYTE* Utl_AllocateDS1394Message(DWORD length, DWORD* totalSize);
void Utl_GetRemoteAPIMessage(const BYTE* frame, BYTE* buffer, DWORD length);
void Utl_Free1394Message(BYTE* frame);
