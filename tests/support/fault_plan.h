// Fault injection through the platform table.
//
// While a FaultPlan lives, the table's operations that can fail are wrapped:
// each call is counted, the calls chosen with fail() return their Win32
// failure value with the given last error, and blocks allocated through the
// table are tracked so that a test can see whether anything was left behind.
// Plans and clocks restore the table they found when they end; end them in
// the reverse order of their creation.
#pragma once

#include "platform/platform_api.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <set>
#include <thread>

// The table's operations that a plan can fail, in one list for the enum,
// the names and the wrappers.
// clang-format off
#define VKRN_FAULT_OPS(X)                                                                   \
    X(Malloc) X(Calloc) X(LocalAlloc) X(CloseHandle) X(CreateFileA) X(DeviceIoControl)      \
    X(GetOverlappedResult) X(CreateEventA) X(CreateMutexA) X(OpenMutexA) X(ReleaseMutex)    \
    X(WaitForSingleObject) X(CreateFileMappingA) X(MapViewOfFile) X(UnmapViewOfFile)        \
    X(AllocateAndInitializeSid) X(InitializeAcl) X(AddAccessDeniedAce)                      \
    X(AddAccessAllowedAce) X(InitializeSecurityDescriptor) X(SetSecurityDescriptorDacl)     \
    X(CreateThread) X(GetExitCodeThread) X(GetVersionExA)

#define VKRN_OP_ENUM(name) name,
enum class Op { VKRN_FAULT_OPS(VKRN_OP_ENUM) Count };
#undef VKRN_OP_ENUM
// clang-format on

const char* OpName(Op op);

class FaultPlan {
public:
    FaultPlan();
    ~FaultPlan();
    FaultPlan(const FaultPlan&) = delete;
    FaultPlan& operator=(const FaultPlan&) = delete;

    // The nth call (1-based, counted from the plan's start) of op fails with
    // `error` as the last error. Waits fail with `waitResult`.
    void fail(Op op, unsigned nth, DWORD error = ERROR_GEN_FAILURE, DWORD waitResult = WAIT_FAILED);
    unsigned calls(Op op) const { return m_calls[static_cast<int>(op)].load(); }
    // Blocks allocated through the table during the plan and not freed.
    std::size_t outstandingAllocations() const;

    // For the wrappers.
    static FaultPlan* current();
    const os::Api& saved() const { return m_saved; }
    bool failsNow(Op op);
    DWORD waitResult() const { return m_waitResult; }
    void allocated(void* block);
    void freed(void* block);

private:
    os::Api m_saved;
    FaultPlan* m_previous;
    std::atomic<unsigned> m_calls[static_cast<int>(Op::Count)] = {};
    unsigned m_failAt[static_cast<int>(Op::Count)] = {};
    DWORD m_error[static_cast<int>(Op::Count)] = {};
    DWORD m_waitResult = WAIT_FAILED;
    mutable std::mutex m_blocksLock;
    std::set<void*> m_blocks;
};

// Runs time fast: waits and sleeps take 1/factor of their time (at least
// 1 ms; INFINITE stays infinite) and the clocks advance factor times faster.
//
// A counted clock does not follow real time at all: it advances only as the
// thread that made it works, by 1 ms each time that thread reads the clock
// and by the whole time of each sleep and each wait that timed out. A time
// budget then ends after the same work on any machine, however busy, so a
// test can bound the time spent from both sides.
class FastClock {
public:
    enum class Time { kReal, kCounted };
    explicit FastClock(unsigned factor, Time time = Time::kReal);
    ~FastClock();
    FastClock(const FastClock&) = delete;
    FastClock& operator=(const FastClock&) = delete;

    static FastClock* current();
    const os::Api& saved() const { return m_saved; }
    DWORD scaled(DWORD milliseconds) const;
    // The fast clock's time. It advances from the millisecond timer, which
    // steps finely everywhere (Windows' tick count steps by 15-17 ms, which
    // at a factor of 1000 would swallow a whole time budget in one step).
    DWORD now() const;
    // For the table entries: the owner thread read the clock, or spent
    // `milliseconds` asleep or in a wait that timed out.
    DWORD looked();
    void spent(DWORD milliseconds);

private:
    bool owned() const { return std::this_thread::get_id() == m_owner; }

    os::Api m_saved;
    FastClock* m_previous;
    unsigned m_factor;
    Time m_time;
    DWORD m_tickStart;
    DWORD m_timerStart;
    std::thread::id m_owner = std::this_thread::get_id();
    std::atomic<DWORD> m_counted;
};

// Live handles of this process, for leak checks.
std::size_t openHandleCount();
// Whether a thread ends at all: it is polled for a minute or more, so that a
// slow machine never turns a late ending into a failure.
bool threadEnds(HANDLE thread);
