// Names of the objects every process shares for one port: they are built
// from the port's base name, so two paths to one device share them.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"

#include <cstdio>
#include <cstring>

DWORD ScsiScanManager::makeObjectName(char* name, const char* prefix)
{
    const char* backslash = std::strrchr(m_portName, '\\');
    const char* baseName = backslash != nullptr ? backslash + 1 : m_portName;
    // A name that does not fit is refused: cut short, two long port names
    // could end up sharing one mutex.
    int length = std::snprintf(name, kPortNameSize, "%s%s", prefix, baseName);
    if (length < 0 || static_cast<DWORD>(length) >= kPortNameSize) {
        std::memset(name, 0, kPortNameSize);
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateObjectName: port name too long for (%s)"), prefix);
        return vkRNERROR_INVALID_PARAMETER;
    }
    return vkRN_OK;
}

DWORD ScsiScanManager::CreateMutexObjectName(char* name)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateMutexObjectName->"),
                        SSCM_TEXT("CreateMutexObjectName<-"));
    DWORD result = makeObjectName(name, "_DSLR1394_");
    if (result == vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("CreateMutexObjectName: mutexObjectName was created(%s)"), name);
    }
    return result;
}

DWORD ScsiScanManager::CreateMapFileObjectName(char* name)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateMapFileObjectName->"),
                        SSCM_TEXT("CreateMapFileObjectName<-"));
    DWORD result = makeObjectName(name, "TerminateFlagFileMap_Q317_");
    if (result == vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("CreateMapFileObjectName: mutexObjectName was created(%s)"), name);
    }
    return result;
}
