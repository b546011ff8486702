// Security of the shared objects on NT: everyone may use them, nobody but
// the creator may change their security. Other systems know no descriptors.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/platform_api.h"

bool BuildWorldDescriptor(SECURITY_DESCRIPTOR* descriptor, bool denyWriteAccess)
{
    SID_IDENTIFIER_AUTHORITY worldAuthority = SECURITY_WORLD_SID_AUTHORITY;
    PSID worldSid = nullptr;
    if (!os::AllocateAndInitializeSid(&worldAuthority, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0,
                                      &worldSid)) {
        return false;
    }
    // The entries copy the SID, so it is released as soon as they are made;
    // the list itself lives until the object is created (ReleaseWorldDescriptor).
    DWORD aclLength = 2 * os::GetLengthSid(worldSid) + 32;
    auto acl = static_cast<PACL>(os::LocalAlloc(LPTR, aclLength));
    bool built = acl != nullptr && os::InitializeAcl(acl, aclLength, ACL_REVISION) &&
                 (!denyWriteAccess ||
                  os::AddAccessDeniedAce(acl, ACL_REVISION, WRITE_DAC | WRITE_OWNER, worldSid)) &&
                 os::AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_ALL, worldSid) &&
                 os::InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION) &&
                 os::SetSecurityDescriptorDacl(descriptor, TRUE, acl, FALSE);
    os::FreeSid(worldSid);
    if (!built) {
        if (acl != nullptr) os::LocalFree(acl);
        *descriptor = SECURITY_DESCRIPTOR();
    }
    return built;
}

void ScsiScanManager::fillWorldAttributes(SECURITY_ATTRIBUTES* attributes,
                                          SECURITY_DESCRIPTOR* descriptor, bool denyWriteAccess,
                                          BOOL inheritOnNT)
{
    if (!isNT()) {
        attributes->nLength = sizeof(SECURITY_ATTRIBUTES);
        attributes->bInheritHandle = TRUE;
        attributes->lpSecurityDescriptor = nullptr;
        return;
    }
    if (!BuildWorldDescriptor(descriptor, denyWriteAccess)) return;
    attributes->nLength = sizeof(SECURITY_ATTRIBUTES);
    attributes->lpSecurityDescriptor = descriptor;
    attributes->bInheritHandle = inheritOnNT;
}

DWORD ScsiScanManager::CreateMutexHandleAttributes(SECURITY_ATTRIBUTES* attributes,
                                                   SECURITY_DESCRIPTOR* descriptor)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateMutexHandleAttributes->"),
                        SSCM_TEXT("CreateMutexHandleAttributes<-"));
    fillWorldAttributes(attributes, descriptor, true, FALSE);
    return vkRN_OK;
}

DWORD ScsiScanManager::CreateMapFileHandleAttributes(SECURITY_ATTRIBUTES* attributes,
                                                     SECURITY_DESCRIPTOR* descriptor)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateMutexHandleAttributes->"),
                        SSCM_TEXT("CreateMutexHandleAttributes<-"));
    fillWorldAttributes(attributes, descriptor, false, TRUE);
    return vkRN_OK;
}

void ReleaseWorldDescriptor(SECURITY_DESCRIPTOR* descriptor)
{
    if (descriptor->Dacl != nullptr) os::LocalFree(descriptor->Dacl);
    descriptor->Dacl = nullptr;
}
