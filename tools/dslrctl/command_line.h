// The command line: global options, one subcommand per job, and the flags
// of the best-known camera command line as other names for the same jobs.
#pragma once

#include <string>
#include <vector>

namespace dslrctl {

struct Options {
    std::string command;  // "info", "ls", ..., "config"
    std::string port = "sim:demo";
    bool json = false;
    bool quiet = false;
    bool verbose = false;

    bool recursive = false;            // ls -R
    bool numbered = false;             // ls -n: the number of each file
    std::vector<std::string> paths;    // ls, get, rm, mkdir, format, put
    std::string picks;                 // get, rm -p: file numbers and ranges ("1-3,7")
    bool parents = false;              // mkdir -p
    std::string outputDir = ".";       // get, get-all, capture, events
    bool skipExisting = false;         // get, get-all, capture, events: --skip-existing, --new
    bool forceOverwrite = false;       // get, get-all, capture, events
    bool keep = false;                 // capture: the picture stays on the card too
    std::string filename;              // capture, events: the name pattern of a picture
    bool yes = false;                  // format
    std::string set;                   // clock, owner: the value to set
    bool setGiven = false;             // clock, owner: --set was given (owner: "" clears)
    bool download = false;             // capture, events
    unsigned count = 1;                // capture; events (0: no limit)
    double interval = 0;               // capture
    double seconds = -1;               // events (negative: no limit; 0 returns at once)
    unsigned files = 0;                // events: stop after this many pictures (0: no limit)
    std::vector<std::string> config;   // config: list | get NAME | set NAME VALUE
};

// Parses the command line. Returns -1 to go on, or the exit status at once:
// 0 after --help, 2 after a usage error (the message already printed).
int parseCommandLine(int argc, char** argv, Options& options);

}  // namespace dslrctl
