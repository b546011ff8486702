// Events and threads: in-process objects built on the C++ thread library.

#include "platform/posix/posix_api.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <sys/syscall.h>
#include <unistd.h>

namespace os::posix {

namespace {

// Waits on a condition with Win32 time-out semantics.
template <typename Predicate>
bool waitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, DWORD milliseconds,
             Predicate ready)
{
    if (milliseconds == INFINITE) {
        cv.wait(lock, ready);
        return true;
    }
    return cv.wait_for(lock, std::chrono::milliseconds(milliseconds), ready);
}

class Event : public KernelObject {
public:
    Event(bool manualReset, bool signalled) : m_manualReset(manualReset), m_signalled(signalled) {}

    DWORD wait(DWORD milliseconds) override
    {
        std::unique_lock<std::mutex> lock(m_lock);
        if (!waitFor(m_changed, lock, milliseconds, [this] { return m_signalled; })) {
            return WAIT_TIMEOUT;
        }
        if (!m_manualReset) m_signalled = false;  // an auto-reset event releases one waiter
        return WAIT_OBJECT_0;
    }
    void set()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_signalled = true;
        if (m_manualReset) {
            m_changed.notify_all();
        } else {
            m_changed.notify_one();
        }
    }
    void reset()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_signalled = false;
    }

private:
    const bool m_manualReset;
    bool m_signalled;
    std::mutex m_lock;
    std::condition_variable m_changed;
};

// What a thread and its handle share: the handle may be closed while the
// thread runs, and the thread may end while the handle is open.
struct ThreadState {
    std::mutex lock;
    std::condition_variable changed;
    bool started = false;
    bool finished = false;
    DWORD threadId = 0;
    DWORD exitCode = STILL_ACTIVE;
};

class Thread : public KernelObject {
public:
    explicit Thread(std::shared_ptr<ThreadState> state) : m_state(std::move(state)) {}
    DWORD wait(DWORD milliseconds) override
    {
        std::unique_lock<std::mutex> lock(m_state->lock);
        return waitFor(m_state->changed, lock, milliseconds, [this] { return m_state->finished; })
                   ? WAIT_OBJECT_0
                   : WAIT_TIMEOUT;
    }
    DWORD exitCode()
    {
        std::lock_guard<std::mutex> lock(m_state->lock);
        return m_state->exitCode;
    }

private:
    std::shared_ptr<ThreadState> m_state;
};

}  // namespace

HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCSTR name)
{
    // Events are only used inside one process; named events are not offered.
    if (name != nullptr) {
        setLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    return insertHandle(std::make_shared<Event>(manualReset != FALSE, initialState != FALSE));
}

namespace {

template <typename Action>
BOOL withEvent(HANDLE handle, Action action)
{
    auto event = lookupAs<Event>(handle);
    if (!event) {
        setLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    action(*event);
    return TRUE;
}

}  // namespace

BOOL WINAPI SetEvent(HANDLE event)
{
    return withEvent(event, [](Event& e) { e.set(); });
}

BOOL WINAPI ResetEvent(HANDLE event)
{
    return withEvent(event, [](Event& e) { e.reset(); });
}

HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE start,
                           LPVOID parameter, DWORD, LPDWORD threadId)
{
    if (start == nullptr) {
        setLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto state = std::make_shared<ThreadState>();
    try {
        std::thread([state, start, parameter] {
            {
                std::lock_guard<std::mutex> lock(state->lock);
                state->threadId = static_cast<DWORD>(syscall(SYS_gettid));
                state->started = true;
            }
            state->changed.notify_all();
            DWORD code = start(parameter);
            std::lock_guard<std::mutex> lock(state->lock);
            state->exitCode = code;
            state->finished = true;
            state->changed.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        setLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    std::unique_lock<std::mutex> lock(state->lock);
    state->changed.wait(lock, [&] { return state->started; });
    if (threadId != nullptr) *threadId = state->threadId;
    lock.unlock();
    return insertHandle(std::make_shared<Thread>(state));
}

BOOL WINAPI GetExitCodeThread(HANDLE thread, LPDWORD exitCode)
{
    auto object = lookupAs<Thread>(thread);
    if (!object || exitCode == nullptr) {
        setLastError(object ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
        return FALSE;
    }
    *exitCode = object->exitCode();
    return TRUE;
}

DWORD WINAPI GetCurrentThreadId() { return static_cast<DWORD>(syscall(SYS_gettid)); }
DWORD WINAPI GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    auto object = lookupHandle(handle);
    if (!object) {
        setLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return object->wait(milliseconds);
}

BOOL WINAPI CloseHandle(HANDLE handle)
{
    if (!removeHandle(handle)) {
        setLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}

}  // namespace os::posix
