// The pause before asking a busy device again: short at first, so that a
// camera busy for a moment costs little, growing so that one busy for long
// is not asked thousands of times a second, and never past the time the
// command has left.
#pragma once

#include "platform/platform_api.h"

class BusyBackoff {
public:
    // Sleeps before the next try of a command that started at `startTick`
    // with `timeout` milliseconds; returns at once when none are left.
    void pause(DWORD startTick, DWORD timeout)
    {
        const DWORD spent = os::GetTickCount() - startTick;
        if (spent >= timeout) return;
        const DWORD left = timeout - spent;
        os::Sleep(m_next < left ? m_next : left);
        m_next = m_next * 2 < kLongest ? m_next * 2 : kLongest;
    }
    // The device moved data: the next busy spell starts short again.
    void reset() { m_next = kShortest; }

private:
    static constexpr DWORD kShortest = 1;
    static constexpr DWORD kLongest = 100;
    DWORD m_next = kShortest;
};
