// Raw data after a Remote API command: the bytes its reply announced, read
// in as many parts as the application likes; and framed blocks written on
// the data channel.

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "object/Dslr1394Object.h"
#include "rapi/rapi_messages.h"

#include <cstring>

namespace {

constexpr DWORD kReadDataTimeout = 100000;
constexpr DWORD kWriteDataTimeout = 30000;
constexpr DWORD kDirectoryListing = 0x2120000B;

}  // namespace

uint32_t Dslr1394Object::baseDslrReadData(void* pBuffer, uint32_t dwLength)
{
    FunctionTrace trace(DBG_TAG_DSCS, "baseDslrReadData");
    Dbg_Printf(DBG_TAG_DSCS, DBG_DATALEN, "(%d)byte in base13984ReadData()",
               static_cast<int>(dwLength));
    if (pBuffer == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "pBuffer is NULL in base317ReadData()");
        return vkRNERROR_INVALID_PARAMETER;
    }
    const RapiExchangeRecord last = m_lastRapi;
    if (last.dwStatus == 0) {
        ScanMngrResetTimer();
        const DWORD result = DS1394_GetData(this, static_cast<BYTE*>(pBuffer), dwLength,
                                            kReadDataTimeout, last.dwCommand, TRUE);
        ScanMngrResetTimer();
        if (result != vkRN_OK) return result;
    } else if (last.dwCommand == kDirectoryListing) {
        std::memset(pBuffer, 0, dwLength);
    } else {
        Dbg_Printf(
            DBG_TAG_DSCS, DBG_ERROR,
            "There is no RemoteAPI in just before, or the error(0x%lx) was immediately before",
            static_cast<unsigned long>(last.dwStatus));
    }
    // A read past the announced length leaves nothing announced, not a
    // count that has wrapped round.
    const DWORD remaining = last.dwRemaining > dwLength ? last.dwRemaining - dwLength : 0;
    m_lastRapi = {last.dwCommand, 0, remaining};
    return vkRN_OK;
}

uint32_t Dslr1394Object::base1394WriteData(const void* pData, uint32_t dwLength, void* pReply,
                                           uint32_t dwReplyLength)
{
    FunctionTrace trace(DBG_TAG_DSCS, "base1394WriteData");
    ScanMngrResetTimer();
    const DWORD result =
        DS1394_PutData(this, static_cast<const BYTE*>(pData), dwLength, static_cast<BYTE*>(pReply),
                       dwReplyLength, kWriteDataTimeout);
    ScanMngrResetTimer();
    return result;
}
