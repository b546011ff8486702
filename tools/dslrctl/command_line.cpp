#include "command_line.h"

#include "commands.h"
#include "completion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace dslrctl {

namespace {

const char* const kPortHelp =
    "the camera: sim:NAME (in-process simulated camera; default sim:demo), unix:PATH or "
    "tcp:HOST:PORT (a dslrsim), /dev/sgN or \\\\.\\NAME (a camera on the bus)";

void addGlobals(CLI::App& app, Options& o)
{
    app.add_option("--port", o.port, kPortHelp);
    app.add_flag("--json", o.json, "print the result as JSON");
    app.add_flag("-q,--quiet", o.quiet, "print nothing but errors");
    app.add_flag("-v,--verbose", o.verbose, "say what is being done, on stderr");
}

struct UsageProblem : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// --wait-event=N (events), =Ns, =Nms (time) or =Nf (files announced): the
// events command's options that say the same.
std::vector<std::string> waitEventOptions(const std::string& value)
{
    if (value.empty()) return {};
    char* end = nullptr;
    const double number = std::strtod(value.c_str(), &end);
    const std::string unit = end;
    const bool digits = std::isdigit(static_cast<unsigned char>(value[0])) != 0;
    const bool whole = unit.empty() || unit == "f";
    if (digits && number >= 0 && number < 1e6 && (!whole || number == static_cast<unsigned>(number))) {
        if (unit.empty()) return {"--count", value};
        if (unit == "f") return {"--files", value.substr(0, value.size() - 1)};
        if (unit == "s") return {"--seconds", value.substr(0, value.size() - 1)};
        if (unit == "ms") return {"--seconds", std::to_string(number / 1000)};
    }
    throw UsageProblem("bad --wait-event value '" + value +
                       "': give N events, Ns seconds, Nms milliseconds or Nf files");
}

// The other command line's flags are other names for our commands: each is
// replaced by the command it names, put first so that every option after or
// before it is that command's own (--capture-image-and-download -I 2 -F 3).
// A command given by name is put first as well (-F 3 capture).
std::vector<std::string> expandFlagCommands(std::vector<std::string> args,
                                            const std::vector<std::string>& commandNames)
{
    struct Flag {
        const char* name;
        std::vector<std::string> command;
        bool value;  // takes =VALUE (or, for the config ones, the next word)
    };
    static const Flag flags[] = {
        {"--summary", {"info"}, false},
        {"-L", {"ls", "-R", "-n"}, false},
        {"--list-files", {"ls", "-R", "-n"}, false},
        {"-P", {"get-all"}, false},
        {"--get-all-files", {"get-all"}, false},
        {"--capture-image", {"capture"}, false},
        {"--capture-image-and-download", {"capture", "--download"}, false},
        {"--wait-event", {"events"}, true},
        {"--wait-event-and-download", {"events", "--download"}, true},
        {"--list-config", {"config", "list"}, false},
        {"--get-config", {"config", "get"}, true},
        {"--set-config", {"config", "set"}, true},
        {"--auto-detect", {"detect"}, false},
    };
    std::vector<std::string> command, rest;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const std::size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        const Flag* flag = nullptr;
        for (const Flag& candidate : flags)
            if (name == candidate.name && (equals == std::string::npos || candidate.value)) flag = &candidate;
        if (flag == nullptr) {
            rest.push_back(arg);
            continue;
        }
        if (!command.empty()) throw UsageProblem("give one command");
        command = flag->command;
        std::string value = equals == std::string::npos ? "" : arg.substr(equals + 1);
        const bool config = command[0] == "config" && command.size() == 2 && command[1] != "list";
        if (config && equals == std::string::npos && i + 1 < args.size()) value = args[++i];
        if (command[0] == "events") {
            for (const std::string& option : waitEventOptions(value)) command.push_back(option);
        } else if (config && command[1] == "get") {
            command.push_back(value);
        } else if (config) {
            const std::size_t split = value.find('=');
            if (split == std::string::npos || split == 0)
                throw UsageProblem("--set-config takes NAME=VALUE, such as iso=400");
            command.push_back(value.substr(0, split));
            command.push_back(value.substr(split + 1));
        }
    }
    if (command.empty()) {
        const auto named = std::find_first_of(rest.begin(), rest.end(), commandNames.begin(), commandNames.end());
        if (named != rest.end()) std::rotate(rest.begin(), named, named + 1);
    }
    command.insert(command.end(), rest.begin(), rest.end());
    return command;
}

// "dslrctl: what was wrong", in the tool's own format, and a pointer to help.
int usageError(const std::string& message)
{
    std::cerr << "dslrctl: " << message << "\ndslrctl: see dslrctl --help (or dslrctl COMMAND --help)\n";
    return 2;
}

// Whether a download may replace a local file, on each command that saves.
void addSaveOptions(CLI::App& sub, Options& o)
{
    auto* force = sub.add_flag("--force-overwrite", o.forceOverwrite, "replace local files already there");
    sub.add_flag("--skip-existing,--new", o.skipExisting, "leave local files already there")
        ->excludes(force);
}

// A port path of a known kind with something after its prefix; the message
// says what is wrong, or is empty.
std::string portProblem(const std::string& port)
{
    const auto after = [&](const char* prefix) {
        return port.rfind(prefix, 0) == 0 ? port.substr(std::char_traits<char>::length(prefix)) : std::string("-");
    };
    if (after("sim:").empty()) return "sim: needs a camera name, such as sim:demo";
    if (after("unix:").empty()) return "unix: needs the socket's path, such as unix:/tmp/cam.sock";
    const std::string tcp = after("tcp:");
    if (tcp != "-") {
        const std::size_t colon = tcp.rfind(':');
        const std::string number = colon == std::string::npos ? "" : tcp.substr(colon + 1);
        if (colon == std::string::npos || colon == 0 || number.empty() || number.size() > 5 ||
            number.find_first_not_of("0123456789") != std::string::npos || std::stoul(number) == 0 ||
            std::stoul(number) > 65535)
            return "tcp: needs HOST:PORT with a port from 1 to 65535, such as tcp:127.0.0.1:5400";
    }
    if (port.rfind("/dev/", 0) == 0 && port.rfind("/dev/sg", 0) != 0)
        return port + " is not a SCSI generic device: give /dev/sgN (the camera's node; "
                      "lsscsi -g shows it)";
    return "";
}

}  // namespace

int parseCommandLine(int argc, char** argv, Options& o)
{
    CLI::App app{"dslrctl: drive a DSLR camera from a terminal", "dslrctl"};
    app.fallthrough();
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", std::string("dslrctl ") + DSLRCTL_VERSION);
    addGlobals(app, o);

    app.add_subcommand("info", "model, firmware, owner, body ID, battery, clock, volumes");
    app.add_subcommand("detect", "list the cameras that can be reached (--auto-detect)");

    auto* ls = app.add_subcommand("ls", "list directories and files");
    ls->add_flag("-R,--recursive", o.recursive, "everything below the path");
    ls->add_flag("-n,--numbers", o.numbered, "number the files, as get -p and rm -p count them");
    ls->add_option("path", o.paths, "camera path (default: every volume)");

    auto* get = app.add_subcommand("get", "download files");
    get->add_option("path", o.paths, "camera paths; * and ? match within a folder");
    get->add_option("-p,--pick", o.picks, "file numbers of ls -n, such as 1-3,7");
    get->add_option("-o,--output", o.outputDir, "host directory (default .)");

    auto* all = app.add_subcommand("get-all", "download every file, keeping the folders");
    all->add_option("-o,--output", o.outputDir, "host directory (default .)");

    std::string putSource, putDestination;
    auto* put = app.add_subcommand("put", "upload a file");
    put->add_option("FILE", putSource, "the host file")->required();
    put->add_option("DEST", putDestination, "a camera file or directory")->required();

    auto* rm = app.add_subcommand("rm", "delete files or empty directories");
    rm->add_option("path", o.paths, "camera paths; * and ? match within a folder");
    rm->add_option("-p,--pick", o.picks, "file numbers of ls -n, such as 1-3,7");
    auto* mkdir = app.add_subcommand("mkdir", "make a directory");
    mkdir->add_option("path", o.paths, "camera path")->required()->expected(1);
    mkdir->add_flag("-p,--parents", o.parents, "make missing parents too; an existing directory is fine");
    auto* format = app.add_subcommand("format", "erase a volume");
    format->add_option("volume", o.paths, "ATA01 or ATA02")->required()->expected(1);
    format->add_flag("-y,--yes", o.yes, "do not ask");

    auto* clock = app.add_subcommand("clock", "read or set the camera's clock");
    clock->add_option("--set", o.set, "now, seconds since 1970 or YYYY-MM-DDTHH:MM:SS (UTC)");
    auto* owner = app.add_subcommand("owner", "read or set the owner name");
    owner->add_option("--set", o.set, "the new name (at most 31 bytes; \"\" clears it)");

    auto* capture = app.add_subcommand("capture", "release the shutter");
    auto* events = app.add_subcommand("events", "print camera events as they arrive");
    capture->add_option("-I,--interval", o.interval,
                        "seconds from the start of one picture to the next (default 1; fractions kept)")
        ->check(CLI::Range(0.0, 86400.0));
    capture->add_option("-F,--frames,--count", o.count, "pictures to take (default 1)")
        ->check(CLI::Range(1u, 100000u));
    events->add_option("--seconds", o.seconds, "stop after this long (0: at once)")
        ->check(CLI::Range(0.0, 86400.0));
    events->add_option("--count", o.count, "stop after this many events (default: no limit)")
        ->check(CLI::Range(1u, 100000u));
    events->add_option("--files", o.files, "stop after this many pictures announced")
        ->check(CLI::Range(1u, 100000u));
    for (CLI::App* sub : {capture, events}) {
        sub->add_flag("--download", o.download, "download each picture");
        sub->add_option("-o,--output", o.outputDir, "host directory (implies --download)");
    }

    for (CLI::App* sub : {get, all, capture, events}) addSaveOptions(*sub, o);
    for (CLI::App* sub : {capture, events})
        sub->add_option("--filename", o.filename,
                        "name pattern of a downloaded picture: %f name, %C extension, %n number, "
                        "%Y%m%d%H%M%S the picture's time, %% (default: the camera's name, else capt%04n.%C)");
    capture->add_flag("--keep", o.keep, "with --download, keep the picture on the card too");

    app.add_subcommand("config", "image and release settings by name")
        ->add_option("action", o.config, "list | get NAME | set NAME VALUE")
        ->type_name("")
        ->required();

    // Hidden: the bash completion script, made from the table above.
    std::string completionShell;
    app.add_option("--completion", completionShell)->group("")->check(CLI::IsMember({"bash"}));

    std::vector<std::string> args, commandNames;
    for (const CLI::App* sub : app.get_subcommands({})) commandNames.push_back(sub->get_name());
    try {
        args = expandFlagCommands(std::vector<std::string>(argv + std::min(argc, 1), argv + argc), commandNames);
    } catch (const UsageProblem& problem) {
        return usageError(problem.what());
    }
    std::reverse(args.begin(), args.end());  // CLI11 takes them last first

    // Set last, so that the commands' own help does not repeat it.
    app.footer("The other camera command line's flags name the same commands: --summary, -L, -P,\n"
               "--capture-image[-and-download], --wait-event[-and-download][=N|Ns|Nms|Nf],\n"
               "--list-config, --get-config NAME, --set-config NAME=VALUE, --auto-detect.");
    try {
        app.parse(args);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        return usageError(error.what());
    }
    if (!completionShell.empty()) {
        std::cout << bashCompletion(app, settingValues());
        return 0;
    }
    for (CLI::App* sub : app.get_subcommands()) o.command = sub->get_name();
    if (o.command == "put") o.paths = {putSource, putDestination};
    o.setGiven = clock->count("--set") + owner->count("--set") != 0;
    const char* const kinds[] = {"sim:", "unix:", "tcp:", "/dev/", "\\\\.\\", "\\\\?\\"};
    if (std::none_of(std::begin(kinds), std::end(kinds),
                     [&](const char* kind) { return o.port.rfind(kind, 0) == 0; })) {
        std::cerr << "dslrctl: unknown port '" << o.port
                  << "': give sim:NAME, unix:PATH, tcp:HOST:PORT, /dev/sgN or \\\\.\\NAME\n";
        return 2;
    }
    if (const std::string problem = portProblem(o.port); !problem.empty()) {
        std::cerr << "dslrctl: bad port '" << o.port << "': " << problem << "\n";
        return 2;
    }
    if (o.command.empty()) {
        std::cerr << app.help();
        return usageError("give a command");
    }
    if ((o.command == "get" || o.command == "rm") && o.paths.empty() && o.picks.empty())
        return usageError(o.command + ": give camera paths or -p NUMBERS");
    // Pictures sent somewhere are pictures downloaded.
    if (capture->count("-o") + events->count("-o") != 0) o.download = true;
    if (o.command == "events" && events->count("--count") == 0) o.count = 0;
    if (o.command == "capture" && o.count > 1 && capture->count("--interval") == 0) o.interval = 1;
    if (o.command == "config") {
        const std::size_t n = o.config.size();
        const std::string& verb = o.config[0];
        if (!((verb == "list" && n == 1) || (verb == "get" && n == 2) || (verb == "set" && n == 3))) {
            return usageError("config takes list, get NAME or set NAME VALUE");
        }
    }
    return -1;
}

}  // namespace dslrctl
