// Events, threads, mutexes and mappings of the platform table, through the
// same calls the library makes. Portable: the Windows build runs it too.

#include "platform/platform_api.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(Events, ManualStaysSignalledAutoReleasesOneWaiter)
{
    HANDLE manual = os::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE automatic = os::CreateEventA(nullptr, FALSE, TRUE, nullptr);
    EXPECT_EQ(os::WaitForSingleObject(manual, 10), WAIT_TIMEOUT);
    os::SetEvent(manual);
    EXPECT_EQ(os::WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    EXPECT_EQ(os::WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    os::ResetEvent(manual);
    EXPECT_EQ(os::WaitForSingleObject(manual, 0), WAIT_TIMEOUT);
    EXPECT_EQ(os::WaitForSingleObject(automatic, 0), WAIT_OBJECT_0);
    EXPECT_EQ(os::WaitForSingleObject(automatic, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(os::CloseHandle(manual));
    EXPECT_TRUE(os::CloseHandle(automatic));
    EXPECT_FALSE(os::CloseHandle(manual));
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

DWORD WINAPI waitThenReturn(LPVOID event)
{
    os::WaitForSingleObject(static_cast<HANDLE>(event), INFINITE);
    return 42;
}

TEST(Threads, ExitCodeIsStillActiveUntilTheThreadEnds)
{
    HANDLE go = os::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    DWORD id = 0;
    HANDLE thread = os::CreateThread(nullptr, 0, waitThenReturn, go, 0, &id);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(id, 0u);
    DWORD code = 0;
    ASSERT_TRUE(os::GetExitCodeThread(thread, &code));
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_EQ(os::WaitForSingleObject(thread, 10), WAIT_TIMEOUT);
    os::SetEvent(go);
    EXPECT_EQ(os::WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    ASSERT_TRUE(os::GetExitCodeThread(thread, &code));
    EXPECT_EQ(code, 42u);
    os::CloseHandle(thread);
    os::CloseHandle(go);
}

struct MutexProbe {
    HANDLE mutex;
    DWORD waitResult;
    BOOL released;
    DWORD releaseError;
};

DWORD WINAPI probeForeignMutex(LPVOID parameter)
{
    auto* probe = static_cast<MutexProbe*>(parameter);
    probe->waitResult = os::WaitForSingleObject(probe->mutex, 0);
    probe->released = os::ReleaseMutex(probe->mutex);
    probe->releaseError = os::GetLastError();
    return 0;
}

#if !defined(__SANITIZE_THREAD__)
DWORD WINAPI takeAndAbandon(LPVOID mutex)
{
    return os::WaitForSingleObject(static_cast<HANDLE>(mutex), INFINITE);
}
#endif

// The library's port locking relies on these rules of Win32 mutexes; the
// POSIX table copies them, the Windows one has them from the system.
TEST(NamedMutex, RecursiveForItsOwnerReleasedOnlyByItAndAbandonedByADeadOwner)
{
    std::string name = uniqueName("vkrn-test-mutex-");
    HANDLE mutex = os::CreateMutexA(nullptr, FALSE, name.c_str());
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
    HANDLE again = os::CreateMutexA(nullptr, FALSE, name.c_str());
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_FALSE(os::ReleaseMutex(mutex));  // not owned yet
    EXPECT_EQ(os::WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_EQ(os::WaitForSingleObject(again, 0), WAIT_OBJECT_0);  // same owner, same mutex

    // Another thread can neither take it nor release it.
    MutexProbe probe{mutex, 0, TRUE, 0};
    HANDLE thread = os::CreateThread(nullptr, 0, probeForeignMutex, &probe, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    ASSERT_EQ(os::WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
    os::CloseHandle(thread);
    EXPECT_EQ(probe.waitResult, static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_FALSE(probe.released);
    EXPECT_EQ(probe.releaseError, static_cast<DWORD>(ERROR_NOT_OWNER));
    EXPECT_TRUE(os::ReleaseMutex(again));
    EXPECT_TRUE(os::ReleaseMutex(mutex));

#if !defined(__SANITIZE_THREAD__)  // a lock of a dead thread is outside its model
    // A thread that ends holding it leaves it abandoned to the next waiter.
    thread = os::CreateThread(nullptr, 0, takeAndAbandon, mutex, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    ASSERT_EQ(os::WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
    DWORD taken = 0;
    EXPECT_TRUE(os::GetExitCodeThread(thread, &taken));
    EXPECT_EQ(taken, static_cast<DWORD>(WAIT_OBJECT_0));
    os::CloseHandle(thread);
    EXPECT_EQ(os::WaitForSingleObject(mutex, 0), static_cast<DWORD>(WAIT_ABANDONED));
    EXPECT_TRUE(os::ReleaseMutex(mutex));
#endif
    os::CloseHandle(again);
    os::CloseHandle(mutex);
    EXPECT_EQ(os::OpenMutexA(SYNCHRONIZE, FALSE, name.c_str()),
              nullptr);  // gone with its last handle
}

TEST(NamedMapping, SharedWhileHeldAndFreshAfterTheLastClose)
{
    std::string name = uniqueName("vkrn-test-map-");
    HANDLE first =
        os::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, name.c_str());
    ASSERT_NE(first, nullptr);
    HANDLE second =
        os::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, name.c_str());
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    auto* writer = static_cast<DWORD*>(os::MapViewOfFile(first, FILE_MAP_WRITE, 0, 0, 0));
    auto* reader = static_cast<DWORD*>(os::MapViewOfFile(second, FILE_MAP_READ, 0, 0, 0));
    ASSERT_NE(writer, nullptr);
    ASSERT_NE(reader, nullptr);
    *writer = 0xC0FFEE;
    EXPECT_EQ(*reader, 0xC0FFEEu);
    EXPECT_TRUE(os::UnmapViewOfFile(writer));
    EXPECT_TRUE(os::UnmapViewOfFile(reader));
    EXPECT_FALSE(os::UnmapViewOfFile(reader));
    os::CloseHandle(first);
    os::CloseHandle(second);

    HANDLE fresh =
        os::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, name.c_str());
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
    auto* view = static_cast<DWORD*>(os::MapViewOfFile(fresh, FILE_MAP_READ, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(*view, 0u);
    os::UnmapViewOfFile(view);
    os::CloseHandle(fresh);
    EXPECT_EQ(os::MapViewOfFile(fresh, FILE_MAP_READ, 0, 0, 0), nullptr);
}

TEST(SystemTexts, KnownCodesHaveTextUnknownOnesNone)
{
    LPSTR text = nullptr;
    const DWORD flags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    ASSERT_NE(os::FormatMessageA(flags, nullptr, ERROR_FILE_NOT_FOUND,
                                 MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                 reinterpret_cast<LPSTR>(&text), 0, nullptr),
              0u);
    EXPECT_GT(std::strlen(text), 4u);  // the wording is the system's own
    os::LocalFree(text);
    text = nullptr;
    EXPECT_EQ(os::FormatMessageA(flags, nullptr, 0x2BADF00D, 0, reinterpret_cast<LPSTR>(&text), 0,
                                 nullptr),
              0u);
}

TEST(FastClockSupport, ScalesWaitsAndClocks)
{
    HANDLE never = os::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    FastClock clock(1000);
    DWORD start = os::GetTickCount();
    EXPECT_EQ(os::WaitForSingleObject(never, 10000), WAIT_TIMEOUT);  // ~10 ms of real time
    os::Sleep(5000);
    EXPECT_GE(os::GetTickCount() - start, 10000u);
    os::CloseHandle(never);
}

}  // namespace
