// Objects of the library's own object model are created with `new` and
// destroyed with `delete` (one fresh object per message, a deleting
// destructor). Deriving from OsAllocated sends those allocations through the
// platform table, where tests can make them fail. The allocation function is
// non-throwing, so a failed `new` yields null and runs no constructor.
#pragma once

#include "platform/platform_api.h"

#include <cstddef>

struct OsAllocated {
    static void* operator new(std::size_t size) noexcept { return os::Malloc(size); }
    static void operator delete(void* block) noexcept { os::Free(block); }
};
