#include "support/log_capture.h"

#include "log/dbg_log.h"
#include "support/fake_device.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

std::string g_logPath;

const char* capturedLogPath() { return g_logPath.c_str(); }

}  // namespace

LogCapture::LogCapture(std::uint32_t flags, bool attach)
    : m_path((std::filesystem::temp_directory_path() / (uniqueName("vkrn-test-log-") + ".log"))
                 .string()),
      m_saved(os::api())
{
    std::remove(m_path.c_str());
    g_logPath = m_path;
    os::api().LogFilePath = capturedLogPath;
    Dbg_SetLogLevelForTest(flags);
    if (attach) {
        Dbg_LibraryEntry(DLL_PROCESS_ATTACH);
        m_attached = true;
    }
}

LogCapture::~LogCapture()
{
    detach();
    Dbg_SetLogLevelForTest(0);
    os::api() = m_saved;
    std::remove(m_path.c_str());
}

void LogCapture::detach()
{
    if (!m_attached) return;
    Dbg_LibraryEntry(DLL_PROCESS_DETACH);
    m_attached = false;
}

std::string LogCapture::text() const
{
    std::ifstream in(m_path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    std::string text = out.str();
#ifdef _WIN32
    // The log is written in text mode, which turns every "\n" into "\r\n".
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text.compare(i, 2, "\r\n") != 0) plain += text[i];
    text.swap(plain);
#endif
    return text;
}

std::vector<std::string> LogCapture::records() const
{
    std::vector<std::string> result;
    std::string all = text();
    std::size_t start = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i] == '\n' && (i == 0 || all[i - 1] != '\r')) {
            result.push_back(all.substr(start, i - start));
            start = i + 1;
        }
    }
    return result;
}

std::vector<std::string> LogCapture::messages() const
{
    std::vector<std::string> result;
    for (const std::string& record : records()) {
        // "date time-secs [pid-tid] MARKER message." : the marker is nine
        // characters after the bracket and a space.
        std::size_t bracket = record.find("] ");
        if (bracket == std::string::npos || record.size() < bracket + 12) continue;
        std::string message = record.substr(bracket + 12);
        if (!message.empty() && message.back() == '.') message.pop_back();
        if (message.rfind("DllMain:", 0) == 0) continue;
        result.push_back(message);
    }
    return result;
}

bool LogCapture::contains(const std::string& needle) const
{
    return text().find(needle) != std::string::npos;
}

int LogCapture::count(const std::string& needle) const
{
    const std::string all = text();
    int found = 0;
    for (std::size_t at = all.find(needle); at != std::string::npos; at = all.find(needle, at + 1))
        ++found;
    return found;
}
