#include "platform/linux/own_object.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

namespace platform {
namespace {

constexpr mode_t kThisUserOnly = 0600;

bool IsOwnFile(const struct stat& status) {
    return S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

}  // namespace

int OpenOwnObject(const char* path) noexcept {
    // shm_open adds O_NOFOLLOW itself. Without O_NONBLOCK a FIFO would wait for its other end.
    const int object = shm_open(path, O_RDONLY | O_NONBLOCK, 0);
    if (object == kNoObject) {
        return kNoObject;
    }
    struct stat status {};
    if (fstat(object, &status) == 0 && IsOwnFile(status)) {
        return object;
    }
    close(object);
    errno = EPERM;
    return kNoObject;
}

int CreateOwnObject(const char* path) noexcept {
    return shm_open(path, O_RDWR | O_CREAT | O_EXCL, kThisUserOnly);
}

int CreateUnnamedObject() noexcept {
    return open(kObjectFolder, O_TMPFILE | O_RDWR | O_CLOEXEC, kThisUserOnly);
}

bool NameObject(int object, const char* path) noexcept {
    // An unnamed file is linked through its descriptor's path; by the descriptor alone it takes a
    // privilege.
    std::array<char, 64> descriptor{};
    std::snprintf(descriptor.data(), descriptor.size(), "/proc/self/fd/%d", object);
    std::array<char, 256> target{};
    const int length = std::snprintf(target.data(), target.size(), "%s%s", kObjectFolder, path);
    if (length < 0 || static_cast<std::size_t>(length) >= target.size()) {
        errno = ENAMETOOLONG;
        return false;
    }
    return linkat(AT_FDCWD, descriptor.data(), AT_FDCWD, target.data(), AT_SYMLINK_FOLLOW) == 0;
}

bool RemoveOwnObject(const char* path) noexcept {
    // Opened rather than queried by name, which would require knowing shm_open's folder.
    const int object = OpenOwnObject(path);
    if (object == kNoObject) {
        return false;
    }
    close(object);
    return shm_unlink(path) == 0;
}

}  // namespace platform
