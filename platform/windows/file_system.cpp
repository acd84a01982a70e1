#include <windows.h>

#include <memory>
#include <string_view>

#include "platform/path_text.h"
#include "platform/windows/wide_text.h"

namespace platform {
namespace {

struct SearchCloser {
    void operator()(void* search) const { FindClose(search); }
};

}  // namespace

std::optional<std::vector<std::string>> ListNames(const std::filesystem::path& folder) {
    if (folder.empty()) {
        return std::nullopt;  // with the pattern it would name the current folder
    }
    WIN32_FIND_DATAW entry{};
    const HANDLE first = FindFirstFileW((folder / L"*").c_str(), &entry);
    if (first == INVALID_HANDLE_VALUE) {
        return std::nullopt;
    }
    const std::unique_ptr<void, SearchCloser> search(first);
    std::vector<std::string> names;
    do {
        const std::wstring_view name = entry.cFileName;
        if (name != L"." && name != L"..") {
            if (std::string utf8 = FromWide(name, CP_UTF8); ToWide(utf8, CP_UTF8) == name) {
                names.push_back(std::move(utf8));
            }
        }
    } while (FindNextFileW(search.get(), &entry));
    return GetLastError() == ERROR_NO_MORE_FILES ? std::optional(std::move(names)) : std::nullopt;
}

}  // namespace platform
