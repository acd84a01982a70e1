// One diagnostic line of the module: "[module] [ModuId:id] [function@line] " and the message.
#pragma once

#include <string_view>

#include "module/log/xalog.h"

namespace cam {

// Milestones such as a successful open are logged as errors too, so that they show at every level.
// Hosts' log filters match the texts, including misspellings and line ends.
inline constexpr int kLogDebug = 1;
inline constexpr int kLogInfo = 2;
inline constexpr int kLogWarning = 3;
inline constexpr int kLogError = 4;

// Printed when no module id is known.
inline constexpr int kNoModuleId = -1;

// The name that starts every line: the file name of the library that holds this code, without
// folder and extension. Determined on first use; "" when the system cannot tell.
[[nodiscard]] const char* LogModuleName() noexcept;

// The rule for it: the part between the last separator and the last dot after it; a path without
// separator is kept whole.
[[nodiscard]] std::string_view ModuleNameOfPath(std::string_view path, char separator);

}  // namespace cam

// A macro, because a disabled level must not form the arguments and the line names its call site.
// `function` is a literal such as "CCameraModule::Init"; `format` is a literal.
#define CAM_LOG(level, moduleId, function, format, ...)                                     \
    do {                                                                                    \
        if (Xalog_ShouldLog(level)) {                                                       \
            Xalog_LogPrint(level, "[%s] [ModuId:%d] [%s@%d] " format, cam::LogModuleName(), \
                           moduleId, function, __LINE__ __VA_OPT__(, ) __VA_ARGS__);        \
        }                                                                                   \
    } while (false)
