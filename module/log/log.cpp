#include "module/log/log.h"

#include "module/shared_values.h"
#include "platform/system.h"

namespace cam {

namespace {

// In UTF-8 three bytes a character of the longest file name.
constexpr std::size_t kModuleNameSize = 780;

}  // namespace

std::string_view ModuleNameOfPath(std::string_view path, char separator) {
    const auto folderEnd = path.rfind(separator);
    if (folderEnd == std::string_view::npos) {
        return path;
    }
    const std::string_view file = path.substr(folderEnd + 1);
    return file.substr(0, file.rfind('.'));
}

const char* LogModuleName() {
    // Without a destructor, because a thread may log while the process ends.
    static const FixedText<kModuleNameSize> name(
        ModuleNameOfPath(platform::ModuleFilePath(reinterpret_cast<const void*>(&LogModuleName)),
                         platform::kPathSeparator));
    return name.c_str();
}

}  // namespace cam
