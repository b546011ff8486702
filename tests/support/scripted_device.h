// A still-image driver played from a script, installed in the platform
// table: it records every command the library hands to DeviceIoControl and
// completes each with the next scripted byte count and SRB status, handing
// reads the scripted reply bytes. Commands past the script move everything
// they ask for. A scripted `hang` never completes until cancelled.
#pragma once

#include "platform/platform_api.h"
#include "platform/scsiscan.h"

#include <vector>

struct ScriptedCompletion {
    static constexpr DWORD kAll = 0xFFFFFFFFu;  // whatever the command asks for
    DWORD count = kAll;
    BYTE srbStatus = SRB_STATUS_SUCCESS;
    bool hang = false;
    std::vector<BYTE> reply = {};  // copied into the buffer of a read
};

struct IssuedCommand {
    std::vector<BYTE> cdb;
    DWORD transferLength;
    DWORD srbFlags;
    const BYTE* buffer;      // where the library pointed the data
    std::vector<BYTE> data;  // what a write carried

    // The length field of a 10-byte CDB.
    DWORD length10() const { return (cdb[7] << 8) | cdb[8]; }
};

class ScriptedDevice {
public:
    // Past the end of the script, commands complete whole, or (with
    // repeatLast) as the last entry says, for ever.
    explicit ScriptedDevice(std::vector<ScriptedCompletion> script, bool repeatLast = false);
    ~ScriptedDevice();
    ScriptedDevice(const ScriptedDevice&) = delete;
    ScriptedDevice& operator=(const ScriptedDevice&) = delete;

    const std::vector<IssuedCommand>& commands() const { return m_commands; }
    unsigned cancels() const { return m_cancels; }
    // The driver time-outs set, in seconds, in order.
    const std::vector<DWORD>& timeouts() const { return m_timeouts; }

    // For the table entries.
    static ScriptedDevice* current();
    BOOL issue(SCSISCAN_CMD* block, LPVOID buffer, LPOVERLAPPED overlapped);
    BOOL cancel();
    void timeoutSet(DWORD seconds) { m_timeouts.push_back(seconds); }

private:
    bool m_repeatLast;
    os::Api m_saved;
    std::vector<ScriptedCompletion> m_script;
    std::size_t m_next = 0;
    std::vector<IssuedCommand> m_commands;
    LPOVERLAPPED m_pending = nullptr;
    unsigned m_cancels = 0;
    std::vector<DWORD> m_timeouts;
};
