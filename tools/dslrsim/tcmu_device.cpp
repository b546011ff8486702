#include "tools/dslrsim/tcmu_device.h"

#include "tools/dslrsim/tcmu_ring.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>

namespace dslrsim {

namespace {

std::string firstLine(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// "tcm-user/1/camera/dslrsim" names the backstore "camera".
bool namesBackstore(const std::string& uioName, const std::string& name)
{
    const std::string prefix = "tcm-user/";
    if (uioName.compare(0, prefix.size(), prefix) != 0) return false;
    const std::size_t start = uioName.find('/', prefix.size());
    if (start == std::string::npos) return false;
    const std::size_t end = uioName.find('/', start + 1);
    return uioName.substr(start + 1, end == std::string::npos ? end : end - start - 1) == name;
}

// classDir/uio/leaf, e.g. /sys/class/uio/uio0/name.
std::string uioFile(const std::string& classDir, const std::string& uio, const char* leaf)
{
    std::string path = classDir;
    path += '/';
    path += uio;
    path += leaf;
    return path;
}

}  // namespace

std::string findTcmuUio(const std::string& classDir, const std::string& name)
{
    DIR* dir = ::opendir(classDir.c_str());
    if (dir == nullptr) return {};
    std::string found;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string uio = entry->d_name;
        if (uio.compare(0, 3, "uio") == 0 &&
            namesBackstore(firstLine(uioFile(classDir, uio, "/name")), name)) {
            found = uio;
            break;
        }
    }
    ::closedir(dir);
    return found;
}

TcmuDevice::~TcmuDevice()
{
    stop();
    if (m_area != nullptr) ::munmap(m_area, m_size);
    if (m_uio >= 0) ::close(m_uio);
    if (m_wake >= 0) ::close(m_wake);
}

bool TcmuDevice::open(const std::string& name, std::string& error)
{
    const std::string classDir = "/sys/class/uio";
    const std::string uio = findTcmuUio(classDir, name);
    if (uio.empty()) {
        error = "no user backstore named '" + name +
                "' (is target_core_user loaded and the backstore enabled? see docs/linux-sg.md)";
        return false;
    }
    m_size =
        std::strtoull(firstLine(uioFile(classDir, uio, "/maps/map0/size")).c_str(), nullptr, 0);
    m_uio = ::open(("/dev/" + uio).c_str(), O_RDWR | O_CLOEXEC);
    m_wake = ::eventfd(0, EFD_CLOEXEC);
    if (m_uio < 0 || m_wake < 0 || m_size == 0) {
        error = "cannot open /dev/" + uio + ": " + std::strerror(errno);
        return false;
    }
    void* area = ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, m_uio, 0);
    if (area == MAP_FAILED) {
        error = "cannot map the ring of /dev/" + uio + ": " + std::strerror(errno);
        return false;
    }
    m_area = static_cast<std::uint8_t*>(area);
    if (!TcmuRing(m_area, m_size).valid()) {
        error = "/dev/" + uio + " holds no command ring this program understands";
        return false;
    }
    return true;
}

void TcmuDevice::start()
{
    m_worker = std::thread([this] { run(); });
}

void TcmuDevice::stop()
{
    if (!m_worker.joinable()) return;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wake, &one, sizeof(one));
    m_worker.join();
}

void TcmuDevice::run()
{
    TcmuRing ring(m_area, m_size);
    for (;;) {
        // Commands queued before the node was opened are served at once.
        if (ring.serve(m_camera) > 0) {
            const std::uint32_t kick = 0;
            if (::write(m_uio, &kick, sizeof(kick)) < 0 && errno != EINTR) break;
        }
        pollfd watched[2] = {{m_uio, POLLIN, 0}, {m_wake, POLLIN, 0}};
        if (::poll(watched, 2, -1) < 0 && errno != EINTR) break;
        if (watched[1].revents != 0) return;
        std::uint32_t events = 0;
        if ((watched[0].revents & POLLIN) != 0 && ::read(m_uio, &events, sizeof(events)) < 0 &&
            errno != EINTR)
            break;
        if ((watched[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) break;
    }
    m_removed = true;  // the kernel took the backstore away
}

}  // namespace dslrsim
