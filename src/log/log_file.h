// The log file's lifetime and the record writer, both under the log lock.
#pragma once

// Holds the process-wide log lock for a scope. The lock is created on first
// use and never deleted; nothing else is taken while it is held.
class LogLockGuard {
public:
    LogLockGuard();
    ~LogLockGuard();
    LogLockGuard(const LogLockGuard&) = delete;
    LogLockGuard& operator=(const LogLockGuard&) = delete;
};

// Opens the log for appending and raises the timer resolution; shows the
// error box and returns false when the file cannot be opened. Call under the
// lock.
bool LogFile_Open();
// Writes one record line and flushes it; does nothing while no file is open.
void LogFile_Write(const char* marker, const char* message);
// Restores the timer resolution and closes the file.
void LogFile_Close();
