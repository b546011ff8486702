// The commands. Each opens its own camera session once its arguments have
// been checked, and returns the exit status; camera failures are thrown as
// CameraError, bad arguments as UsageError.
#pragma once

#include "command_line.h"
#include "completion.h"
#include "output.h"
#include "local_files.h"

#include <stdexcept>

namespace dslrctl {

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What the command line says about local files that are already there.
inline Existing existingRule(const Options& options)
{
    return options.forceOverwrite ? Existing::Replace
                                  : options.skipExisting ? Existing::Skip : Existing::Ask;
}

int runInfo(const Options& options, const Output& output);
int runDetect(const Options& options, const Output& output);
int runClock(const Options& options, const Output& output);
int runOwner(const Options& options, const Output& output);

int runList(const Options& options, const Output& output);
int runGet(const Options& options, const Output& output);
int runGetAll(const Options& options, const Output& output);
int runPut(const Options& options, const Output& output);
int runRemove(const Options& options, const Output& output);
int runMakeDirectory(const Options& options, const Output& output);
int runFormat(const Options& options, const Output& output);

int runCapture(const Options& options, const Output& output);
int runEvents(const Options& options, const Output& output);

int runConfig(const Options& options, const Output& output);
// Every setting's name and the values known without a camera.
SettingValues settingValues();

}  // namespace dslrctl
