// dslrctl: the camera from a terminal, built on the public header and the
// two exports only. Exit status 0 success, 1 a camera or transfer failure,
// 2 a usage error, 130 after Ctrl-C.

#include "camera.h"
#include "command_line.h"
#include "commands.h"
#include "interrupt.h"
#include "output.h"

#include <filesystem>
#include <iostream>
#include <map>

int main(int argc, char** argv)
{
    using namespace dslrctl;
    Options options;
    const int parsed = parseCommandLine(argc, argv, options);
    if (parsed >= 0) return parsed;
    const Output output(options.json, options.quiet, options.verbose);
    installInterruptHandler();

    using Command = int (*)(const Options&, const Output&);
    const std::map<std::string, Command> commands = {
        {"info", runInfo},       {"clock", runClock},   {"owner", runOwner},
        {"ls", runList},         {"get", runGet},       {"get-all", runGetAll},
        {"put", runPut},         {"rm", runRemove},     {"mkdir", runMakeDirectory},
        {"format", runFormat},   {"capture", runCapture}, {"events", runEvents},
        {"config", runConfig},   {"detect", runDetect},
    };
    output.detail("port " + options.port);
    try {
        return commands.at(options.command)(options, output);
    } catch (const Interrupted&) {
        output.error("interrupted; the transfer was abandoned and nothing partial was kept");
        return 130;
    } catch (const UsageError& error) {
        output.error(error.what());
        return 2;
    } catch (const CameraError& error) {
        // Ctrl-C ends the library's waits as a lost camera: that failure is
        // the interruption, not a fault of the camera.
        if (interrupted()) {
            output.error("interrupted; the transfer was abandoned and nothing partial was kept");
            return 130;
        }
        output.error(error.what());
        // The library gives the same code for a camera that is absent and one
        // that another program holds open, so the hint names both.
        if (error.code() == vkRNERROR_DEVICE_NOT_AVAILABLE)
            output.error("no camera answers on " + options.port +
                         " (is it connected and free, not held by another program, or is "
                         "dslrsim running there?)");
        return 1;
    } catch (const std::filesystem::filesystem_error& error) {
        // The system's reason in words, without the library's wrapping.
        output.error(error.path1().string() + ": " + error.code().message());
        return 1;
    } catch (const std::exception& error) {
        output.error(error.what());
        return 1;
    }
}
