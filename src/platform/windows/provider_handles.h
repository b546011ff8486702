// The table's device operations on Windows: provider paths are served by the
// library's own devices, every other handle by the system.
#pragma once

#include "platform/win32_types.h"

namespace os::windows {

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flags, HANDLE templateFile);
BOOL WINAPI DeviceIoControl(HANDLE handle, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped);
BOOL WINAPI CancelIo(HANDLE handle);
BOOL WINAPI CloseHandle(HANDLE handle);

}  // namespace os::windows
