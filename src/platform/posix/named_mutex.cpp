// Win32 mutexes: owned by a thread, recursive for their owner, and when the
// owner dies holding one the next waiter gets it with WAIT_ABANDONED. A
// robust, recursive, process-shared pthread mutex gives exactly that; named
// mutexes keep it in shared memory so that every process reaches the same one.

#include "platform/posix/posix_api.h"
#include "platform/posix/shared_memory.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace os::posix {

namespace {

struct MutexBlock {
    std::atomic<std::uint32_t> ready;
    pid_t creatorPid;
    std::uint32_t deniesSecurityChanges;
    // The owning thread (system-wide id) and how often it holds the mutex;
    // written only by the owner, so a release by anyone else is refused
    // before it reaches the lock.
    std::atomic<pid_t> owner;
    std::uint32_t recursion;
    pthread_mutex_t mutex;
};

pid_t currentThread() { return static_cast<pid_t>(syscall(SYS_gettid)); }

void initMutexBlock(MutexBlock* block, bool shared, bool deniesSecurityChanges)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_setpshared(&attributes,
                                 shared ? PTHREAD_PROCESS_SHARED : PTHREAD_PROCESS_PRIVATE);
    pthread_mutex_init(&block->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    block->creatorPid = getpid();
    block->deniesSecurityChanges = deniesSecurityChanges ? 1 : 0;
    block->ready.store(1, std::memory_order_release);
}

class Mutex : public KernelObject {
public:
    // An unnamed mutex lives in this process only.
    explicit Mutex(bool deniesSecurityChanges) : m_local(new MutexBlock{})
    {
        initMutexBlock(m_local.get(), false, deniesSecurityChanges);
        m_block = m_local.get();
    }
    Mutex(std::unique_ptr<SharedMemory> memory, MutexBlock* block)
        : m_memory(std::move(memory)), m_block(block)
    {
    }
    ~Mutex() override
    {
        if (m_local) pthread_mutex_destroy(&m_local->mutex);
    }

    DWORD wait(DWORD milliseconds) override
    {
        int result;
        if (milliseconds == INFINITE) {
            result = pthread_mutex_lock(&m_block->mutex);
        } else {
            timespec until{};
            clock_gettime(CLOCK_REALTIME, &until);
            until.tv_sec += milliseconds / 1000;
            until.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
            if (until.tv_nsec >= 1000000000L) {
                until.tv_sec += 1;
                until.tv_nsec -= 1000000000L;
            }
            result = pthread_mutex_timedlock(&m_block->mutex, &until);
        }
        switch (result) {
            case 0:
                becomeOwner();
                return WAIT_OBJECT_0;
            case ETIMEDOUT:
                return WAIT_TIMEOUT;
            case EOWNERDEAD:
                // The dead owner's count died with it.
                pthread_mutex_consistent(&m_block->mutex);
                m_block->owner.store(0);
                becomeOwner();
                return WAIT_ABANDONED;
            default:
                setLastError(ERROR_INVALID_HANDLE);
                return WAIT_FAILED;
        }
    }

    BOOL release()
    {
        if (m_block->owner.load() != currentThread()) {
            setLastError(ERROR_NOT_OWNER);
            return FALSE;
        }
        if (--m_block->recursion == 0) m_block->owner.store(0);
        pthread_mutex_unlock(&m_block->mutex);
        return TRUE;
    }

    bool refusesFullAccessFromHere() const
    {
        return m_block->deniesSecurityChanges != 0 && m_block->creatorPid != getpid();
    }

private:
    void becomeOwner()
    {
        if (m_block->owner.load() == currentThread()) {
            ++m_block->recursion;
        } else {
            m_block->owner.store(currentThread());
            m_block->recursion = 1;
        }
    }

    std::unique_ptr<MutexBlock> m_local;
    std::unique_ptr<SharedMemory> m_memory;
    MutexBlock* m_block = nullptr;
};

// Opens or creates the named mutex; `existed` tells which.
std::shared_ptr<Mutex> openNamed(LPCSTR name, SharedMemory::Open mode, bool deniesSecurityChanges,
                                 bool& existed)
{
    auto memory = std::make_unique<SharedMemory>();
    bool created = false;
    if (!memory->acquire(SharedMemoryName("mtx", name), sizeof(MutexBlock), mode, created)) {
        return nullptr;
    }
    auto* block = static_cast<MutexBlock*>(memory->address());
    if (created) {
        initMutexBlock(block, true, deniesSecurityChanges);
    } else {
        // A creator in another process may still be initialising it.
        while (block->ready.load(std::memory_order_acquire) == 0) usleep(100);
    }
    existed = !created;
    return std::make_shared<Mutex>(std::move(memory), block);
}

}  // namespace

HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name)
{
    bool denies = DeniesWorldSecurityChanges(security);
    std::shared_ptr<Mutex> mutex;
    bool existed = false;
    if (name == nullptr) {
        mutex = std::make_shared<Mutex>(denies);
    } else {
        mutex = openNamed(name, SharedMemory::Open::CreateOrOpen, denies, existed);
        if (!mutex) return nullptr;
        // CreateMutex asks for full access, which the creator's descriptor
        // denies to other processes on NT; they must open it for waiting.
        if (existed && mutex->refusesFullAccessFromHere()) {
            setLastError(ERROR_ACCESS_DENIED);
            return nullptr;
        }
    }
    if (initialOwner) mutex->wait(INFINITE);
    HANDLE handle = insertHandle(mutex);
    setLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

HANDLE WINAPI OpenMutexA(DWORD, BOOL, LPCSTR name)
{
    if (name == nullptr) {
        setLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    bool existed = false;
    auto mutex = openNamed(name, SharedMemory::Open::ExistingOnly, false, existed);
    return mutex ? insertHandle(mutex) : nullptr;
}

BOOL WINAPI ReleaseMutex(HANDLE handle)
{
    auto mutex = lookupAs<Mutex>(handle);
    if (!mutex) {
        setLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return mutex->release();
}

}  // namespace os::posix
