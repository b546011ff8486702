// "/dev/sgN" through the sg driver's asynchronous interface: write() hands
// the command to the kernel, poll() waits for its answer or for the handle
// to close, read() collects it. One command at a time, on the worker of the
// asynchronous device, like the other targets.
//
// Not SG_IO: an SG_IO ioctl blocks in the kernel until the device answers,
// and only a signal gets the thread out of it; a library has no business
// installing signal handlers in its host. With write/poll/read, closing a
// handle wakes the worker at once; the kernel drops the orphaned command
// when the node is closed, and since the data of a read is copied out only
// by read(), nothing is written to the buffer afterwards.

#include "platform/devices/sg_target.h"

#include "platform/devices/host_interrupt.h"
#include "platform/devices/sg_status.h"
#include "platform/win32_types.h"

#include <algorithm>
#include <cstring>

#ifdef __linux__
#include <cerrno>
#include <cstdio>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <scsi/sg.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace devices {

std::string sgAccessHelp(const std::string& path, const std::string& group)
{
    std::string text = "cannot open " + path + ": permission denied";
    if (group.empty() || group == "root") return text + " (run as root)";
    return text + "; the camera's node belongs to group '" + group +
           "': add your user to it (sudo usermod -aG " + group + " $USER) and log in again";
}

#ifdef __linux__

namespace {

constexpr char kSgPrefix[] = "/dev/sg";

class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : m_fd(fd) {}
    ~FileDescriptor()
    {
        if (m_fd >= 0) ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }
    int release()
    {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }

private:
    int m_fd;
};

int sgDirection(DataDirection direction)
{
    if (direction == DataDirection::kIn) return SG_DXFER_FROM_DEV;
    if (direction == DataDirection::kOut) return SG_DXFER_TO_DEV;
    return SG_DXFER_NONE;
}

template <typename Call>
long retryInterrupted(Call call)
{
    long result = 0;
    do result = call();
    while (result < 0 && errno == EINTR);
    return result;
}

class SgTarget : public ScsiTarget {
public:
    SgTarget(int fd, int wake) : m_fd(fd), m_wake(wake), m_hostInterrupt(hostInterruptFd()) {}

    // The whole command runs in finish(), on the handle's worker.
    ScsiOutcome finish(const ScsiCommand& command, std::uint8_t* buffer,
                       std::uint8_t* sense) override
    {
        sg_io_hdr_t header{};
        header.interface_id = 'S';
        header.dxfer_direction = sgDirection(command.direction);
        header.cmd_len = command.cdbLength;
        header.mx_sb_len = command.senseLength;
        header.dxfer_len = command.length;
        header.dxferp = buffer;
        header.cmdp = const_cast<unsigned char*>(command.cdb);
        header.sbp = sense;
        // 0 leaves the device's own default time-out in force.
        header.timeout = command.timeoutMs;
        header.pack_id = static_cast<int>(++m_tag);

        if (retryInterrupted([&] { return ::write(m_fd.get(), &header, sizeof(header)); }) < 0)
            return srbOutcomeOf({errno});
        if (const int error = awaitAnswer(header, commandDeadline(command.timeoutMs)))
            return srbOutcomeOf({error});
        SgReport report{0,
                        header.host_status,
                        header.driver_status,
                        header.status,
                        header.resid,
                        command.length};
        ScsiOutcome outcome = srbOutcomeOf(report);
        if (outcome.completion == Completion::kDone)
            outcome.senseLength = std::min<std::uint8_t>(header.sb_len_wr, command.senseLength);
        return outcome;
    }

    void interrupt() override
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(m_wake.get(), &one, sizeof(one));
    }

private:
    // Reads the answer into `header` once the kernel has it; the errno that
    // ended the wait otherwise (ENODEV when the handle is closing, the host
    // interrupts its waits, the device has left, or the kernel has not
    // answered by the deadline, which its own time-out of the same length
    // should have met first). One command at a time: the answer is this
    // command's.
    int awaitAnswer(sg_io_hdr_t& header, Deadline deadline)
    {
        for (;;) {
            if (!answerArrived(deadline)) return ENODEV;
            if (retryInterrupted([&] { return ::read(m_fd.get(), &header, sizeof(header)); }) >= 0)
                return 0;
            if (errno != EAGAIN) return errno;
        }
    }

    bool answerArrived(Deadline deadline)
    {
        pollfd watched[3] = {
            {m_fd.get(), POLLIN, 0}, {m_wake.get(), POLLIN, 0}, {m_hostInterrupt, POLLIN, 0}};
        const nfds_t count = m_hostInterrupt >= 0 ? 3 : 2;
        const long ready =
            retryInterrupted([&] { return ::poll(watched, count, millisecondsUntil(deadline)); });
        if (ready <= 0) return false;  // the deadline passed, or poll itself failed
        if (watched[1].revents != 0 || (count == 3 && watched[2].revents != 0)) return false;
        return (watched[0].revents & POLLIN) != 0;
    }

    FileDescriptor m_fd;
    FileDescriptor m_wake;
    int m_hostInterrupt;  // the host's, not ours to close
    std::uint32_t m_tag = 0;
};

std::string groupOf(const char* path)
{
    struct stat info {};
    if (::stat(path, &info) != 0) return {};
    std::vector<char> scratch(4096);
    group entry{};
    group* found = nullptr;
    if (::getgrgid_r(info.st_gid, &entry, scratch.data(), scratch.size(), &found) != 0 ||
        found == nullptr)
        return std::to_string(info.st_gid);
    return found->gr_name;
}

std::uint32_t win32ErrorOfOpen(int error)
{
    switch (error) {
        case ENOENT:
        case ENOTDIR:
        case ENODEV:
        case ENXIO:
            return ERROR_FILE_NOT_FOUND;
        case EACCES:
        case EPERM:
            return ERROR_ACCESS_DENIED;
        case EBUSY:
            return ERROR_SHARING_VIOLATION;  // another program has the camera
        default:
            return ERROR_GEN_FAILURE;
    }
}

}  // namespace

bool isSgPath(const char* path)
{
    return path != nullptr && std::strncmp(path, kSgPrefix, std::strlen(kSgPrefix)) == 0;
}

std::unique_ptr<ScsiTarget> openSgTarget(const char* path, std::uint32_t& error)
{
    // O_EXCL makes the handle the device's only one, as the still-image
    // driver's exclusive open does; with O_NONBLOCK a node someone else has
    // open fails at once (EBUSY) instead of waiting for them to close it.
    FileDescriptor fd(::open(path, O_RDWR | O_EXCL | O_NONBLOCK | O_CLOEXEC));
    if (!fd.valid()) {
        const int openError = errno;
        error = win32ErrorOfOpen(openError);
        // The result code cannot say which group is missing, and a person
        // has to act on it: the one message the library prints itself.
        if (error == ERROR_ACCESS_DENIED)
            std::fprintf(stderr, "VKRNQ402: %s\n", sgAccessHelp(path, groupOf(path)).c_str());
        return nullptr;
    }
    int version = 0;
    if (::ioctl(fd.get(), SG_GET_VERSION_NUM, &version) != 0 || version < 30000) {
        error = ERROR_NOT_SUPPORTED;  // not an sg node of the version-3 interface
        return nullptr;
    }
    FileDescriptor wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake.valid()) {
        error = ERROR_NOT_ENOUGH_MEMORY;
        return nullptr;
    }
    return std::make_unique<SgTarget>(fd.release(), wake.release());
}

#else

bool isSgPath(const char*) { return false; }

std::unique_ptr<ScsiTarget> openSgTarget(const char*, std::uint32_t& error)
{
    error = ERROR_FILE_NOT_FOUND;
    return nullptr;
}

#endif

}  // namespace devices
