#include "platform/devices/async_device.h"

#include "platform/platform_api.h"
#include "platform/scsiscan.h"

#include <algorithm>
#include <cstring>
#include <system_error>

namespace devices {

struct AsyncDevice::Job {
    std::uint8_t cdb[16] = {};
    ScsiCommand command;
    std::vector<std::uint8_t> staging;  // a queued command's data, copied in and out
    BYTE* data = nullptr;               // what the target works on: staging or the caller's
    std::uint8_t sense[255] = {};
    BYTE* callerBuffer = nullptr;
    BYTE* callerSense = nullptr;
    BYTE* srbStatus = nullptr;
    LPOVERLAPPED overlapped = nullptr;
    bool finished = false;
};

namespace {

DataDirection directionOf(DWORD srbFlags)
{
    if (srbFlags & SRB_FLAGS_DATA_IN) return DataDirection::kIn;
    if (srbFlags & SRB_FLAGS_DATA_OUT) return DataDirection::kOut;
    return DataDirection::kNone;
}

// How long the caller's thread waits for an answer before it leaves the wait
// to the worker: longer than a camera takes for a block, and short next to
// the library's own waits (a second and more), which begin when the call
// returns.
constexpr std::uint32_t kInlineWaitMs = 20;

}  // namespace

AsyncDevice::AsyncDevice(std::unique_ptr<ScsiTarget> target) : m_target(std::move(target)) {}

AsyncDevice::~AsyncDevice()
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_stopping = true;
        cancelAllLocked();
    }
    m_target->interrupt();
    m_changed.notify_all();
    if (m_worker.joinable()) m_worker.join();
}

DWORD AsyncDevice::deviceIoControl(DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                                   LPOVERLAPPED overlapped)
{
    if (code == IOCTL_SCSISCAN_SET_TIMEOUT) {
        if (in == nullptr || inSize < sizeof(DWORD)) return ERROR_INVALID_PARAMETER;
        DWORD seconds = 0;
        std::memcpy(&seconds, in, sizeof(seconds));
        std::lock_guard<std::mutex> guard(m_lock);
        m_timeoutMs = seconds > 0xFFFFFFFFu / 1000 ? 0xFFFFFFFFu : seconds * 1000;
        return 0;
    }
    if (code != IOCTL_SCSISCAN_CMD) return ERROR_INVALID_FUNCTION;
    return submitCommand(in, inSize, static_cast<BYTE*>(out), outSize, overlapped);
}

DWORD AsyncDevice::submitCommand(const void* in, DWORD inSize, BYTE* out, DWORD outSize,
                                 LPOVERLAPPED overlapped)
{
    // Commands complete only through an OVERLAPPED record; the data must fit
    // the caller's buffer, and the CDB its 16 bytes.
    if (in == nullptr || inSize < sizeof(SCSISCAN_CMD) || overlapped == nullptr)
        return ERROR_INVALID_PARAMETER;
    SCSISCAN_CMD block;
    std::memcpy(&block, in, sizeof(block));
    if (block.CdbLength == 0 || block.CdbLength > sizeof(block.Cdb) ||
        block.TransferLength > outSize || (out == nullptr && block.TransferLength != 0))
        return ERROR_INVALID_PARAMETER;

    auto job = std::make_shared<Job>();
    std::memcpy(job->cdb, block.Cdb, block.CdbLength);
    job->command.cdb = job->cdb;
    job->command.cdbLength = block.CdbLength;
    job->command.direction = directionOf(block.SrbFlags);
    job->command.length = block.TransferLength;
    job->command.senseLength = block.pSenseBuffer != nullptr ? block.SenseLength : 0;
    job->callerBuffer = out;
    job->callerSense = block.pSenseBuffer;
    job->srbStatus = block.pSrbStatus;
    job->overlapped = overlapped;
    __atomic_store_n(&overlapped->Internal, STATUS_PENDING, __ATOMIC_RELEASE);
    overlapped->InternalHigh = 0;
    if (claimForInline()) return runInline(job);
    stage(*job);
    return queue(std::move(job));
}

void AsyncDevice::stage(Job& job)
{
    const BYTE* out = job.callerBuffer;
    job.staging.assign(
        out, out + (job.command.direction == DataDirection::kOut ? job.command.length : 0));
    job.staging.resize(job.command.length);
    job.data = job.staging.data();
}

// Commands of one handle run one at a time and in order: on the caller's
// thread only when the target is idle and nothing waits in the queue.
bool AsyncDevice::claimForInline()
{
    std::lock_guard<std::mutex> guard(m_lock);
    if (m_running || !m_queue.empty()) return false;
    m_running = true;
    return true;
}

DWORD AsyncDevice::runInline(const std::shared_ptr<Job>& job)
{
    std::unique_lock<std::mutex> lock(m_lock);
    job->command.timeoutMs = m_timeoutMs;
    if (m_lost) return completeInline(job, {SRB_STATUS_REQUEST_FLUSHED, 0}, lock);
    lock.unlock();
    m_target->start(job->command, job->callerBuffer);
    if (!m_target->answerWithin(kInlineWaitMs)) return handOver(job);
    const ScsiOutcome outcome = m_target->finish(job->command, job->callerBuffer, job->sense);
    lock.lock();
    return completeInline(job, outcome, lock);
}

DWORD AsyncDevice::completeInline(const std::shared_ptr<Job>& job, const ScsiOutcome& outcome,
                                  std::unique_lock<std::mutex>& lock)
{
    job->data = job->callerBuffer;
    m_running = false;
    // A command the device never answers stays the caller's to cancel; it
    // is pending, as a queued one would be. A cancel that came while the
    // command ran did not see it: it completes as if it had come after.
    if (outcome.completion == Completion::kNever) m_started.push_back(job);
    settle(job, outcome);
    const bool completed = job->finished;
    // Only commands queued behind this one wait for the target: a worker
    // with nothing to do is not woken for every command.
    const bool queued = !m_queue.empty();
    lock.unlock();
    if (queued) m_changed.notify_all();
    return completed ? 0 : ERROR_IO_PENDING;
}

// The answer is slow in coming: the worker waits for it, into staging, and
// the call returns with the command pending.
DWORD AsyncDevice::handOver(const std::shared_ptr<Job>& job)
{
    stage(*job);
    std::unique_lock<std::mutex> lock(m_lock);
    if (!startWorkerLocked()) {
        // No thread to leave it to: the caller's waits, as long as it takes.
        lock.unlock();
        const ScsiOutcome outcome = m_target->finish(job->command, job->callerBuffer, job->sense);
        lock.lock();
        return completeInline(job, outcome, lock);
    }
    m_started.push_back(job);
    m_handedOver = job;
    lock.unlock();
    m_changed.notify_all();
    return ERROR_IO_PENDING;
}

bool AsyncDevice::startWorkerLocked()
{
    if (m_worker.joinable()) return true;
    try {
        m_worker = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

DWORD AsyncDevice::queue(std::shared_ptr<Job> job)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        job->command.timeoutMs = m_timeoutMs;
        if (!startWorkerLocked()) return ERROR_NOT_ENOUGH_MEMORY;  // nothing was queued
        m_queue.push_back(std::move(job));
    }
    m_changed.notify_all();
    return ERROR_IO_PENDING;
}

void AsyncDevice::cancelIo()
{
    std::lock_guard<std::mutex> guard(m_lock);
    cancelAllLocked();
    if (m_running) m_target->abandon();
}

void AsyncDevice::cancelAllLocked()
{
    for (const auto& job : m_queue) finish(*job, kStatusCancelled, {});
    for (const auto& job : m_started) finish(*job, kStatusCancelled, {});
    m_queue.clear();
    m_started.clear();
}

void AsyncDevice::run()
{
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        m_changed.wait(lock, [this] {
            return m_stopping || m_handedOver || (!m_queue.empty() && !m_running);
        });
        if (m_stopping) return;
        // A command handed over is already on its way; its answer is taken
        // even when it was cancelled meanwhile, as the next one follows it.
        std::shared_ptr<Job> job = std::move(m_handedOver);
        const bool started = job != nullptr;
        if (!started) {
            job = std::move(m_queue.front());
            m_queue.pop_front();
            if (m_lost) {
                // A device that has gone answers nothing more on this handle.
                finish(*job, kStatusSuccess, {SRB_STATUS_REQUEST_FLUSHED, 0});
                continue;
            }
            m_started.push_back(job);
            m_running = true;
        }
        lock.unlock();
        if (!started) m_target->start(job->command, job->data);
        const ScsiOutcome outcome = m_target->finish(job->command, job->data, job->sense);
        lock.lock();
        m_running = false;
        if (outcome.completion != Completion::kNever)
            m_started.erase(std::remove(m_started.begin(), m_started.end(), job), m_started.end());
        settle(job, outcome);
    }
}

// Called with the lock held, once the target has answered (or will never).
void AsyncDevice::settle(const std::shared_ptr<Job>& job, const ScsiOutcome& outcome)
{
    if (outcome.completion == Completion::kNever) return;  // until cancelled or closed
    if (outcome.completion == Completion::kDeviceLost) {
        // However the device went, the driver reports it the one way.
        m_lost = true;
        finish(*job, kStatusSuccess, {SRB_STATUS_REQUEST_FLUSHED, 0});
    } else {
        finish(*job, kStatusSuccess, outcome);
    }
}

void AsyncDevice::finish(Job& job, ULONG_PTR status, const ScsiOutcome& outcome)
{
    if (job.finished) return;  // cancelled before its answer came
    job.finished = true;
    DWORD transferred = 0;
    if (status == kStatusSuccess) {
        transferred = std::min<DWORD>(outcome.transferred, job.command.length);
        if (job.command.direction == DataDirection::kIn && job.data != job.callerBuffer)
            std::memcpy(job.callerBuffer, job.data, transferred);
        if (job.callerSense != nullptr)
            std::memcpy(job.callerSense, job.sense,
                        std::min(outcome.senseLength, job.command.senseLength));
        // Callers may look at the byte while the command runs (to log it).
        if (job.srbStatus != nullptr)
            __atomic_store_n(job.srbStatus, outcome.srbStatus, __ATOMIC_RELAXED);
    }
    job.overlapped->InternalHigh = transferred;
    HANDLE event = job.overlapped->hEvent;
    __atomic_store_n(&job.overlapped->Internal, status, __ATOMIC_RELEASE);
    if (event != nullptr) os::systemApi().SetEvent(event);
}

}  // namespace devices
