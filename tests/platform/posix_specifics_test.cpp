// What only the POSIX implementation has to get right: shared-memory names,
// the registry stand-in, and named objects across processes.

#ifndef _WIN32

#include "platform/platform_api.h"
#include "platform/posix/posix_api.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <signal.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

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

}  // namespace

#endif  // _WIN32
