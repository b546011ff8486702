// A one-line progress display for transfers on a terminal: share done, bytes,
// rate and time left, redrawn at most ten times a second and wiped at the end
// so that the result line stands alone. Off the terminal it does nothing. The
// line fits the terminal's width (the name shortened, the bar narrowed, then
// rate, bytes and time left dropped), so it never wraps.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace dslrctl {

class Output;

// A transfer that is one of many (get-all): the display then shows the whole
// job, files done of all, bytes and time left of all.
struct Job {
    std::uint64_t filesDone = 0, files = 0;
    std::uint64_t bytesDone = 0, bytes = 0;  // bytesDone: of the files finished
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

// The terminal's width in columns: the window's size, else $COLUMNS, else 80.
int terminalColumns();

// The progress line for `width` columns; `done` of `total`, `elapsed` s.
std::string progressLine(const std::string& label, std::uint64_t done, std::uint64_t total,
                         double elapsed, int width);

class Progress {
public:
    Progress(const Output& output, std::string label, std::uint64_t total, const Job* job = nullptr);
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
    const Job* m_job;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_lastDraw;
    bool m_drawn = false;
};

}  // namespace dslrctl
