// Security identifiers, access-control lists and descriptors in their Win32
// binary layout. POSIX has no use for them beyond the one check the named
// mutex makes, but the library builds them the same way on every system.

#include "platform/posix/posix_api.h"

#include <cstdlib>
#include <cstring>

namespace os::posix {

namespace {

struct SidHeader {
    BYTE Revision;
    BYTE SubAuthorityCount;
    SID_IDENTIFIER_AUTHORITY IdentifierAuthority;
};

struct AceHeader {
    BYTE AceType;
    BYTE AceFlags;
    WORD AceSize;
};

DWORD sidLength(const void* sid)
{
    return static_cast<DWORD>(sizeof(SidHeader)) + 4u * static_cast<const SidHeader*>(sid)->SubAuthorityCount;
}

bool isWorldSid(const BYTE* sid)
{
    static const BYTE world[] = {1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
    return std::memcmp(sid, world, sizeof(world)) == 0;
}

BOOL addAce(PACL acl, DWORD revision, BYTE type, DWORD mask, PSID sid)
{
    if (acl == nullptr || sid == nullptr || revision != ACL_REVISION) {
        setLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    auto* base = reinterpret_cast<BYTE*>(acl);
    DWORD offset = sizeof(ACL);
    for (WORD i = 0; i < acl->AceCount; ++i) {
        offset += reinterpret_cast<AceHeader*>(base + offset)->AceSize;
    }
    DWORD size = sizeof(AceHeader) + sizeof(DWORD) + sidLength(sid);
    if (offset + size > acl->AclSize) {
        setLastError(ERROR_ALLOTTED_SPACE_EXCEEDED);
        return FALSE;
    }
    AceHeader header{type, 0, static_cast<WORD>(size)};
    std::memcpy(base + offset, &header, sizeof(header));
    std::memcpy(base + offset + sizeof(header), &mask, sizeof(mask));
    std::memcpy(base + offset + sizeof(header) + sizeof(mask), sid, sidLength(sid));
    ++acl->AceCount;
    return TRUE;
}

}  // namespace

BOOL WINAPI AllocateAndInitializeSid(SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD sub0,
                                     DWORD sub1, DWORD sub2, DWORD sub3, DWORD sub4, DWORD sub5,
                                     DWORD sub6, DWORD sub7, PSID* sid)
{
    if (authority == nullptr || sid == nullptr || count == 0 || count > 8) {
        setLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const DWORD subs[8] = {sub0, sub1, sub2, sub3, sub4, sub5, sub6, sub7};
    auto* bytes = static_cast<BYTE*>(std::calloc(1, sizeof(SidHeader) + std::size_t{4} * count));
    if (bytes == nullptr) {
        setLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    SidHeader header{1, count, *authority};
    std::memcpy(bytes, &header, sizeof(header));
    std::memcpy(bytes + sizeof(header), subs, std::size_t{4} * count);
    *sid = bytes;
    return TRUE;
}

DWORD WINAPI GetLengthSid(PSID sid) { return sid == nullptr ? 0 : sidLength(sid); }

LPVOID WINAPI FreeSid(PSID sid)
{
    std::free(sid);
    return nullptr;
}

BOOL WINAPI InitializeAcl(PACL acl, DWORD length, DWORD revision)
{
    if (acl == nullptr || revision != ACL_REVISION || length > 0xFFFF) {
        setLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (length < sizeof(ACL)) {
        setLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    *acl = ACL{static_cast<BYTE>(revision), 0, static_cast<WORD>(length), 0, 0};
    return TRUE;
}

BOOL WINAPI AddAccessDeniedAce(PACL acl, DWORD revision, DWORD mask, PSID sid)
{
    return addAce(acl, revision, ACCESS_DENIED_ACE_TYPE, mask, sid);
}

BOOL WINAPI AddAccessAllowedAce(PACL acl, DWORD revision, DWORD mask, PSID sid)
{
    return addAce(acl, revision, ACCESS_ALLOWED_ACE_TYPE, mask, sid);
}

BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision)
{
    if (descriptor == nullptr || revision != SECURITY_DESCRIPTOR_REVISION) {
        setLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    auto* sd = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    *sd = SECURITY_DESCRIPTOR{};
    sd->Revision = static_cast<BYTE>(revision);
    return TRUE;
}

BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl, BOOL)
{
    auto* sd = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    if (sd == nullptr || sd->Revision != SECURITY_DESCRIPTOR_REVISION) {
        setLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    sd->Dacl = present ? acl : nullptr;
    sd->Control = static_cast<WORD>(present ? (sd->Control | SE_DACL_PRESENT)
                                            : (sd->Control & ~SE_DACL_PRESENT));
    return TRUE;
}

bool DeniesWorldSecurityChanges(const SECURITY_ATTRIBUTES* security)
{
    if (security == nullptr || security->lpSecurityDescriptor == nullptr) return false;
    const auto* sd = static_cast<const SECURITY_DESCRIPTOR*>(security->lpSecurityDescriptor);
    if (sd->Dacl == nullptr) return false;
    const auto* base = reinterpret_cast<const BYTE*>(sd->Dacl);
    DWORD offset = sizeof(ACL);
    for (WORD i = 0; i < sd->Dacl->AceCount && offset < sd->Dacl->AclSize; ++i) {
        AceHeader header;
        DWORD mask;
        std::memcpy(&header, base + offset, sizeof(header));
        std::memcpy(&mask, base + offset + sizeof(header), sizeof(mask));
        if (header.AceType == ACCESS_DENIED_ACE_TYPE && (mask & (WRITE_DAC | WRITE_OWNER)) &&
            isWorldSid(base + offset + sizeof(header) + sizeof(mask))) {
            return true;
        }
        offset += header.AceSize;
    }
    return false;
}

}  // namespace os::posix
