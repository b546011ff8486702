#include "platform/posix/kernel_object.h"

#include <mutex>
#include <unordered_map>

namespace os::posix {

namespace {

thread_local DWORD t_lastError = 0;

struct HandleTable {
    std::mutex lock;
    std::unordered_map<std::uintptr_t, std::shared_ptr<KernelObject>> objects;
    std::uintptr_t next = 0x100;
};

HandleTable& table()
{
    static HandleTable* instance = new HandleTable;  // outlives every static destructor
    return *instance;
}

}  // namespace

void setLastError(DWORD error) { t_lastError = error; }
DWORD lastError() { return t_lastError; }

DWORD KernelObject::wait(DWORD)
{
    setLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

BOOL KernelObject::deviceIoControl(DWORD, LPVOID, DWORD, LPVOID, DWORD, LPDWORD, LPOVERLAPPED)
{
    setLastError(ERROR_INVALID_FUNCTION);
    return FALSE;
}

BOOL KernelObject::cancelIo()
{
    setLastError(ERROR_INVALID_FUNCTION);
    return FALSE;
}

HANDLE insertHandle(std::shared_ptr<KernelObject> object)
{
    HandleTable& handles = table();
    std::lock_guard<std::mutex> guard(handles.lock);
    // Values grow and are never reused, so a stale handle cannot reach a new
    // object; they stay clear of 0 and INVALID_HANDLE_VALUE.
    std::uintptr_t value = handles.next;
    handles.next += 4;
    handles.objects.emplace(value, std::move(object));
    return reinterpret_cast<HANDLE>(value);
}

std::shared_ptr<KernelObject> lookupHandle(HANDLE handle)
{
    HandleTable& handles = table();
    std::lock_guard<std::mutex> guard(handles.lock);
    auto found = handles.objects.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == handles.objects.end()) return nullptr;
    return found->second;
}

bool removeHandle(HANDLE handle)
{
    std::shared_ptr<KernelObject> last;  // destroyed outside the table lock
    HandleTable& handles = table();
    std::lock_guard<std::mutex> guard(handles.lock);
    auto found = handles.objects.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == handles.objects.end()) return false;
    last = std::move(found->second);
    handles.objects.erase(found);
    return true;
}

std::size_t openHandleCount()
{
    HandleTable& handles = table();
    std::lock_guard<std::mutex> guard(handles.lock);
    return handles.objects.size();
}

}  // namespace os::posix
