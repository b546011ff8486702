// Requests the storage and release operations assemble themselves rather
// than through _CreateRemoteAPIMessage.
#pragma once

#include "platform/win32_types.h"

// One zero-filled tracked block of the 16-byte request header and
// `paramSize` bytes of parameters, the header filled in (kind 2, the message
// ID, the block's size, the reference constant); null when it cannot be had.
BYTE* Storage_NewRequest(DWORD messageID, DWORD paramSize, DWORD refConst);
