#include "host/files.h"

namespace host {

std::FILE* OpenForWriting(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"wb");
}

}  // namespace host
