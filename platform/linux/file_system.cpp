#include <dirent.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "platform/code_page.h"
#include "platform/path_text.h"

namespace platform {
namespace {

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

}  // namespace

std::optional<std::vector<std::string>> ListNames(const std::filesystem::path& folder) {
    const std::unique_ptr<DIR, FolderCloser> open(opendir(folder.c_str()));
    if (open == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    errno = 0;  // readdir returns null both at the end and on failure
    while (const dirent* const entry = readdir(open.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(AsUtf8(name));
        }
        errno = 0;
    }
    return errno == 0 ? std::optional(std::move(names)) : std::nullopt;
}

}  // namespace platform
