// What only the Windows table has to get right: that its entries are the
// system's own, and that the DLL itself loads through the real loader,
// exports its two functions by name and ordinal, and writes its attach
// records to C:\vkrn1394.log only when the registry asks for a log.

#ifdef _WIN32

#include "VKRNQ402.h"
#include "platform/platform_api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

TEST(WindowsTable, EntriesAreTheSystemsOwn)
{
    // A forgotten entry would be a null pointer that only crashes when the
    // library first takes that path.
    static_assert(sizeof(os::Api) % sizeof(void*) == 0, "the table holds pointers only");
    std::uintptr_t entries[sizeof(os::Api) / sizeof(void*)];
    std::memcpy(entries, &os::systemApi(), sizeof(entries));
    for (std::size_t i = 0; i < sizeof(entries) / sizeof(entries[0]); ++i) {
        EXPECT_NE(entries[i], 0u) << "entry " << i;
    }

    os::SetLastError(ERROR_SHARING_VIOLATION);
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(os::GetCurrentProcessId(), ::GetCurrentProcessId());
    EXPECT_EQ(os::GetCurrentThreadId(), ::GetCurrentThreadId());

    // The library takes the NT path on every system it still runs on.
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof(version);
    ASSERT_TRUE(os::GetVersionExA(&version));
    EXPECT_EQ(version.dwPlatformId, static_cast<DWORD>(VER_PLATFORM_WIN32_NT));

    EXPECT_STREQ(os::systemApi().LogFilePath(), "C:\\vkrn1394.log");
    EXPECT_EQ(os::timeBeginPeriod(1), static_cast<UINT>(TIMERR_NOERROR));
    EXPECT_EQ(os::timeEndPeriod(1), static_cast<UINT>(TIMERR_NOERROR));
}

// Sets HKLM\SOFTWARE\Velor\ARXdebug\dslrLogLevel for one test and puts back
// whatever was there before, so that a developer's own setting survives.
class LogLevelSetting {
public:
    LogLevelSetting()
    {
        HKEY velor = nullptr;
        m_velorExisted = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Velor", 0, KEY_QUERY_VALUE,
                                         &velor) == ERROR_SUCCESS;
        if (m_velorExisted) ::RegCloseKey(velor);
        DWORD disposition = 0;
        if (::RegCreateKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0,
                              KEY_QUERY_VALUE | KEY_SET_VALUE, nullptr, &m_key,
                              &disposition) != ERROR_SUCCESS) {
            m_key = nullptr;
            return;
        }
        m_keyCreated = disposition == REG_CREATED_NEW_KEY;
        DWORD size = sizeof(m_old);
        m_hadOld = ::RegQueryValueExA(m_key, kValue, nullptr, nullptr,
                                      reinterpret_cast<LPBYTE>(&m_old), &size) == ERROR_SUCCESS;
    }
    ~LogLevelSetting()
    {
        if (m_key == nullptr) return;
        if (m_hadOld) {
            set(m_old);
        } else {
            ::RegDeleteValueA(m_key, kValue);
        }
        ::RegCloseKey(m_key);
        if (m_keyCreated) ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, kKey);
        if (!m_velorExisted) ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Velor");
    }
    LogLevelSetting(const LogLevelSetting&) = delete;
    LogLevelSetting& operator=(const LogLevelSetting&) = delete;

    bool writable() const { return m_key != nullptr; }
    void set(DWORD flags)
    {
        ::RegSetValueExA(m_key, kValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&flags),
                         sizeof(flags));
    }
    void remove() { ::RegDeleteValueA(m_key, kValue); }

private:
    static constexpr const char* kKey = "SOFTWARE\\Velor\\ARXdebug";
    static constexpr const char* kValue = "dslrLogLevel";
    HKEY m_key = nullptr;
    bool m_keyCreated = false;
    bool m_velorExisted = false;
    bool m_hadOld = false;
    DWORD m_old = 0;
};

// The DLL next to the test binaries (build/src beside build/tests), unless
// VKRN_DLL names another one.
std::string dllPath()
{
    if (const char* path = std::getenv("VKRN_DLL")) return path;
    char exe[MAX_PATH] = {};
    DWORD length = ::GetModuleFileNameA(nullptr, exe, MAX_PATH);
    std::string dir(exe, length);
    dir.erase(dir.find_last_of("\\/") + 1);
    return dir + "..\\src\\VKRNQ402.dll";
}

std::string fileText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

template <typename Function>
Function procedure(HMODULE module, LPCSTR nameOrOrdinal)
{
    FARPROC address = ::GetProcAddress(module, nameOrOrdinal);
    Function function = nullptr;
    static_assert(sizeof(function) == sizeof(address), "code pointers have one size");
    std::memcpy(&function, &address, sizeof(function));
    return function;
}

TEST(WindowsDll, LoadsExportsByNameAndOrdinalAndLogsWhenAsked)
{
    using GetObjectFn = DslrObject*(DSLR_STDCALL*)();
    using DeleteObjectFn = void(DSLR_STDCALL*)(DslrObject*);
    LogLevelSetting setting;
    if (!setting.writable()) GTEST_SKIP() << "HKLM is not writable here (not an administrator)";
    const std::string logPath = os::systemApi().LogFilePath();
    const std::string path = dllPath();
    const bool logExisted = std::ifstream(logPath).good();

    for (bool logging : {false, true}) {
        SCOPED_TRACE(logging ? "with a log level" : "without a log level");
        if (logging) {
            setting.set(0x1);
        } else {
            setting.remove();
        }
        const std::size_t logBefore = fileText(logPath).size();

        HMODULE module = ::LoadLibraryA(path.c_str());
        ASSERT_NE(module, nullptr) << path << ": error " << ::GetLastError();
        auto getObject = procedure<GetObjectFn>(module, "DSLR_GetObject");
        auto deleteObject = procedure<DeleteObjectFn>(module, "DSLR_DeleteObject");
        ASSERT_NE(getObject, nullptr);
        ASSERT_NE(deleteObject, nullptr);
        EXPECT_EQ(procedure<GetObjectFn>(module, MAKEINTRESOURCEA(2)), getObject);
        EXPECT_EQ(procedure<DeleteObjectFn>(module, MAKEINTRESOURCEA(1)), deleteObject);
        EXPECT_EQ(procedure<GetObjectFn>(module, MAKEINTRESOURCEA(3)), nullptr);

        DslrObject* object = getObject();
        EXPECT_NE(object, nullptr);
        deleteObject(object);
        deleteObject(nullptr);
        EXPECT_TRUE(::FreeLibrary(module));

        std::string added = fileText(logPath);
        added.erase(0, logBefore);
        EXPECT_EQ(added.find("DllMain: DLL_PROCESS_ATTACH") != std::string::npos, logging) << added;
        EXPECT_EQ(added.find("DllMain: DLL_PROCESS_DETACH") != std::string::npos, logging) << added;
    }
    // Only a log this test started is removed; a developer's own stays.
    if (!logExisted) std::remove(logPath.c_str());
}

}  // namespace

#endif  // _WIN32
