// A named block of POSIX shared memory with Win32 lifetime: it exists while
// any process holds it and vanishes with the last holder, also when holders
// die without closing. Every holder keeps a shared flock on its descriptor;
// creation and release happen under a machine-wide naming lock, and a block
// nobody holds is stale and starts afresh.
#pragma once

#include <cstddef>
#include <string>

namespace os::posix {

class SharedMemory {
public:
    enum class Open { CreateOrOpen, ExistingOnly };
    // Holds the block named `shmName` of `size` bytes; `created` tells whether
    // it was made afresh (zero-filled). On failure returns false with the
    // Win32 last error set.
    bool acquire(const std::string& shmName, std::size_t size, Open mode, bool& created);
    // Releases the block; the last holder removes its name.
    ~SharedMemory();

    void* address() const { return m_address; }
    int descriptor() const { return m_fd; }
    std::size_t size() const { return m_size; }

private:
    std::string m_name;
    int m_fd = -1;
    void* m_address = nullptr;
    std::size_t m_size = 0;
};

}  // namespace os::posix
