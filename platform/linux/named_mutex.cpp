#include "platform/named_mutex.h"

#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/linux/own_object.h"

// The mutex is a lock on an empty shared-memory object: the kernel releases it when its holder
// ends, however it ends. The holder removes the object before it releases the lock, so a waiter may
// acquire the lock of an object that no longer has a name; it then starts over.

namespace platform {
namespace {

// The kernel's lock orders the holders, but not in terms of the memory model or of ThreadSanitizer;
// within this process the counter does.
std::atomic<unsigned> g_turns{0};

int OpenOrCreate(const char* path) {
    for (;;) {
        int object = OpenOwnObject(path);
        if (object != kNoObject || errno != ENOENT) {
            return object;
        }
        object = CreateOwnObject(path);
        if (object != kNoObject || errno != EEXIST) {
            return object;
        }
    }
}

bool Lock(int object) {
    while (flock(object, LOCK_EX) != 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool StillNamed(int object) {
    struct stat status {};
    return fstat(object, &status) == 0 && status.st_nlink > 0;
}

}  // namespace

NamedMutexHold::NamedMutexHold(const std::string& name) : m_name("/" + name) {
    for (;;) {
        const int object = OpenOrCreate(m_name.c_str());
        if (object == kNoObject) {
            m_error = errno;
            return;
        }
        if (!Lock(object)) {
            m_error = errno;
            close(object);
            return;
        }
        if (StillNamed(object)) {
            m_handle = object;
            g_turns.fetch_add(1, std::memory_order_acq_rel);
            return;
        }
        close(object);
    }
}

NamedMutexHold::~NamedMutexHold() {
    if (!Owned()) {
        return;
    }
    const int object = static_cast<int>(m_handle);
    g_turns.fetch_add(1, std::memory_order_acq_rel);
    shm_unlink(m_name.c_str());
    flock(object, LOCK_UN);  // a child process may have inherited the descriptor
    close(object);
}

}  // namespace platform
