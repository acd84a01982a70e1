#include "module/log/log.h"

#include <string>

#include "platform/system.h"

namespace cam {

std::string_view ModuleNameOfPath(std::string_view path, char separator) {
    const auto folderEnd = path.rfind(separator);
    if (folderEnd == std::string_view::npos) {
        return path;
    }
    const std::string_view file = path.substr(folderEnd + 1);
    return file.substr(0, file.rfind('.'));
}

const char* LogModuleName() {
    // Leaked on purpose: a thread may log while the library's statics are being destroyed.
    static const std::string* const name = new std::string(
        ModuleNameOfPath(platform::ModuleFilePath(reinterpret_cast<const void*>(&LogModuleName)),
                         platform::kPathSeparator));
    return name->c_str();
}

}  // namespace cam
