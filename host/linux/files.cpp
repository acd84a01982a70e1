#include "host/files.h"

namespace host {

std::FILE* OpenForWriting(const std::filesystem::path& path) {
    return std::fopen(path.c_str(), "wbe");
}

}  // namespace host
