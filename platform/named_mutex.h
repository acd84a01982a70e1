// A mutex that every process of the machine finds by its name.
#pragma once

#include <string>

namespace platform {

// Holds the named mutex from construction to destruction. The wait has no time limit; a process
// that dies while it holds the mutex releases it. Nothing of it stays on the machine once the last
// holder or waiter is gone. Not re-entrant: a thread takes a name once.
class NamedMutexHold {
  public:
    // `name`: letters, digits and underscores. Blocks until the mutex is owned. Where the system
    // refuses the mutex altogether (no resources, no permission), Owned() is false and the holder
    // goes on unserialised.
    explicit NamedMutexHold(const std::string& name);
    ~NamedMutexHold();
    NamedMutexHold(const NamedMutexHold&) = delete;
    NamedMutexHold& operator=(const NamedMutexHold&) = delete;

    [[nodiscard]] bool Owned() const noexcept { return m_handle != kNoHandle; }

  private:
    static constexpr long long kNoHandle = -1;

    std::string m_name;
    long long m_handle = kNoHandle;  // a file descriptor or a HANDLE
};

}  // namespace platform
