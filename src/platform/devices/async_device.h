// The overlapped side of a provider device, the same on every system. A
// command completes by storing its status in the OVERLAPPED record, writing
// the SRB status through the command block's pointer and signalling the
// record's event, as the still-image driver does.
//
// A command with nothing ahead of it runs on the caller's thread, straight
// on the caller's buffers, and when the device answers at once (the
// in-process camera always, a socket camera within a few milliseconds)
// DeviceIoControl returns having completed it, as a Windows driver may
// complete a request before returning. A slower answer is left to a worker
// thread of the handle (started when first needed), which also runs the
// commands queued behind a running one, in order; DeviceIoControl then
// returns ERROR_IO_PENDING.
//
// The caller's buffers are touched only while a command is still the
// caller's: queued data is staged, and a cancelled or closed command never
// writes into memory its caller may already have reused.
#pragma once

#include "platform/devices/scsi_target.h"
#include "platform/win32_types.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace devices {

// Completion statuses stored in OVERLAPPED::Internal (NT status values, so
// that the system's own GetOverlappedResult reads them on Windows).
constexpr ULONG_PTR kStatusSuccess = 0x00000000;
constexpr ULONG_PTR kStatusCancelled = 0xC0000120;

class AsyncDevice {
public:
    explicit AsyncDevice(std::unique_ptr<ScsiTarget> target);
    // Completes every outstanding command as cancelled and stops the worker.
    ~AsyncDevice();
    AsyncDevice(const AsyncDevice&) = delete;
    AsyncDevice& operator=(const AsyncDevice&) = delete;

    // Returns the Win32 error for the caller to report: ERROR_IO_PENDING when
    // a command was queued, 0 when the call completed at once.
    DWORD deviceIoControl(DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                          LPOVERLAPPED overlapped);
    // Commands not yet answered complete as cancelled; a command the target
    // is running has its answer discarded when it comes.
    void cancelIo();

private:
    struct Job;

    DWORD submitCommand(const void* in, DWORD inSize, BYTE* out, DWORD outSize,
                        LPOVERLAPPED overlapped);
    void stage(Job& job);
    bool claimForInline();
    DWORD runInline(const std::shared_ptr<Job>& job);
    DWORD completeInline(const std::shared_ptr<Job>& job, const ScsiOutcome& outcome,
                         std::unique_lock<std::mutex>& lock);
    DWORD handOver(const std::shared_ptr<Job>& job);
    bool startWorkerLocked();
    DWORD queue(std::shared_ptr<Job> job);
    void settle(const std::shared_ptr<Job>& job, const ScsiOutcome& outcome);
    void run();
    void finish(Job& job, ULONG_PTR status, const ScsiOutcome& outcome);
    void cancelAllLocked();

    std::unique_ptr<ScsiTarget> m_target;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<std::shared_ptr<Job>> m_queue;
    std::vector<std::shared_ptr<Job>> m_started;  // given to the target, not yet answered
    std::shared_ptr<Job> m_handedOver;  // started on the caller's thread, for the worker to finish
    DWORD m_timeoutMs = 0;
    bool m_running = false;  // a command is in the target, on the worker or inline
    bool m_lost = false;
    bool m_stopping = false;
    std::thread m_worker;
};

}  // namespace devices
