// A one-line progress display for transfers on a terminal: share done, bytes,
// rate and time left, redrawn at most ten times a second and wiped at the end
// so that the result line stands alone. Off the terminal it does nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace dslrctl {

class Output;

class Progress {
public:
    Progress(const Output& output, std::string label, std::uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void update(std::uint64_t done);
    void finish();

private:
    void draw(std::uint64_t done);

    bool m_enabled;
    std::string m_label;
    std::uint64_t m_total;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_lastDraw;
    bool m_drawn = false;
};

}  // namespace dslrctl
