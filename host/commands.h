// The program's commands. Each writes its results to standard output and throws host::Failure when
// it cannot do its work.
#pragma once

#include "host/command_line.h"
#include "host/exit_codes.h"

namespace host {

ExitCode RunList(const Options& options);
ExitCode RunFeatures(const Options& options);
ExitCode RunDescribe(const Options& options);
ExitCode RunGet(const Options& options);
ExitCode RunSet(const Options& options);
ExitCode RunParams(const Options& options);
ExitCode RunGrab(const Options& options);
ExitCode RunWatch(const Options& options);
ExitCode RunDoctor(const Options& options);
ExitCode RunSave(const Options& options);
ExitCode RunLoad(const Options& options);
ExitCode RunFolder(const Options& options);

}  // namespace host
