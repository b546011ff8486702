#include "platform/posix/shared_memory.h"

#include "platform/posix/kernel_object.h"

#include "platform/posix/posix_api.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <mutex>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace os::posix {

namespace {

// Serialises creation and release of named blocks across threads (the mutex)
// and processes (the flock; opened afresh each time, so that a forked child
// never shares the lock's file description with its parent).
class NamingLock {
public:
    NamingLock() : m_guard(processLock())
    {
        m_fd = ::open("/dev/shm/vkrn.names.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (m_fd >= 0) flock(m_fd, LOCK_EX);
    }
    ~NamingLock()
    {
        if (m_fd >= 0) ::close(m_fd);
    }
    NamingLock(const NamingLock&) = delete;
    NamingLock& operator=(const NamingLock&) = delete;

private:
    static std::mutex& processLock()
    {
        static std::mutex lock;
        return lock;
    }
    std::lock_guard<std::mutex> m_guard;
    int m_fd = -1;
};

DWORD win32Error(int error)
{
    switch (error) {
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case EACCES:
        case EPERM:
            return ERROR_ACCESS_DENIED;
        case ENOMEM:
        case ENOSPC:
            return ERROR_NOT_ENOUGH_MEMORY;
        case ENAMETOOLONG:
        case EINVAL:
            return ERROR_INVALID_NAME;
        default:
            return ERROR_GEN_FAILURE;
    }
}

bool nobodyHolds(int fd) { return flock(fd, LOCK_EX | LOCK_NB) == 0; }

}  // namespace

bool SharedMemory::acquire(const std::string& shmName, std::size_t size, Open mode, bool& created)
{
    NamingLock naming;
    int flags = O_RDWR | O_CLOEXEC | (mode == Open::CreateOrOpen ? O_CREAT : 0);
    int fd = shm_open(shmName.c_str(), flags, 0666);
    if (fd < 0) {
        setLastError(win32Error(errno));
        return false;
    }
    created = nobodyHolds(fd);
    if (created && mode == Open::ExistingOnly) {
        // Left behind by holders that died: as good as gone.
        shm_unlink(shmName.c_str());
        ::close(fd);
        setLastError(ERROR_FILE_NOT_FOUND);
        return false;
    }
    if (created) {
        // Fresh or stale: start from zeros, like a new Win32 object.
        if (ftruncate(fd, 0) != 0 || ftruncate(fd, static_cast<off_t>(size)) != 0) {
            setLastError(win32Error(errno));
            ::close(fd);
            return false;
        }
    } else {
        struct stat info {};
        fstat(fd, &info);
        size = static_cast<std::size_t>(info.st_size);
    }
    flock(fd, LOCK_SH);  // from exclusive, or joining the other holders
    void* address =
        size == 0 ? nullptr : mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (address == MAP_FAILED) {
        setLastError(win32Error(errno));
        ::close(fd);
        return false;
    }
    m_name = shmName;
    m_fd = fd;
    m_address = address;
    m_size = size;
    return true;
}

SharedMemory::~SharedMemory()
{
    if (m_fd < 0) return;
    NamingLock naming;
    if (m_address != nullptr) munmap(m_address, m_size);
    ::close(m_fd);
    int probe = shm_open(m_name.c_str(), O_RDWR | O_CLOEXEC, 0);
    if (probe >= 0) {
        if (nobodyHolds(probe)) shm_unlink(m_name.c_str());
        ::close(probe);
    }
}

}  // namespace os::posix

namespace os::posix {

// "/vkrn.<kind>.<name>" with every character a shared-memory name cannot
// hold written as %XX, which keeps different names different. Names too long
// for the system keep their beginning and end in a hash of the whole.
std::string SharedMemoryName(const char* kind, const char* win32Name)
{
    static const char hex[] = "0123456789ABCDEF";
    std::string name = std::string("/vkrn.") + kind + ".";
    for (const char* p = win32Name; *p != '\0'; ++p) {
        auto c = static_cast<unsigned char>(*p);
        bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                     c == '.' || c == '_' || c == '-';
        if (plain) {
            name += static_cast<char>(c);
        } else {
            name += '%';
            name += hex[c >> 4];
            name += hex[c & 15];
        }
    }
    constexpr std::size_t kLongest = 200;
    if (name.size() > kLongest) {
        std::uint64_t hash = 14695981039346656037ull;  // FNV-1a
        for (unsigned char c : name) hash = (hash ^ c) * 1099511628211ull;
        char digest[20];
        std::snprintf(digest, sizeof(digest), "#%016llx", static_cast<unsigned long long>(hash));
        name = name.substr(0, kLongest - 17) + digest;
    }
    return name;
}

}  // namespace os::posix
