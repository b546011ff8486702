#include "tools/dslrsim/command_line.h"

#include "platform/devices/socket_address.h"

#include <cerrno>
#include <cstdlib>

namespace dslrsim {

namespace {

// Decimal or 0x-hex, the whole text, within 32 bits.
bool parseNumber(const std::string& text, std::uint32_t& value)
{
    if (text.empty() || text[0] == '-' || text[0] == '+') return false;
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    errno = 0;
    char* end = nullptr;
    const unsigned long long parsed = std::strtoull(text.c_str(), &end, hex ? 16 : 10);
    if (errno != 0 || end == text.c_str() || *end != '\0' || parsed > 0xFFFFFFFFull) return false;
    value = static_cast<std::uint32_t>(parsed);
    return true;
}

// A signed decimal number of seconds, the whole text.
bool parseSeconds(const std::string& text, std::int64_t& value)
{
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    const long long parsed = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str() || *end != '\0') return false;
    value = parsed;
    return true;
}

// The camera keeps its owner name in 32 bytes, the NUL included.
constexpr std::size_t kLongestOwner = 31;

}  // namespace

std::string usage()
{
    return "usage: dslrsim (--listen ADDRESS | --tcmu NAME) [--model ID] [--block-size BYTES] [--owner NAME]\n"
           "               [--clock-offset SECONDS] [--card VOLUME=DIR]... [--link MODEL]\n"
           "               [--misbehave CLASS[,CLASS...] [--seed N]]\n"
           "\n"
           "Serves one simulated camera over the scsi-sock protocol, or as a kernel\n"
           "SCSI device through the userspace target (docs/linux-sg.md).\n"
           "\n"
           "  --listen ADDRESS     unix:PATH (a local socket) or tcp:HOST:PORT\n"
           "  --tcmu NAME          serve the target_core_user backstore NAME (Linux)\n"
           "  --model ID           camera model ID (default 0x80000402)\n"
           "  --block-size BYTES   largest data block the camera takes (default 0xFF00)\n"
           "  --owner NAME         the camera's owner name (at most 31 characters)\n"
           "  --clock-offset SECONDS\n"
           "                       the camera's clock runs this many seconds ahead of the\n"
           "                       host's local standard time (negative: behind)\n"
           "  --card VOLUME=DIR    the card in ATA01 or ATA02 is the host directory DIR,\n"
           "                       read and write (default: the demo card in ATA01 and\n"
           "                       an empty card in ATA02, both in memory)\n"
           "  --link MODEL         s400: each command takes the time an IEEE 1394a S400\n"
           "                       link would (40 MB/s and 100 us per command); none:\n"
           "                       answer at the machine's speed (the default)\n"
           "  --misbehave CLASSES  spoil one reply on every connection, of one of the\n"
           "                       classes (comma-separated, or all): truncated,\n"
           "                       counts-more, counts-less, other-tag, stall,\n"
           "                       frame-header, rapi-header, announced-length,\n"
           "                       record-word, listing, sense (docs/dslrsim.md)\n"
           "  --seed N             chooses which reply and how (default 0): the same\n"
           "                       seed and host give the same spoils\n"
           "  --help               print this text and exit\n"
           "\n"
           "Numbers are decimal or 0x-hex. SIGINT or SIGTERM ends the server.\n";
}

bool parseCommandLine(int argc, const char* const* argv, Options& options, std::string& error)
{
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            options.help = true;
            return true;
        }
        if (option != "--listen" && option != "--tcmu" && option != "--model" &&
            option != "--block-size" && option != "--owner" && option != "--clock-offset" &&
            option != "--card" && option != "--link" && option != "--misbehave" &&
            option != "--seed") {
            error = "unknown option '" + option + "'";
            return false;
        }
        if (i + 1 >= argc) {
            error = "option " + option + " needs a value";
            return false;
        }
        const std::string value = argv[++i];
        if (option == "--listen") {
            if (!devices::parseSocketAddress(value)) {
                error = "bad address '" + value + "' (expected unix:PATH or tcp:HOST:PORT)";
                return false;
            }
            options.listen = value;
        } else if (option == "--tcmu") {
            if (value.find('/') != std::string::npos) {
                error = "bad backstore name '" + value + "' (a configfs directory name)";
                return false;
            }
            options.tcmu = value;
        } else if (option == "--owner") {
            if (value.size() > kLongestOwner) {
                error = "owner name longer than 31 characters";
                return false;
            }
            options.owner = value;
        } else if (option == "--card") {
            const std::size_t equals = value.find('=');
            const std::string volume = value.substr(0, equals);
            if (equals == std::string::npos || equals + 1 == value.size() ||
                (volume != "ATA01" && volume != "ATA02")) {
                error = "bad card '" + value + "' (expected ATA01=DIR or ATA02=DIR)";
                return false;
            }
            options.cards.emplace_back(volume, value.substr(equals + 1));
        } else if (option == "--link") {
            if (value != "s400" && value != "none") {
                error = "bad link model '" + value + "' (expected s400 or none)";
                return false;
            }
            options.link = value == "s400" ? sim::LinkModel::kS400 : sim::LinkModel::kInstant;
        } else if (option == "--misbehave") {
            if (!sim::parseSpoilClasses(value, options.misbehave)) {
                error = "bad classes '" + value + "' for --misbehave (dslrsim --help lists them)";
                return false;
            }
        } else if (option == "--seed") {
            if (!parseNumber(value, options.seed)) {
                error = "bad number '" + value + "' for --seed";
                return false;
            }
        } else if (option == "--clock-offset") {
            if (!parseSeconds(value, options.clockOffset)) {
                error = "bad number of seconds '" + value + "' for --clock-offset";
                return false;
            }
        } else if (!parseNumber(value, option == "--model" ? options.modelId : options.blockSize)) {
            error = "bad number '";
            error += value;
            error += "' for ";
            error += option;
            return false;
        }
    }
    if (options.listen.empty() == options.tcmu.empty()) {
        error = "one of --listen ADDRESS and --tcmu NAME is required";
        return false;
    }
    if (options.blockSize == 0) {
        error = "--block-size must not be 0";
        return false;
    }
    return true;
}

}  // namespace dslrsim
