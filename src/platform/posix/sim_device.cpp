// "sim:NAME": an in-process simulated camera. Every handle of one name in a
// process reaches the same camera. Commands complete on the handle's own
// worker thread, as a driver completes overlapped requests.

#include "platform/posix/posix_api.h"
#include "platform/scsiscan.h"
#include "sim/camera.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace os::posix {

namespace {

void complete(LPOVERLAPPED overlapped, ULONG_PTR status, DWORD transferred)
{
    overlapped->InternalHigh = transferred;
    __atomic_store_n(&overlapped->Internal, status, __ATOMIC_RELEASE);
    SetEvent(overlapped->hEvent);
}

class SimDevice : public KernelObject {
public:
    explicit SimDevice(std::shared_ptr<sim::Camera> camera)
        : m_camera(std::move(camera)), m_worker([this] { run(); })
    {
    }
    ~SimDevice() override
    {
        {
            std::lock_guard<std::mutex> guard(m_lock);
            m_stopping = true;
        }
        m_changed.notify_all();
        m_worker.join();
    }

    BOOL deviceIoControl(DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD, LPDWORD,
                         LPOVERLAPPED overlapped) override
    {
        if (code == IOCTL_SCSISCAN_SET_TIMEOUT) return TRUE;
        if (code != IOCTL_SCSISCAN_CMD || in == nullptr || inSize < sizeof(SCSISCAN_CMD) ||
            overlapped == nullptr) {
            setLastError(ERROR_INVALID_PARAMETER);
            return FALSE;
        }
        const auto* block = static_cast<const SCSISCAN_CMD*>(in);
        Job job{std::vector<BYTE>(block->Cdb, block->Cdb + std::min<BYTE>(block->CdbLength, 16)),
                static_cast<BYTE*>(out), block->TransferLength, block->pSrbStatus, overlapped};
        __atomic_store_n(&overlapped->Internal, STATUS_PENDING, __ATOMIC_RELEASE);
        {
            std::lock_guard<std::mutex> guard(m_lock);
            m_jobs.push_back(std::move(job));
        }
        m_changed.notify_all();
        setLastError(ERROR_IO_PENDING);
        return FALSE;
    }

    // Commands not yet started are taken back; one under way finishes.
    BOOL cancelIo() override
    {
        std::deque<Job> cancelled;
        {
            std::lock_guard<std::mutex> guard(m_lock);
            cancelled.swap(m_jobs);
        }
        for (Job& job : cancelled) complete(job.overlapped, ERROR_OPERATION_ABORTED, 0);
        return TRUE;
    }

private:
    struct Job {
        std::vector<BYTE> cdb;
        BYTE* data;
        DWORD length;
        BYTE* srbStatus;
        LPOVERLAPPED overlapped;
    };

    void run()
    {
        for (;;) {
            Job job;
            {
                std::unique_lock<std::mutex> lock(m_lock);
                m_changed.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
                if (m_jobs.empty()) return;
                job = std::move(m_jobs.front());
                m_jobs.pop_front();
            }
            sim::CommandResult result =
                m_camera->execute(job.cdb.data(), job.cdb.size(), job.data, job.length);
            if (job.srbStatus != nullptr) *job.srbStatus = result.srbStatus;
            complete(job.overlapped, 0, result.transferred);
        }
    }

    std::shared_ptr<sim::Camera> m_camera;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<Job> m_jobs;
    bool m_stopping = false;
    std::thread m_worker;
};

}  // namespace

std::shared_ptr<KernelObject> OpenSimDevice(const char* path)
{
    return std::make_shared<SimDevice>(sim::cameraNamed(path + 4));
}

}  // namespace os::posix
