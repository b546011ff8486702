// Captures the diagnostic log of one test in a file of its own.
//
// The flag word is set as if the registry held it, the log's path is
// redirected through the platform table, and the library's attach handling
// opens the file; the destructor detaches, removes the file and turns
// logging off again.
#pragma once

#include "platform/platform_api.h"

#include <cstdint>
#include <string>
#include <vector>

class LogCapture {
public:
    explicit LogCapture(std::uint32_t flags, bool attach = true);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The whole file as written so far.
    std::string text() const;
    // One entry per record. A record ends with ".\n"; hex dumps hold "\r\n"
    // inside a record, which does not end it.
    std::vector<std::string> records() const;
    // The message part of every record (after the marker), attach records
    // left out.
    std::vector<std::string> messages() const;
    bool contains(const std::string& needle) const;
    // How often the text stands in the file.
    int count(const std::string& needle) const;
    const std::string& path() const { return m_path; }
    void detach();

private:
    std::string m_path;
    os::Api m_saved;
    bool m_attached = false;
};
