#include "platform/shared_mapping.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/own_object.h"
#include "platform/named_mutex.h"
#include "platform/system.h"

namespace platform {
namespace {

constexpr std::size_t kPathRoom = SharedMapping::kMaxName + 1;
constexpr std::uint64_t kLargestObject = std::numeric_limits<off_t>::max();

// Allocates nothing, because closing must not fail when memory is short.
std::array<char, kPathRoom> PathOf(const char (&name)[SharedMapping::kMaxName]) {
    std::array<char, kPathRoom> path{'/'};
    std::memcpy(&path[1], name, sizeof name);
    return path;
}

// Allocates the pages of an object now: one missing later would end the process by SIGBUS.
int Allocate(int object, off_t size) {
    int result = 0;
    do {
        result = posix_fallocate(object, 0, size);
    } while (result == EINTR);
    return result;
}

// Whether memory for two objects of that size is free. A folder without a limit reports no blocks.
bool HasRoomForTwo(int object, std::uint64_t size) {
    struct statvfs folder {};
    return fstatvfs(object, &folder) == 0 &&
           (folder.f_blocks == 0 || folder.f_bavail * folder.f_frsize / 2 >= size);
}

// Process ids mean nothing to the processes of another container, so a process that owns objects
// also holds a mutex whose name carries its id. The name is also random, so that nobody can take it
// first.
constexpr std::string_view kLifeSign = "shared_memory_owner.";

class LifeSign {
  public:
    // Called for each created object; 0 or the error number.
    int Share() {
        const std::lock_guard lock(m_lock);
        if (m_mutex == nullptr) {
            auto mutex = std::make_unique<NamedMutexHold>(
                std::string(kLifeSign) + std::to_string(CurrentProcessId()) + NewGuidText());
            if (!mutex->Owned()) {
                return mutex->Error();
            }
            m_mutex = std::move(mutex);
        }
        ++m_objects;
        return 0;
    }

    // The life sign is removed with the last object.
    void Drop() {
        const std::lock_guard lock(m_lock);
        if (--m_objects == 0) {
            m_mutex.reset();
        }
    }

  private:
    std::mutex m_lock;
    int m_objects = 0;
    std::unique_ptr<NamedMutexHold> m_mutex;
};

LifeSign g_lifeSign;

// Has an object take a name with `take`, once more after removing what this user left under it;
// this process then shows its life sign. 0 or the error number.
template <typename Take>
int TakeName(const char* path, Take&& take) {
    if (const int error = g_lifeSign.Share(); error != 0) {
        return error;
    }
    if (take() || (errno == EEXIST && (RemoveOwnObject(path), take()))) {
        return 0;
    }
    const int error = errno;
    g_lifeSign.Drop();
    return error;
}

}  // namespace

const int SharedMapping::kNameInUse = EEXIST;
const bool SharedMapping::kCanNameLater = true;

int SharedMapping::Create(const char* name, std::uint64_t size) {
    UnmapAndClose();
    if (size == 0 || size > kLargestObject || !StoreName(name)) {
        return EINVAL;
    }
    const auto path = PathOf(m_name);
    int object = kNoObject;
    if (const int error = TakeName(path.data(),
                                   [&] {
                                       object = CreateOwnObject(path.data());
                                       return object != kNoObject;
                                   });
        error != 0) {
        return error;
    }
    m_handle = object;
    m_open = true;
    m_owner = true;
    if (const int error = Allocate(object, static_cast<off_t>(size)); error != 0) {
        UnmapAndClose();
        return error;
    }
    m_size = size;
    return 0;
}

int SharedMapping::CreateUnnamed(std::uint64_t size) {
    UnmapAndClose();
    m_name[0] = '\0';
    if (size == 0 || size > kLargestObject) {
        return EINVAL;
    }
    const int object = CreateUnnamedObject();
    if (object == kNoObject) {
        return errno;
    }
    m_handle = object;
    m_open = true;
    const int error =
        HasRoomForTwo(object, size) ? Allocate(object, static_cast<off_t>(size)) : ENOSPC;
    if (error != 0) {
        UnmapAndClose();
        return error;
    }
    m_size = size;
    return 0;
}

int SharedMapping::GiveName(const char* name) {
    if (!m_open || m_name[0] != '\0' || m_view == nullptr || !StoreName(name)) {
        return EINVAL;
    }
    const auto path = PathOf(m_name);
    if (const int error = TakeName(
            path.data(), [&] { return NameObject(static_cast<int>(m_handle), path.data()); });
        error != 0) {
        m_name[0] = '\0';
        return error;
    }
    m_owner = true;
    CloseDescriptor();
    return 0;
}

int SharedMapping::Open(const char* name) {
    UnmapAndClose();
    if (!StoreName(name)) {
        return EINVAL;
    }
    const int object = OpenOwnObject(PathOf(m_name).data());
    if (object == kNoObject) {
        return errno;
    }
    m_handle = object;
    m_open = true;
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
    const bool unnamed = m_name[0] == '\0';
    const int access = m_owner || unnamed ? PROT_READ | PROT_WRITE : PROT_READ;
    void* const view =
        mmap(nullptr, m_size, access, MAP_SHARED | MAP_POPULATE, static_cast<int>(m_handle), 0);
    if (view == MAP_FAILED) {
        return errno;
    }
    m_view = static_cast<std::byte*>(view);
    if (!unnamed) {
        CloseDescriptor();
    }
    return 0;
}

// Once mapped and named, an object needs no descriptor. Regions live long, and a host may have few.
int SharedMapping::CloseDescriptor() noexcept {
    const int handle = static_cast<int>(std::exchange(m_handle, kNoHandle));
    return handle == kNoObject || close(handle) == 0 ? 0 : errno;
}

int SharedMapping::Unmap() {
    std::byte* const view = std::exchange(m_view, nullptr);
    return view == nullptr || munmap(view, m_size) == 0 ? 0 : errno;
}

int SharedMapping::Close() {
    int error = 0;
    if (std::exchange(m_owner, false)) {
        if (shm_unlink(PathOf(m_name).data()) != 0) {
            error = errno;
        }
        g_lifeSign.Drop();
    }
    const int closeError = CloseDescriptor();
    m_open = false;
    return closeError != 0 ? closeError : error;
}

namespace {

bool IsGone(pid_t pid) {
    return kill(pid, 0) != 0 && errno == ESRCH;
}

std::vector<std::string> ObjectNames() {
    struct FolderCloser {
        void operator()(DIR* folder) const { closedir(folder); }
    };
    std::vector<std::string> names;
    const std::unique_ptr<DIR, FolderCloser> folder(opendir(kObjectFolder));
    while (const dirent* const entry = folder != nullptr ? readdir(folder.get()) : nullptr) {
        names.emplace_back(entry->d_name);
    }
    return names;
}

// The process in the name of a life sign.
std::optional<std::uint32_t> OwnerOfLifeSign(std::string_view name) {
    if (!name.starts_with(kLifeSign)) {
        return std::nullopt;
    }
    name.remove_prefix(kLifeSign.size());
    std::uint32_t process = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
    return error == std::errc{} ? std::optional(process) : std::nullopt;
}

// Whether a process of this user holds the sign; removes one that nobody holds.
bool IsHeld(const std::string& lifeSign) {
    const std::string path = "/" + lifeSign;
    const int object = OpenOwnObject(path.c_str());
    if (object == kNoObject) {
        return errno == EMFILE || errno == ENFILE || errno == ENOMEM;  // unknown
    }
    const bool held = flock(object, LOCK_EX | LOCK_NB) != 0;
    if (!held) {
        shm_unlink(path.c_str());
    }
    close(object);
    return held;
}

}  // namespace

void RemoveObjectsOfDeadProcesses(OwnerOfName ownerOf) noexcept try {
    // The life signs are read after the objects, because a process creates its sign first.
    const std::vector<std::string> objects = ObjectNames();
    std::set<std::uint32_t> alive;
    for (const std::string& name : ObjectNames()) {
        if (const auto process = OwnerOfLifeSign(name); process && IsHeld(name)) {
            alive.insert(*process);
        }
    }
    for (const std::string& name : objects) {
        const std::optional<std::uint32_t> process = ownerOf(name);
        if (process && !alive.contains(*process) && IsGone(static_cast<pid_t>(*process))) {
            RemoveOwnObject(("/" + name).c_str());
        }
    }
} catch (...) {
    // Out of memory; the next start removes the objects.
}

}  // namespace platform
