#include "platform/shared_mapping.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace platform {
namespace {

constexpr int kNone = -1;
constexpr mode_t kThisUserOnly = 0600;

std::string ObjectPath(const char* name) {
    return std::string("/") + name;
}

// Takes the memory now: a page that cannot be had later would end the process by SIGBUS.
int Allocate(int object, off_t size) {
    int result = 0;
    do {
        result = posix_fallocate(object, 0, size);
    } while (result == EINTR);
    return result;
}

}  // namespace

int SharedMapping::Create(const char* name, std::uint64_t size) {
    UnmapAndClose();
    constexpr std::uint64_t kLargest = std::numeric_limits<off_t>::max();
    if (size == 0 || size > kLargest || !StoreName(name)) {
        return EINVAL;
    }
    const std::string path = ObjectPath(name);
    constexpr int kNewOnly = O_RDWR | O_CREAT | O_EXCL;
    int object = shm_open(path.c_str(), kNewOnly, kThisUserOnly);
    if (object == kNone && errno == EEXIST) {
        shm_unlink(path.c_str());
        object = shm_open(path.c_str(), kNewOnly, kThisUserOnly);
    }
    if (object == kNone) {
        return errno;
    }
    m_handle = object;
    m_owner = true;
    // A sign of life for the sweep, which cannot see the process ids of another container.
    flock(object, LOCK_SH | LOCK_NB);
    if (const int error = Allocate(object, static_cast<off_t>(size)); error != 0) {
        UnmapAndClose();
        return error;
    }
    m_size = size;
    return 0;
}

int SharedMapping::Open(const char* name) {
    UnmapAndClose();
    if (!StoreName(name)) {
        return EINVAL;
    }
    const int object = shm_open(ObjectPath(name).c_str(), O_RDONLY, 0);
    if (object == kNone) {
        return errno;
    }
    m_handle = object;
    struct stat status {};
    if (fstat(object, &status) != 0) {
        const int error = errno;
        UnmapAndClose();
        return error;
    }
    m_size = static_cast<std::uint64_t>(status.st_size);
    return 0;
}

int SharedMapping::Map() {
    if (m_view != nullptr) {
        return 0;
    }
    const int access = m_owner ? PROT_READ | PROT_WRITE : PROT_READ;
    void* const view =
        mmap(nullptr, m_size, access, MAP_SHARED | MAP_POPULATE, static_cast<int>(m_handle), 0);
    if (view == MAP_FAILED) {
        return errno;
    }
    m_view = static_cast<std::byte*>(view);
    return 0;
}

int SharedMapping::Unmap() {
    std::byte* const view = std::exchange(m_view, nullptr);
    return view == nullptr || munmap(view, m_size) == 0 ? 0 : errno;
}

int SharedMapping::Close() {
    if (!IsOpen()) {
        return 0;
    }
    int error = 0;
    if (std::exchange(m_owner, false) && shm_unlink(ObjectPath(m_name).c_str()) != 0) {
        error = errno;
    }
    if (close(static_cast<int>(std::exchange(m_handle, kNoHandle))) != 0) {
        error = errno;
    }
    return error;
}

namespace {

constexpr const char* kObjectFolder = "/dev/shm";

// Reads a region name from left to right.
class NameReader {
  public:
    explicit NameReader(std::string_view rest) : m_rest(rest) {}

    bool Take(char expected) {
        if (m_rest.empty() || m_rest.front() != expected) {
            return false;
        }
        m_rest.remove_prefix(1);
        return true;
    }

    std::optional<int> TakeNumber() {
        int value = 0;
        const char* const end = m_rest.data() + m_rest.size();
        const auto [stopped, error] = std::from_chars(m_rest.data(), end, value);
        if (error != std::errc{}) {
            return std::nullopt;
        }
        m_rest.remove_prefix(static_cast<std::size_t>(stopped - m_rest.data()));
        return value;
    }

    bool TakeUpperHex(int digits) {
        for (; digits > 0; --digits, m_rest.remove_prefix(1)) {
            constexpr std::string_view kDigits = "0123456789ABCDEF";
            if (m_rest.empty() || kDigits.find(m_rest.front()) == kDigits.npos) {
                return false;
            }
        }
        return true;
    }

    bool TakeGuid() {
        return Take('{') && TakeUpperHex(8) && Take('-') && TakeUpperHex(4) && Take('-') &&
               TakeUpperHex(4) && Take('-') && TakeUpperHex(4) && Take('-') && TakeUpperHex(12) &&
               Take('}');
    }

    [[nodiscard]] bool AtEnd() const { return m_rest.empty(); }

  private:
    std::string_view m_rest;
};

// The process id in a region name; nothing for any other name.
std::optional<pid_t> OwnerOfRegion(std::string_view name) {
    NameReader reader(name);
    if (!reader.Take('{') || !reader.TakeNumber() || !reader.Take('-') || !reader.TakeNumber() ||
        !reader.Take('-')) {
        return std::nullopt;
    }
    const std::optional<int> pid = reader.TakeNumber();
    const bool complete = reader.Take('-') && reader.TakeGuid() && reader.Take('-') &&
                          reader.TakeNumber() && reader.Take('}') && reader.AtEnd();
    return complete && pid > 0 ? pid : std::nullopt;
}

bool IsGone(pid_t pid) {
    return kill(pid, 0) != 0 && errno == ESRCH;
}

void RemoveUnlessAlive(const char* name) {
    const std::string path = ObjectPath(name);
    const int object = shm_open(path.c_str(), O_RDONLY, 0);
    if (object == kNone) {
        return;
    }
    struct stat status {};
    if (fstat(object, &status) == 0 && status.st_uid == geteuid() &&
        flock(object, LOCK_EX | LOCK_NB) == 0) {
        shm_unlink(path.c_str());
    }
    close(object);
}

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

}  // namespace

void SweepRegionsOfDeadProcesses() {
    const std::unique_ptr<DIR, FolderCloser> folder(opendir(kObjectFolder));
    if (folder == nullptr) {
        return;
    }
    while (const dirent* const entry = readdir(folder.get())) {
        const std::optional<pid_t> owner = OwnerOfRegion(entry->d_name);
        if (owner && IsGone(*owner)) {
            RemoveUnlessAlive(entry->d_name);
        }
    }
}

}  // namespace platform
