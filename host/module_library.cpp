#include "host/module_library.h"

#include "host/exit_codes.h"
#include "host/simulation.h"
#include "module/log/xalog.h"
#include "platform/system.h"
#include "standins/xalog/xalog_host.h"

namespace host {
namespace {

constexpr char kModuleName[] = "CameraModule";

void SetUpLog(const Options& options) {
    if (!options.logFile.empty() && !XalogHost_SetFile(options.logFile.c_str())) {
        throw Failure("the log file '" + options.logFile + "' cannot be opened");
    }
    // The module's log would run through the tables and progress bars of this program.
    XalogHost_SetStandardError(options.logLevel.has_value() && options.logFile.empty());
    if (options.logLevel) {
        Xalog_ResetLevel(*options.logLevel);
    }
}

// The folder part of this program's own file, with the separator; empty when it cannot be told.
std::string ProgramFolder() {
    const std::string program =
        platform::ModuleFilePath(reinterpret_cast<const void*>(&ProgramFolder));
    return program.substr(0, program.rfind(platform::kPathSeparator) + 1);
}

template <typename Function>
Function* Exported(const platform::DynamicLibrary& library, const char* name,
                   const std::string& file) {
    auto* const function = library.Find<Function>(name);
    if (function == nullptr) {
        throw Failure("'" + file + "' is no module: it does not export " + name);
    }
    return function;
}

}  // namespace

ModuleLibrary::ModuleLibrary(const Options& options)
    : m_file(options.module.empty() ? ProgramFolder() + platform::LibraryFileName(kModuleName)
                                    : options.module) {
    SetUpLog(options);
    std::string error;
    if (!m_library.Load(m_file, error)) {
        throw Failure("the module cannot be loaded: " + error);
    }
    SetUpSimulation(options);
}

decltype(&CreateModule) ModuleLibrary::Create() const {
    return Exported<decltype(CreateModule)>(m_library, "CreateModule", m_file);
}

decltype(&DestroyModule) ModuleLibrary::Destroy() const {
    return Exported<decltype(DestroyModule)>(m_library, "DestroyModule", m_file);
}

}  // namespace host
