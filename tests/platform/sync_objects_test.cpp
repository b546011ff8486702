// Events, threads, mutexes and mappings of the platform table, through the
// same calls the library makes; the Windows build runs these too. Then what
// only the POSIX implementation has to get right: shared-memory names, the
// registry stand-in, and named objects across processes.

#include "platform/platform_api.h"
#include "support/fake_device.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>
#include <thread>

#ifndef _WIN32
#include "platform/posix/posix_api.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

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
    DWORD waitResult = 0, releaseError = 0;
    BOOL released = TRUE;
    std::thread([&] {
        waitResult = os::WaitForSingleObject(mutex, 0);
        released = os::ReleaseMutex(mutex);
        releaseError = os::GetLastError();
    }).join();
    EXPECT_EQ(waitResult, static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_FALSE(released);
    EXPECT_EQ(releaseError, static_cast<DWORD>(ERROR_NOT_OWNER));
    EXPECT_TRUE(os::ReleaseMutex(again));
    EXPECT_TRUE(os::ReleaseMutex(mutex));

#if !defined(__SANITIZE_THREAD__)  // a lock of a dead thread is outside its model
    // A thread that ends holding it leaves it abandoned to the next waiter.
    DWORD taken = 0;
    std::thread([&] { taken = os::WaitForSingleObject(mutex, INFINITE); }).join();
    EXPECT_EQ(taken, static_cast<DWORD>(WAIT_OBJECT_0));
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

#ifndef _WIN32

TEST(SharedMemoryNames, ValidAndDistinct)
{
    const char* names[] = {"_DSLR1394_/dev/sg3",  "_DSLR1394_%2Fdev%2Fsg3", "_DSLR1394_sim:cam/1",
                           "_DSLR1394_sim:cam_1", "plain.name-1",           ""};
    std::set<std::string> seen;
    for (const char* name : names) {
        std::string shm = os::posix::SharedMemoryName("mtx", name);
        EXPECT_EQ(shm.rfind("/vkrn.mtx.", 0), 0u);
        EXPECT_EQ(shm.find('/', 1), std::string::npos) << shm;
        EXPECT_TRUE(seen.insert(shm).second) << shm;
    }
    std::string a(400, 'a'), b = a;
    b[399] = 'b';
    std::string longA = os::posix::SharedMemoryName("map", a.c_str());
    EXPECT_LE(longA.size(), 200u);
    EXPECT_NE(longA, os::posix::SharedMemoryName("map", b.c_str()));
}

TEST(RegistryStandIn, DebugWordComesFromTheEnvironment)
{
    struct Case {
        const char* value;
        LONG query;
        DWORD word;
    } cases[] = {{"0x7F", ERROR_SUCCESS, 0x7F},
                 {"4194304", ERROR_SUCCESS, 0x400000},
                 {"junk", ERROR_FILE_NOT_FOUND, 0},
                 {nullptr, ERROR_FILE_NOT_FOUND, 0}};
    for (const Case& c : cases) {
        if (c.value != nullptr) {
            setenv("VKRN_DSLRLOGLEVEL", c.value, 1);
        } else {
            unsetenv("VKRN_DSLRLOGLEVEL");
        }
        HKEY key = nullptr;
        LONG opened = os::RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Velor\\ARXdebug", 0,
                                        KEY_QUERY_VALUE, &key);
        if (c.value == nullptr) {
            EXPECT_EQ(opened, ERROR_FILE_NOT_FOUND);
            continue;
        }
        ASSERT_EQ(opened, ERROR_SUCCESS);
        DWORD word = 0, type = 0, size = sizeof(word);
        EXPECT_EQ(os::RegQueryValueExA(key, "dslrLogLevel", nullptr, &type,
                                       reinterpret_cast<LPBYTE>(&word), &size),
                  c.query);
        EXPECT_EQ(word, c.word);
        os::RegCloseKey(key);
    }
    unsetenv("VKRN_DSLRLOGLEVEL");
}

TEST(NamedMappingAcrossProcesses, StaleObjectOfADeadProcessStartsAfresh)
{
    std::string name = "vkrn-test-stale-" + std::to_string(getpid());
    pid_t child = fork();
    if (child == 0) {
        HANDLE mapping = os::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4,
                                                name.c_str());
        auto* word = static_cast<DWORD*>(os::MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
        *word = 7;
        raise(SIGKILL);  // dies holding it, without closing
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    HANDLE mapping =
        os::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, name.c_str());
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
    auto* word = static_cast<DWORD*>(os::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
    EXPECT_EQ(*word, 0u);
    os::UnmapViewOfFile(word);
    os::CloseHandle(mapping);
}

#endif  // _WIN32

}  // namespace
