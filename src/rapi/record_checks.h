// Camera records on their way between the caller and a Remote API message:
// the conversions that are not members of the device object. The camera's
// byte order is the host's, so no conversion changes a byte; what they
// contribute are their argument checks and, for the extended personal
// functions, the walk of the item chain. The check routines and the
// model-dependent conversions are members of Dslr1394Object (they read the
// model ID).
#pragma once

#include "platform/win32_types.h"

DWORD Utl_ParamByteSwap(DWORD dwSize, void* data, DWORD dwOrder);
DWORD Utl_CFnByteSwap(DWORD dwSize, void* block);
DWORD Utl_PFnByteSwap(DWORD dwSize, void* record);
DWORD Utl_PFnExByteSwap(DWORD dwSize, void* record);
// A truth value: 1 for success, 0 for failure.
BOOL Utl_FuncInfoByteSwap(DWORD dwSize, void* record);
