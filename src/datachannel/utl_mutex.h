// Mutex helpers of the data channel. A handle that is INVALID_HANDLE_VALUE
// or NULL is ignored by both.
#pragma once

#include "platform/win32_types.h"

// 1 when the calling thread owns the mutex, 0 otherwise. A time-out of
// 60000 ms waits through any number of time-outs.
BOOL Utl_WaitForMutexObject(HANDLE handle, DWORD timeout);
void Utl_ReleaseMutexObject(HANDLE handle);
