#include "base/log.h"

#include "base/text.h"
#include "platform/system.h"

namespace cam {

namespace {

// Three UTF-8 bytes per character of the longest file name.
using ModuleName = FixedText<780>;

ModuleName NameOfThisLibrary() noexcept try {
    return ModuleName(
        ModuleNameOfPath(platform::ModuleFilePath(reinterpret_cast<const void*>(&LogModuleName)),
                         platform::kPathSeparator));
} catch (...) {
    return {};  // no memory; lines are written without the name
}

}  // namespace

std::string_view ModuleNameOfPath(std::string_view path, char separator) {
    const auto folderEnd = path.rfind(separator);
    if (folderEnd == std::string_view::npos) {
        return path;
    }
    const std::string_view file = path.substr(folderEnd + 1);
    return file.substr(0, file.rfind('.'));
}

const char* LogModuleName() noexcept {
    // Without a destructor, because a thread may log while the process ends.
    static const ModuleName name = NameOfThisLibrary();
    return name.c_str();
}

}  // namespace cam
