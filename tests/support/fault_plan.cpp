#include "support/fault_plan.h"

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/posix/kernel_object.h"
#endif

namespace {

FaultPlan* g_plan = nullptr;
FastClock* g_clock = nullptr;

template <typename R>
R failureValue(Op op)
{
    if constexpr (std::is_same_v<R, HANDLE>) {
        return op == Op::CreateFileA ? INVALID_HANDLE_VALUE : nullptr;
    } else if constexpr (std::is_same_v<R, DWORD>) {
        return op == Op::WaitForSingleObject ? g_plan->waitResult() : 0;
    } else {
        return R{};  // FALSE, or a null pointer
    }
}

// One wrapper per table entry: count, maybe fail, else forward.
template <Op op, auto Field, typename Fn>
struct Wrapper;
template <Op op, auto Field, typename R, typename... Args>
struct Wrapper<op, Field, R(WINAPI*)(Args...)> {
    static R WINAPI call(Args... args)
    {
        FaultPlan* plan = FaultPlan::current();
        if (plan->failsNow(op)) return failureValue<R>(op);
        R result = (plan->saved().*Field)(args...);
        if constexpr (op == Op::Malloc || op == Op::Calloc || op == Op::LocalAlloc) {
            plan->allocated(result);
        }
        return result;
    }
};

void trackedFree(void* block)
{
    FaultPlan::current()->freed(block);
    FaultPlan::current()->saved().Free(block);
}

HLOCAL WINAPI trackedLocalFree(HLOCAL block)
{
    FaultPlan::current()->freed(block);
    return FaultPlan::current()->saved().LocalFree(block);
}

#define VKRN_OP_NAME(name) #name,
const char* const kNames[] = {VKRN_FAULT_OPS(VKRN_OP_NAME)};
#undef VKRN_OP_NAME
static_assert(sizeof(kNames) / sizeof(kNames[0]) == static_cast<int>(Op::Count), "a name per Op");

}  // namespace

const char* OpName(Op op) { return kNames[static_cast<int>(op)]; }

FaultPlan::FaultPlan() : m_saved(os::api()), m_previous(g_plan)
{
    g_plan = this;
    os::Api& table = os::api();
#define VKRN_WRAP_OP(name) \
    table.name = Wrapper<Op::name, &os::Api::name, decltype(os::Api::name)>::call;
    VKRN_FAULT_OPS(VKRN_WRAP_OP)
#undef VKRN_WRAP_OP
    table.Free = trackedFree;
    table.LocalFree = trackedLocalFree;
}

FaultPlan::~FaultPlan()
{
    os::api() = m_saved;
    g_plan = m_previous;
}

FaultPlan* FaultPlan::current() { return g_plan; }

void FaultPlan::fail(Op op, unsigned nth, DWORD error, DWORD waitResult)
{
    m_failAt[static_cast<int>(op)] = nth;
    m_error[static_cast<int>(op)] = error;
    if (op == Op::WaitForSingleObject) m_waitResult = waitResult;
}

bool FaultPlan::failsNow(Op op)
{
    int index = static_cast<int>(op);
    unsigned call = ++m_calls[index];
    if (m_failAt[index] == 0 || call != m_failAt[index]) return false;
    m_saved.SetLastError(m_error[index]);
    return true;
}

void FaultPlan::allocated(void* block)
{
    if (block == nullptr) return;
    std::lock_guard<std::mutex> guard(m_blocksLock);
    m_blocks.insert(block);
}

void FaultPlan::freed(void* block)
{
    std::lock_guard<std::mutex> guard(m_blocksLock);
    m_blocks.erase(block);
}

std::size_t FaultPlan::outstandingAllocations() const
{
    std::lock_guard<std::mutex> guard(m_blocksLock);
    return m_blocks.size();
}

namespace {

void WINAPI fastSleep(DWORD milliseconds)
{
    FastClock::current()->saved().Sleep(FastClock::current()->scaled(milliseconds));
    FastClock::current()->spent(milliseconds);
}
DWORD WINAPI fastTickCount() { return FastClock::current()->looked(); }
DWORD WINAPI fastWait(HANDLE handle, DWORD milliseconds)
{
    const DWORD result = FastClock::current()->saved().WaitForSingleObject(
        handle, FastClock::current()->scaled(milliseconds));
    if (result == WAIT_TIMEOUT) FastClock::current()->spent(milliseconds);
    return result;
}

}  // namespace

FastClock::FastClock(unsigned factor, Time time)
    : m_saved(os::api()),
      m_previous(g_clock),
      m_factor(factor == 0 ? 1 : factor),
      m_time(time),
      m_tickStart(m_saved.GetTickCount()),
      m_timerStart(m_saved.timeGetTime()),
      m_counted(m_tickStart)
{
    g_clock = this;
    os::Api& table = os::api();
    table.Sleep = fastSleep;
    table.GetTickCount = fastTickCount;
    table.timeGetTime = fastTickCount;
    table.WaitForSingleObject = fastWait;
}

FastClock::~FastClock()
{
    os::api() = m_saved;
    g_clock = m_previous;
}

FastClock* FastClock::current() { return g_clock; }

DWORD FastClock::scaled(DWORD milliseconds) const
{
    if (milliseconds == INFINITE || milliseconds == 0) return milliseconds;
    DWORD fast = milliseconds / m_factor;
    return fast == 0 ? 1 : fast;
}

DWORD FastClock::now() const
{
    if (m_time == Time::kCounted) return m_counted;
    return m_tickStart + (m_saved.timeGetTime() - m_timerStart) * m_factor;
}

DWORD FastClock::looked()
{
    if (m_time == Time::kCounted && owned()) return ++m_counted;
    return now();
}

void FastClock::spent(DWORD milliseconds)
{
    if (m_time == Time::kCounted && owned() && milliseconds != INFINITE) m_counted += milliseconds;
}

std::size_t openHandleCount()
{
#ifdef _WIN32
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
#else
    return os::posix::openHandleCount();
#endif
}

bool threadEnds(HANDLE thread)
{
    DWORD code = STILL_ACTIVE;
    // A guard against a hang only: a minute's worth of polls, however slow.
    for (int i = 0; i < 60000 && code == STILL_ACTIVE; ++i) {
        if (!os::GetExitCodeThread(thread, &code)) return false;
        os::Sleep(1);
    }
    return code != STILL_ACTIVE;
}
