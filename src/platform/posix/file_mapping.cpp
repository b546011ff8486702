// Named file mappings backed by shared memory, and their views.

#include "platform/posix/posix_api.h"
#include "platform/posix/shared_memory.h"

#include <map>
#include <mutex>

#include <sys/mman.h>
#include <unistd.h>

namespace os::posix {

namespace {

class Mapping : public KernelObject {
public:
    explicit Mapping(std::unique_ptr<SharedMemory> memory) : m_memory(std::move(memory)) {}
    const SharedMemory& memory() const { return *m_memory; }

private:
    std::unique_ptr<SharedMemory> m_memory;
};

// Views are unmapped by address alone, so their lengths are remembered here.
struct ViewRegistry {
    std::mutex lock;
    std::map<const void*, std::size_t> lengths;
};

ViewRegistry& views()
{
    static ViewRegistry* registry = new ViewRegistry;
    return *registry;
}

std::string uniqueAnonymousName()
{
    static std::mutex lock;
    static unsigned counter = 0;
    std::lock_guard<std::mutex> guard(lock);
    return "anonymous-" + std::to_string(getpid()) + "-" + std::to_string(counter++);
}

}  // namespace

HANDLE WINAPI CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protect, DWORD sizeHigh,
                                 DWORD sizeLow, LPCSTR name)
{
    // Only mappings of the paging file are offered, as the library uses them.
    if (file != INVALID_HANDLE_VALUE || protect != PAGE_READWRITE || sizeHigh != 0 ||
        sizeLow == 0) {
        setLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto memory = std::make_unique<SharedMemory>();
    bool created = false;
    std::string shmName =
        SharedMemoryName("map", name != nullptr ? name : uniqueAnonymousName().c_str());
    if (!memory->acquire(shmName, sizeLow, SharedMemory::Open::CreateOrOpen, created))
        return nullptr;
    HANDLE handle = insertHandle(std::make_shared<Mapping>(std::move(memory)));
    setLastError(created ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    return handle;
}

LPVOID WINAPI MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                            SIZE_T bytes)
{
    auto object = lookupAs<Mapping>(mapping);
    if (!object) {
        setLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    std::size_t size = object->memory().size();
    if (offsetHigh != 0 || offsetLow != 0 || bytes > size) {
        setLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    int protection = (access & FILE_MAP_WRITE) ? PROT_READ | PROT_WRITE : PROT_READ;
    void* view = mmap(nullptr, size, protection, MAP_SHARED, object->memory().descriptor(), 0);
    if (view == MAP_FAILED) {
        setLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    std::lock_guard<std::mutex> guard(views().lock);
    views().lengths[view] = size;
    return view;
}

BOOL WINAPI UnmapViewOfFile(LPCVOID view)
{
    std::size_t length = 0;
    {
        std::lock_guard<std::mutex> guard(views().lock);
        auto found = views().lengths.find(view);
        if (found == views().lengths.end()) {
            setLastError(ERROR_INVALID_ADDRESS);
            return FALSE;
        }
        length = found->second;
        views().lengths.erase(found);
    }
    munmap(const_cast<void*>(view), length);
    return TRUE;
}

}  // namespace os::posix
