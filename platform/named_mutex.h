// A mutex that processes of the machine find by its name.
#pragma once

#include <string>

namespace platform {

// Holds the named mutex from construction to destruction. The wait has no time limit; a process
// that dies while it holds the mutex releases it. Nothing of it stays on the machine once the last
// holder or waiter is gone. Not re-entrant: a thread takes a name once.
//
// The mutex is shared by the processes of one user on Linux and of one session on Windows: a mutex
// that others could take, they could also keep.
class NamedMutexHold {
  public:
    // `name`: letters, digits and underscores. Blocks until the mutex is owned or turns out to be
    // unavailable: no resources, or something else stands under the name. Check Owned().
    explicit NamedMutexHold(const std::string& name);
    ~NamedMutexHold();
    NamedMutexHold(const NamedMutexHold&) = delete;
    NamedMutexHold& operator=(const NamedMutexHold&) = delete;

    [[nodiscard]] bool Owned() const noexcept { return m_handle != kNoHandle; }

    // Why the mutex is not owned: a system error number (errno, GetLastError); 0 when it is.
    [[nodiscard]] int Error() const noexcept { return m_error; }

  private:
    static constexpr long long kNoHandle = -1;

    std::string m_name;
    long long m_handle = kNoHandle;  // a file descriptor or a HANDLE
    int m_error = 0;
};

}  // namespace platform
