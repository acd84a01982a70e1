// A manual-reset event: once set it stays set and releases every waiter until it is reset.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace platform {

// The object lives as long as its owner, whatever Create and Close do, so that a late Set or Wait
// is harmless: on a closed event they do nothing and return at once. All operations may be called
// from any thread at any time; Create and Close by the owner only.
class Event {
  public:
    Event() = default;
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    // Opens the event unsignalled; an open event is unchanged. False: out of resources, the event
    // stays closed. Always true on current platforms.
    [[nodiscard]] bool Create() noexcept;

    // Closes the event and releases every waiter. Harmless on a closed one.
    void Close() noexcept;

    [[nodiscard]] bool IsOpen() const noexcept;

    // Setting an event that nobody waits on costs an atomic write, not a system call. Threads
    // waiting at this moment are released, even if a Reset follows at once.
    void Set() noexcept {
        Signal();
        Wake();
    }
    void Reset() noexcept;

    // The two halves of Set, for setting it under a lock that the waiters take next: Signal changes
    // the state, and Wake, after the lock, releases the waiters.
    void Signal() noexcept;
    void Wake() noexcept;

    // True when the event was signalled in time; false on time-out or when it is closed.
    bool WaitFor(std::chrono::milliseconds timeout) noexcept;

  private:
    // The lowest bits of the state word; the bits above count the releases (Set and Close), so that
    // a waiter sees its release even if the event has been reset since.
    enum class State : std::uint32_t { Closed, Unsignalled, Signalled };

    static constexpr std::uint32_t kStateBits = 3;
    static constexpr std::uint32_t kOneRelease = kStateBits + 1;

    static State StateOf(std::uint32_t word) noexcept { return State{word & kStateBits}; }
    static std::uint32_t WithState(std::uint32_t word, State state) noexcept {
        return (word & ~kStateBits) | static_cast<std::uint32_t>(state);
    }

    std::atomic<std::uint32_t> m_word{0};
    std::atomic<std::uint32_t> m_waiters{0};
};

}  // namespace platform
