#include "progress.h"

#include "output.h"

#include <cmath>
#include <cstdio>
#include <utility>

namespace dslrctl {

namespace {

constexpr int kBarWidth = 24;

std::string duration(double seconds)
{
    const long whole = std::lround(seconds);
    char text[32];
    std::snprintf(text, sizeof(text), "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

}  // namespace

Progress::Progress(const Output& output, std::string label, std::uint64_t total)
    : m_enabled(output.showProgress()), m_label(std::move(label)), m_total(total),
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
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    const double share = m_total == 0 ? 1.0 : static_cast<double>(done) / static_cast<double>(m_total);
    const double rate = elapsed > 0 ? static_cast<double>(done) / elapsed : 0;
    const int filled = static_cast<int>(share * kBarWidth);
    std::string bar(static_cast<std::size_t>(filled), '=');
    bar.resize(kBarWidth, ' ');
    const std::string left =
        rate > 0 ? duration(static_cast<double>(m_total - done) / rate) + " left" : "--:-- left";
    std::printf("\r\033[K%s [%s] %3d%% %s/%s %s/s %s", m_label.c_str(), bar.c_str(),
                static_cast<int>(share * 100), byteCount(done).c_str(), byteCount(m_total).c_str(),
                byteCount(static_cast<std::uint64_t>(rate)).c_str(), left.c_str());
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
