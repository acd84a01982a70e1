// A manual-reset event: once set it stays set, and every waiter passes, until it is reset.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>

namespace platform {

// The object itself lives as long as its owner, whatever Create and Close do to it, so that a late
// Set or Wait is harmless: on an event that is not open they do nothing and return at once.
// All operations may be called from any thread at any time; Create and Close by the owner only.
class Event {
  public:
    Event() noexcept;
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    // Opens the event unsignalled; an open event is left as it is. False: the system has no
    // resources left, and the event stays closed.
    [[nodiscard]] bool Create() noexcept;

    // Closes the event and lets every waiter go. Harmless on a closed one.
    void Close() noexcept;

    [[nodiscard]] bool IsOpen() const noexcept;

    // Setting an event that nobody waits on costs an atomic write, not a system call.
    void Set() noexcept;
    void Reset() noexcept;

    // True when the event was signalled within the time; false on time-out or when it is closed.
    bool WaitFor(std::chrono::milliseconds timeout) noexcept;

  private:
    enum class State : std::uint32_t { Closed, Unsignalled, Signalled };

    struct Waiting;  // what the system puts a waiter to sleep on; made by the first Create

    std::atomic<State> m_state{State::Closed};
    std::atomic<std::uint32_t> m_waiters{0};
    std::unique_ptr<Waiting> m_waiting;
};

}  // namespace platform
