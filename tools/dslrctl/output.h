// Where everything the tool says goes: text for people on stdout, one JSON
// document per command with --json, messages and errors on stderr, -q and -v.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <ctime>
#include <string>

namespace dslrctl {

class Output {
public:
    Output(bool json, bool quiet, bool verbose);

    bool json() const { return m_json; }
    bool quiet() const { return m_quiet; }
    // A progress display only on a terminal, and never with --json or -q.
    bool showProgress() const { return m_terminal && !m_json && !m_quiet; }

    // A line of the human-readable result (not with --json or -q).
    void text(const std::string& line) const;
    // A line about what is going on, with -v only, on stderr.
    void detail(const std::string& line) const;
    // An error or warning, always, on stderr.
    void error(const std::string& line) const;
    // The command's JSON document, with --json only.
    void document(const nlohmann::json& value) const;
    // One JSON object on a line of its own, for streams of events.
    void record(const nlohmann::json& value) const;

private:
    bool m_json;
    bool m_quiet;
    bool m_verbose;
    bool m_terminal;
};

// "2026-11-23T13:05:00Z"
std::string isoTime(std::time_t utc);
// "1.5 MiB"
std::string byteCount(std::uint64_t bytes);
// "0x80000402"
std::string hexWord(std::uint32_t value);

}  // namespace dslrctl
