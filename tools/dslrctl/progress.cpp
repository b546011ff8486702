#include "progress.h"

#include "output.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#ifndef _WIN32
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace dslrctl {

namespace {

constexpr int kBarWidth = 24;
constexpr int kNarrowestBar = 6;
constexpr std::size_t kShortestName = 20;  // a name gives way only after the rate and bytes

std::string duration(double seconds)
{
    const long whole = std::lround(seconds);
    char text[32];
    std::snprintf(text, sizeof(text), "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

// "IMG_0001.JPG" in `room` characters: the middle gives way to "~".
std::string shortened(const std::string& name, std::size_t room)
{
    if (name.size() <= room) return name;
    if (room < 2) return name.substr(0, room);
    const std::size_t tail = (room - 1) / 2;
    return name.substr(0, room - 1 - tail) + "~" + name.substr(name.size() - tail);
}

}  // namespace

int terminalColumns()
{
#ifndef _WIN32
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
#endif
    const char* columns = std::getenv("COLUMNS");
    const int given = columns != nullptr ? std::atoi(columns) : 0;
    return given > 0 ? given : 80;
}

std::string progressLine(const std::string& label, std::uint64_t done, std::uint64_t total,
                         double elapsed, int width)
{
    const double share = total == 0 ? 1.0 : static_cast<double>(done) / static_cast<double>(total);
    const double rate = elapsed > 0 ? static_cast<double>(done) / elapsed : 0;
    char percent[8];
    std::snprintf(percent, sizeof(percent), "%3d%%", static_cast<int>(share * 100));
    // The fields after the share in their order on the line; a terminal too
    // narrow for them all loses the rate first, then the bytes, then the time.
    std::vector<std::string> extras = {
        byteCount(done) + "/" + byteCount(total), byteCount(static_cast<std::uint64_t>(rate)) + "/s",
        rate > 0 ? duration(static_cast<double>(total - done) / rate) + " left" : "--:-- left"};
    const std::size_t dropOrder[] = {1, 0, 2};
    // The last column stays empty: some terminals wrap when it is written.
    const std::size_t room = static_cast<std::size_t>(std::max(width - 1, 1));
    const auto tailOf = [&] {
        std::string tail = std::string(" ") + percent;
        for (const std::string& extra : extras)
            if (!extra.empty()) tail += " " + extra;
        return tail;
    };
    for (std::size_t drop : dropOrder)
        if (std::min(label.size(), kShortestName) + tailOf().size() > room) extras[drop].clear();
    std::string tail = tailOf();
    std::string name = shortened(label, tail.size() < room ? room - tail.size() : 0);
    const int barRoom = static_cast<int>(room) - static_cast<int>(name.size() + tail.size()) - 3;
    if (barRoom >= kNarrowestBar) {
        const int bar = std::min(barRoom, kBarWidth);
        std::string drawn(static_cast<std::size_t>(share * bar), '=');
        drawn.resize(static_cast<std::size_t>(bar), ' ');
        tail = " [" + drawn + "]" + tail;
    }
    return (name + tail).substr(0, room);
}

Progress::Progress(const Output& output, std::string label, std::uint64_t total, const Job* job)
    : m_enabled(output.showProgress()), m_label(std::move(label)), m_total(total), m_job(job),
      m_start(std::chrono::steady_clock::now()), m_lastDraw(m_start)
{
}

Progress::~Progress() { finish(); }

void Progress::update(std::uint64_t done)
{
    if (!m_enabled) return;
    const auto now = std::chrono::steady_clock::now();
    if (m_drawn && done < m_total && now - m_lastDraw < std::chrono::milliseconds(100)) return;
    m_lastDraw = now;
    draw(done);
}

void Progress::draw(std::uint64_t done)
{
    const auto now = std::chrono::steady_clock::now();
    std::string line;
    if (m_job == nullptr) {
        line = progressLine(m_label, done, m_total,
                            std::chrono::duration<double>(now - m_start).count(), terminalColumns());
    } else {
        const std::string label = std::to_string(m_job->filesDone + 1) + "/" +
                                  std::to_string(m_job->files) + " " + m_label;
        line = progressLine(label, m_job->bytesDone + done, m_job->bytes,
                            std::chrono::duration<double>(now - m_job->start).count(),
                            terminalColumns());
    }
    std::printf("\r\033[K%s", line.c_str());
    std::fflush(stdout);
    m_drawn = true;
}

void Progress::finish()
{
    if (!m_drawn) return;
    std::printf("\r\033[K");
    std::fflush(stdout);
    m_drawn = false;
}

}  // namespace dslrctl
