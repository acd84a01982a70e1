// A mutex that processes on the machine share by name.
#pragma once

#include <string>

namespace platform {

// Holds the named mutex from construction to destruction. The wait has no time limit; a process
// that dies while it holds the mutex releases it. Nothing of it remains on the machine once the
// last holder or waiter is gone. Not re-entrant.
//
// The mutex is shared by the processes of one user on Linux and of one session on Windows: others
// who could take the mutex could also keep it.
class NamedMutexHold {
  public:
    // `name`: letters, digits and underscores. Blocks until the mutex is owned or turns out to be
    // unavailable: out of resources, or something else has the name. Check Owned().
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
