// A user backstore of the kernel's SCSI target (target_core_user) found by
// its name: its UIO node opened and its shared area mapped, served on a
// thread of its own until stopped or until the kernel removes the backstore.
#pragma once

#include "sim/camera.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

namespace dslrsim {

class TcmuDevice {
public:
    explicit TcmuDevice(sim::Camera& camera) : m_camera(camera) {}
    ~TcmuDevice();
    TcmuDevice(const TcmuDevice&) = delete;
    TcmuDevice& operator=(const TcmuDevice&) = delete;

    // Opens the backstore NAME (configfs target/core/user_N/NAME); false with
    // `error` saying why in one line.
    bool open(const std::string& name, std::string& error);
    void start();
    void stop();
    // Whether serving ended because the kernel removed the backstore.
    bool removed() const { return m_removed; }

private:
    void run();

    sim::Camera& m_camera;
    int m_uio = -1;
    int m_wake = -1;
    std::uint8_t* m_area = nullptr;
    std::size_t m_size = 0;
    std::atomic<bool> m_removed{false};
    std::thread m_worker;
};

// The UIO device ("uio3") whose name the kernel gave as
// "tcm-user/HBA/NAME/CONFIG", looked up under `classDir` (/sys/class/uio).
std::string findTcmuUio(const std::string& classDir, const std::string& name);

}  // namespace dslrsim
