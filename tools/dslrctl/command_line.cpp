#include "command_line.h"

#include "commands.h"
#include "completion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <iterator>

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

}  // namespace

int parseCommandLine(int argc, char** argv, Options& o)
{
    CLI::App app{"dslrctl: drive a DSLR camera from a terminal", "dslrctl"};
    app.fallthrough();
    app.require_subcommand(0, 1);
    addGlobals(app, o);

    bool summary = false, listFiles = false, getAll = false, captureDownload = false,
         waitEvent = false;
    app.add_flag("--summary", summary, "same as the info command");
    app.add_flag("-L,--list-files", listFiles, "same as ls -R");
    app.add_flag("-P,--get-all-files", getAll, "same as get-all");
    app.add_flag("--capture-image-and-download", captureDownload, "same as capture --download");
    app.add_flag("--wait-event", waitEvent, "same as events");

    app.add_subcommand("info", "model, firmware, owner, body ID, battery, clock, volumes");

    auto* ls = app.add_subcommand("ls", "list directories and files");
    ls->add_flag("-R,--recursive", o.recursive, "everything below the path");
    ls->add_option("path", o.paths, "camera path (default: every volume)");

    auto* get = app.add_subcommand("get", "download files");
    get->add_option("path", o.paths, "camera paths")->required();
    get->add_option("-o,--output", o.outputDir, "host directory (default .)");

    auto* all = app.add_subcommand("get-all", "download every file, keeping the folders");
    for (CLI::App* sub : {all, &app}) {
        sub->add_option("-o,--output", o.outputDir, "host directory (default .)");
        sub->add_flag("--skip-existing", o.skipExisting, "leave files already there");
    }

    auto* put = app.add_subcommand("put", "upload a file");
    put->add_option("args", o.paths, "FILE DEST (DEST a camera file or directory)")
        ->required()
        ->expected(2);

    app.add_subcommand("rm", "delete files or empty directories")
        ->add_option("path", o.paths, "camera paths")
        ->required();
    app.add_subcommand("mkdir", "make a directory")
        ->add_option("path", o.paths, "camera path")
        ->required()
        ->expected(1);
    auto* format = app.add_subcommand("format", "erase a volume");
    format->add_option("volume", o.paths, "ATA01 or ATA02")->required()->expected(1);
    format->add_flag("-y,--yes", o.yes, "do not ask");

    app.add_subcommand("clock", "read or set the camera's clock")
        ->add_option("--set", o.set, "now, seconds since 1970 or YYYY-MM-DDTHH:MM:SS (UTC)");
    app.add_subcommand("owner", "read or set the owner name")
        ->add_option("--set", o.set, "the new name (at most 31 characters)");

    auto* capture = app.add_subcommand("capture", "release the shutter");
    auto* events = app.add_subcommand("events", "print camera events as they arrive");
    capture->add_option("--interval", o.interval, "seconds between pictures")
        ->check(CLI::Range(0.0, 86400.0));
    events->add_option("--seconds", o.seconds, "stop after this long")
        ->check(CLI::Range(0.0, 86400.0));
    // The flags' forms (--capture-image-and-download, --wait-event) take
    // their options on the main command.
    for (CLI::App* sub : {capture, events, &app}) {
        sub->add_option("--count", o.count, "pictures to take; events to wait for (default: no limit)")
            ->check(CLI::Range(1u, 100000u));
        if (sub != &app) {
            sub->add_flag("--download", o.download, "download each picture");
            sub->add_option("-o,--output", o.outputDir, "host directory (default .)");
        }
    }

    app.add_subcommand("config", "image and release settings by name")
        ->add_option("args", o.config, "list | get NAME | set NAME VALUE")
        ->required();

    // Hidden: the bash completion script, made from the table above.
    std::string completionShell;
    app.add_option("--completion", completionShell)->group("")->check(CLI::IsMember({"bash"}));

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return status == 0 ? 0 : 2;
    }
    if (!completionShell.empty()) {
        std::cout << bashCompletion(app, settingValues());
        return 0;
    }
    for (CLI::App* sub : app.get_subcommands()) o.command = sub->get_name();
    const char* const kinds[] = {"sim:", "unix:", "tcp:", "/dev/", "\\\\.\\"};
    if (std::none_of(std::begin(kinds), std::end(kinds),
                     [&](const char* kind) { return o.port.rfind(kind, 0) == 0; })) {
        std::cerr << "dslrctl: unknown port '" << o.port
                  << "': give sim:NAME, unix:PATH, tcp:HOST:PORT, /dev/sgN or \\\\.\\NAME\n";
        return 2;
    }
    const std::pair<bool, const char*> aliases[] = {{summary, "info"},
                                                    {listFiles, "ls"},
                                                    {getAll, "get-all"},
                                                    {captureDownload, "capture"},
                                                    {waitEvent, "events"}};
    for (const auto& alias : aliases) {
        if (!alias.first) continue;
        if (!o.command.empty() && o.command != alias.second) {
            std::cerr << "dslrctl: give one command\n";
            return 2;
        }
        o.command = alias.second;
    }
    if (listFiles) o.recursive = true;
    if (captureDownload) o.download = true;
    if (o.command.empty()) {
        std::cerr << app.help() << "dslrctl: give a command\n";
        return 2;
    }
    if (o.command == "events" && events->count("--count") == 0 && app.count("--count") == 0)
        o.count = 0;
    if (o.command == "capture" && o.count > 1 && capture->count("--interval") == 0) o.interval = 1;
    if (o.command == "config") {
        const std::size_t n = o.config.size();
        const std::string& verb = o.config[0];
        if (!((verb == "list" && n == 1) || (verb == "get" && n == 2) || (verb == "set" && n == 3))) {
            std::cerr << "dslrctl: config takes list, get NAME or set NAME VALUE\n";
            return 2;
        }
    }
    return -1;
}

}  // namespace dslrctl
