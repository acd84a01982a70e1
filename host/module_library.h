// The module's file in this process, and with it the camera SDK that it brings.
#pragma once

#include "host/command_line.h"
#include "module/exports.h"
#include "platform/library.h"

namespace host {

// Loads the module's file, sets up its log and the simulated cameras. Throws host::Failure.
class ModuleLibrary {
  public:
    explicit ModuleLibrary(const Options& options);

    // Throws host::Failure where the file is no module.
    [[nodiscard]] decltype(&CreateModule) Create() const;
    [[nodiscard]] decltype(&DestroyModule) Destroy() const;

  private:
    std::string m_file;
    platform::DynamicLibrary m_library;
};

}  // namespace host
