#ifndef _WIN32

#include "support/child_process.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

ChildProcess::ChildProcess(const std::vector<std::string>& arguments)
{
    int in[2], out[2];
    if (::pipe2(in, O_CLOEXEC) != 0) return;
    if (::pipe2(out, O_CLOEXEC) != 0) {
        ::close(in[0]);
        ::close(in[1]);
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, out[1], 2);
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    if (::posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    m_stdin = in[1];
    m_stdout = out[0];
}

ChildProcess::~ChildProcess()
{
    if (m_pid > 0 && !m_reaped) {
        ::kill(m_pid, SIGKILL);
        wait();
    }
    if (m_stdin >= 0) ::close(m_stdin);
    if (m_stdout >= 0) ::close(m_stdout);
}

// Appends what the output holds to the buffer; false at its end or when
// nothing came in time.
bool ChildProcess::readMore(int timeoutMs)
{
    pollfd ready = {m_stdout, POLLIN, 0};
    if (::poll(&ready, 1, timeoutMs) <= 0) return false;
    char chunk[256];
    const ssize_t got = ::read(m_stdout, chunk, sizeof(chunk));
    if (got <= 0) return false;
    m_buffered.append(chunk, static_cast<std::size_t>(got));
    return true;
}

std::string ChildProcess::readLine(int timeoutMs)
{
    std::size_t end;
    while ((end = m_buffered.find('\n')) == std::string::npos)
        if (!readMore(timeoutMs)) return {};
    std::string line = m_buffered.substr(0, end);
    m_buffered.erase(0, end + 1);
    return line;
}

std::string ChildProcess::readAll(int timeoutMs)
{
    while (readMore(timeoutMs)) {
    }
    std::string text;
    text.swap(m_buffered);
    return text;
}

void ChildProcess::writeLine(const std::string& line)
{
    const std::string text = line + "\n";
    (void)!::write(m_stdin, text.data(), text.size());
}

void ChildProcess::signal(int number)
{
    if (m_pid > 0 && !m_reaped) ::kill(m_pid, number);
}

int ChildProcess::wait()
{
    if (m_pid <= 0 || m_reaped) return -1;
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_reaped = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

#ifndef DSLRSIM_PATH
#define DSLRSIM_PATH "dslrsim"  // not built: the spawn fails and the camera is not ready
#endif

Dslrsim::Dslrsim(const std::string& address, const std::vector<std::string>& options)
    : ChildProcess([&] {
          std::vector<std::string> arguments = {DSLRSIM_PATH, "--listen", address};
          arguments.insert(arguments.end(), options.begin(), options.end());
          return arguments;
      }())
{
    m_ready = started() && readLine().find("listening") != std::string::npos;
    if (address.rfind("unix:", 0) == 0) m_socketFile = address.substr(5);
}

Dslrsim::~Dslrsim()
{
    signal(SIGTERM);
    wait();
    if (!m_socketFile.empty()) ::unlink(m_socketFile.c_str());
}

int freeLoopbackPort()
{
    int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    int port = 0;
    if (::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
        ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(probe);
    return port;
}

#endif  // _WIN32
