// Simulated cameras in place of real ones.
#pragma once

#include "host/command_line.h"

namespace host {

// Makes the cameras that the options describe, if they do. The module's file is loaded. Throws
// host::Failure for a description that is not understood, and where the camera SDK has no
// simulator.
void SetUpSimulation(const Options& options);

}  // namespace host
