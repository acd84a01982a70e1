#include "platform/event.h"

#include <algorithm>

#include "platform/address_wait.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

// Longer waits would overflow the clock's arithmetic.
constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(24 * 365);

}  // namespace

Event::~Event() {
    Close();
}

bool Event::Create() noexcept {
    std::uint32_t word = m_word.load();
    while (StateOf(word) == State::Closed &&
           !m_word.compare_exchange_weak(word, WithState(word, State::Unsignalled))) {
    }
    return true;
}

void Event::Close() noexcept {
    std::uint32_t word = m_word.load();
    do {
        if (StateOf(word) == State::Closed) {
            return;
        }
    } while (!m_word.compare_exchange_weak(word, WithState(word, State::Closed) + kOneRelease));
    Wake();
}

bool Event::IsOpen() const noexcept {
    return StateOf(m_word.load()) != State::Closed;
}

void Event::Signal() noexcept {
    std::uint32_t word = m_word.load();
    do {
        if (StateOf(word) != State::Unsignalled) {
            return;
        }
    } while (!m_word.compare_exchange_weak(word, WithState(word, State::Signalled) + kOneRelease));
}

void Event::Reset() noexcept {
    std::uint32_t word = m_word.load();
    while (StateOf(word) == State::Signalled &&
           !m_word.compare_exchange_weak(word, WithState(word, State::Unsignalled))) {
    }
}

// The waiter counts itself before it compares the word, the releaser changes the word before it
// looks at the count, all sequentially consistent: either the waiter sees the change or the
// releaser sees the waiter.
void Event::Wake() noexcept {
    if (m_waiters.load() != 0) {
        WakeAllOn(m_word);
    }
}

bool Event::WaitFor(std::chrono::milliseconds timeout) noexcept {
    const std::uint32_t entered = m_word.load();
    if (StateOf(entered) != State::Unsignalled) {
        return StateOf(entered) == State::Signalled;
    }
    const auto deadline = Clock::now() + std::clamp(timeout, timeout.zero(), kLongestWait);
    m_waiters.fetch_add(1);
    std::uint32_t word = m_word.load();
    while (word == entered) {
        const auto remaining = deadline - Clock::now();
        if (remaining <= remaining.zero()) {
            break;
        }
        SleepWhileEqual(m_word, entered, remaining);
        word = m_word.load();
    }
    m_waiters.fetch_sub(1);
    return word != entered && StateOf(word) != State::Closed;
}

}  // namespace platform
