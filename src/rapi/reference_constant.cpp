// Reference constants. The camera echoes a request's constant, and a reply
// is accepted only with its own request's. The classic choice, the address
// of a variable in the caller's frame, does not fit the 32-bit field on
// 64-bit systems; a process-wide counter does, on every system, and two
// outstanding requests of the process cannot share a value until four
// billion more have been made. It starts from a value that differs between
// processes, so that another process's late reply is not taken for ours.

#include "rapi/rapi_messages.h"

#include "platform/platform_api.h"

#include <atomic>

DWORD Rapi_NewRefConst()
{
    static std::atomic<DWORD> next{os::GetCurrentProcessId() * 0x10001u + os::GetTickCount()};
    DWORD value = next.fetch_add(1);
    while (value == 0) value = next.fetch_add(1);  // 0 reads as "no constant"
    return value;
}
