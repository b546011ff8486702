#include "support/scripted_device.h"

#include <algorithm>

namespace {

ScriptedDevice* g_device = nullptr;

BOOL WINAPI scriptedIoControl(HANDLE, DWORD code, LPVOID in, DWORD, LPVOID out, DWORD, LPDWORD,
                              LPOVERLAPPED overlapped)
{
    if (code == IOCTL_SCSISCAN_SET_TIMEOUT) {
        g_device->timeoutSet(*static_cast<DWORD*>(in));
        return TRUE;
    }
    return g_device->issue(static_cast<SCSISCAN_CMD*>(in), out, overlapped);
}

BOOL WINAPI scriptedOverlappedResult(HANDLE, LPOVERLAPPED overlapped, LPDWORD transferred, BOOL)
{
    if (transferred != nullptr) *transferred = static_cast<DWORD>(overlapped->InternalHigh);
    if (overlapped->Internal != 0) {
        os::SetLastError(static_cast<DWORD>(overlapped->Internal));
        return FALSE;
    }
    return TRUE;
}

BOOL WINAPI scriptedCancel(HANDLE) { return g_device->cancel(); }

}  // namespace

ScriptedDevice::ScriptedDevice(std::vector<ScriptedCompletion> script, bool repeatLast)
    : m_repeatLast(repeatLast), m_saved(os::api()), m_script(std::move(script))
{
    g_device = this;
    os::api().DeviceIoControl = scriptedIoControl;
    os::api().GetOverlappedResult = scriptedOverlappedResult;
    os::api().CancelIo = scriptedCancel;
}

ScriptedDevice::~ScriptedDevice()
{
    os::api() = m_saved;
    g_device = nullptr;
}

ScriptedDevice* ScriptedDevice::current() { return g_device; }

BOOL ScriptedDevice::issue(SCSISCAN_CMD* block, LPVOID buffer, LPOVERLAPPED overlapped)
{
    auto* bytes = static_cast<BYTE*>(buffer);
    const bool dataOut = block->SrbFlags == SRB_FLAGS_DATA_OUT;
    m_commands.push_back(
        {std::vector<BYTE>(block->Cdb, block->Cdb + block->CdbLength), block->TransferLength,
         block->SrbFlags, bytes,
         dataOut ? std::vector<BYTE>(bytes, bytes + block->TransferLength) : std::vector<BYTE>()});
    ScriptedCompletion next;
    if (m_next < m_script.size())
        next = m_script[m_next++];
    else if (m_repeatLast && !m_script.empty())
        next = m_script.back();
    os::SetLastError(ERROR_IO_PENDING);
    if (next.hang) {
        overlapped->Internal = STATUS_PENDING;
        m_pending = overlapped;
        return FALSE;
    }
    DWORD count = next.count == ScriptedCompletion::kAll ? block->TransferLength : next.count;
    if (!dataOut && !next.reply.empty()) {
        count = std::min<DWORD>(block->TransferLength, static_cast<DWORD>(next.reply.size()));
        std::copy(next.reply.begin(), next.reply.begin() + count, bytes);
    }
    *block->pSrbStatus = next.srbStatus;
    overlapped->Internal = 0;
    overlapped->InternalHigh = count;
    os::SetEvent(overlapped->hEvent);
    return FALSE;
}

BOOL ScriptedDevice::cancel()
{
    ++m_cancels;
    if (m_pending != nullptr) {
        m_pending->Internal = ERROR_OPERATION_ABORTED;
        m_pending->InternalHigh = 0;
        os::SetEvent(m_pending->hEvent);
        m_pending = nullptr;
    }
    return TRUE;
}
