#include "output.h"

#include <cstdio>
#include <iostream>

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

namespace dslrctl {

Output::Output(bool json, bool quiet, bool verbose)
    : m_json(json), m_quiet(quiet), m_verbose(verbose), m_terminal(isatty(1) != 0)
{
}

void Output::text(const std::string& line) const
{
    if (!m_json && !m_quiet) std::cout << line << '\n' << std::flush;
}

void Output::detail(const std::string& line) const
{
    if (m_verbose) std::cerr << "dslrctl: " << line << '\n';
}

void Output::error(const std::string& line) const { std::cerr << "dslrctl: " << line << '\n'; }

void Output::document(const nlohmann::json& value) const
{
    if (m_json) std::cout << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n' << std::flush;
}

void Output::record(const nlohmann::json& value) const
{
    if (m_json) std::cout << value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n' << std::flush;
}

std::string isoTime(std::time_t utc)
{
    std::tm fields{};
#ifdef _WIN32
    gmtime_s(&fields, &utc);
#else
    gmtime_r(&utc, &fields);
#endif
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &fields);
    return text;
}

std::string byteCount(std::uint64_t bytes)
{
    char text[32];
    if (bytes < 1024)
        std::snprintf(text, sizeof(text), "%u B", static_cast<unsigned>(bytes));
    else if (bytes < std::uint64_t{1024} * 1024)
        std::snprintf(text, sizeof(text), "%.1f KiB", static_cast<double>(bytes) / 1024);
    else
        std::snprintf(text, sizeof(text), "%.1f MiB", static_cast<double>(bytes) / (1024 * 1024));
    return text;
}

std::string hexWord(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(value));
    return text;
}

}  // namespace dslrctl
