// dslrsim's command line.
#pragma once

#include "sim/link_model.h"
#include "sim/spoiler.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace dslrsim {

struct Options {
    std::string listen;  // "unix:PATH" or "tcp:HOST:PORT"
    std::string tcmu;    // or the name of a kernel user backstore to serve (Linux)
    std::uint32_t modelId = 0x80000402;
    std::uint32_t blockSize = 0xFF00;
    std::string owner;             // empty: the camera's factory owner name
    std::int64_t clockOffset = 0;  // seconds added to the camera's clock
    // Volumes served from host directories: (volume name, directory).
    std::vector<std::pair<std::string, std::string>> cards;
    sim::LinkModel link = sim::LinkModel::kInstant;
    // A camera that lies: the classes of reply it spoils, one reply per
    // connection, chosen by the seed (sim/spoiler.h).
    std::vector<sim::SpoilClass> misbehave;
    std::uint32_t seed = 0;
    bool help = false;
};

// Fills `options`; on a bad command line returns false with `error` saying
// what is wrong in one line.
bool parseCommandLine(int argc, const char* const* argv, Options& options, std::string& error);
std::string usage();

}  // namespace dslrsim
