// Named file mappings backed by shared memory, and their views.

#include "platform/posix/posix_api.h"
#include "platform/posix/shared_memory.h"

#include <map>
#include <mutex>

#include <sys/mman.h>
#include <unistd.h>

namespace os::posix {

namespace {

// Mapping and unmapping a view costs a system call each, and the unmapping
// a flush of every processor's address cache; the library maps its 4-byte
// flag for every message it moves. So a mapping keeps one view per access
// mode once made, and hands it out again: UnmapViewOfFile ends a caller's
// use of it, and the memory goes when the mapping object does (or, for a
// view still in use then, at its last UnmapViewOfFile).
struct View {
    std::size_t length = 0;
    unsigned users = 0;
    bool kept = false;  // held for its mapping object, which is still open
};

// Views by address, as UnmapViewOfFile names them.
struct ViewRegistry {
    std::mutex lock;
    std::map<const void*, View> views;
};

ViewRegistry& registry()
{
    static ViewRegistry* instance = new ViewRegistry;
    return *instance;
}

class Mapping : public KernelObject {
public:
    explicit Mapping(std::unique_ptr<SharedMemory> memory) : m_memory(std::move(memory)) {}
    ~Mapping() override
    {
        std::lock_guard<std::mutex> guard(registry().lock);
        for (void* view : m_kept) {
            if (view == nullptr) continue;
            View& entry = registry().views[view];
            entry.kept = false;
            if (entry.users == 0) {
                munmap(view, entry.length);
                registry().views.erase(view);
            }
        }
    }
    const SharedMemory& memory() const { return *m_memory; }
    // The kept view of a mode (0 read, 1 write); called with the registry locked.
    void*& kept(bool write) { return m_kept[write ? 1 : 0]; }

private:
    std::unique_ptr<SharedMemory> m_memory;
    void* m_kept[2] = {nullptr, nullptr};
};

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
    const bool write = (access & FILE_MAP_WRITE) != 0;
    std::lock_guard<std::mutex> guard(registry().lock);
    void*& kept = object->kept(write);
    if (kept == nullptr) {
        void* view = mmap(nullptr, size, write ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED,
                          object->memory().descriptor(), 0);
        if (view == MAP_FAILED) {
            setLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        kept = view;
        registry().views[view] = {size, 0, true};
    }
    ++registry().views[kept].users;
    return kept;
}

BOOL WINAPI UnmapViewOfFile(LPCVOID view)
{
    std::lock_guard<std::mutex> guard(registry().lock);
    auto found = registry().views.find(view);
    if (found == registry().views.end() || found->second.users == 0) {
        setLastError(ERROR_INVALID_ADDRESS);
        return FALSE;
    }
    if (--found->second.users == 0 && !found->second.kept) {
        munmap(const_cast<void*>(view), found->second.length);
        registry().views.erase(found);
    }
    return TRUE;
}

}  // namespace os::posix
