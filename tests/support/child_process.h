// A program run as a separate process for tests that need one (dslrsim,
// a second user of a port): started with posix_spawn, its standard output
// read line by line with a time limit, its standard input written to, and
// ended (killed if need be) when the owner goes. Its standard error joins
// its output. POSIX only.
#pragma once

#ifndef _WIN32

#include <string>
#include <sys/types.h>
#include <vector>

class ChildProcess {
public:
    explicit ChildProcess(const std::vector<std::string>& arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return m_pid > 0; }
    // The next line of output without its newline; empty when none came in time.
    std::string readLine(int timeoutMs = 60000);
    // Everything up to the end of the output (or the time limit).
    std::string readAll(int timeoutMs = 60000);
    void writeLine(const std::string& line);
    void signal(int number);
    // Waits for the end; returns the exit status, or 128 + signal number.
    int wait();

private:
    bool readMore(int timeoutMs);

    pid_t m_pid = -1;
    int m_stdin = -1;
    int m_stdout = -1;
    std::string m_buffered;
    bool m_reaped = false;
};

// The simulated camera daemon serving `address` ("unix:PATH" or
// "tcp:HOST:PORT"), ready once constructed (started() tells).
class Dslrsim : public ChildProcess {
public:
    explicit Dslrsim(const std::string& address, const std::vector<std::string>& options = {});
    // Stops it as a user would, so that it removes its socket file; the file
    // of one that a test killed is removed here.
    ~Dslrsim();
    bool ready() const { return m_ready; }

private:
    bool m_ready = false;
    std::string m_socketFile;
};

// A TCP port on the loopback interface that was free a moment ago.
int freeLoopbackPort();

#endif  // _WIN32
