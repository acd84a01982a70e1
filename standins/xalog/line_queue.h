// The queue of lines between the threads that log and the one that writes.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace xalog {

// "2026-11-21 08:15:02.123 "
inline constexpr std::size_t kTimeSize = 24;
// "[E] "
inline constexpr std::size_t kLevelSize = 4;
inline constexpr std::size_t kStampSize = kTimeSize + kLevelSize;

// A longer message is cut.
inline constexpr std::size_t kLongestMessage = std::size_t{64} << 10;

// A ring of whole lines in their written form. One thread at a time puts, one at a time takes; the
// two need no lock between them, so queued lines can be taken at any instant, even by a signal
// handler, whatever the other threads are doing.
class LineQueue {
  public:
    struct Line {
        std::uint32_t room;  // bytes up to the next line
        std::uint32_t size;  // of the text; 0: the rest of the ring is skipped
        std::int32_t level;
        std::uint32_t lostBefore;  // lines that did not fit between the line before and this one

        // Time, level, message and line end.
        [[nodiscard]] std::string_view Text() const {
            return {reinterpret_cast<const char*>(this + 1), size};
        }
        [[nodiscard]] std::string_view Message() const {
            return Text().substr(kStampSize, size - kStampSize - 1);
        }
    };

    LineQueue();

    // Stamps the message with the current time. If the queue is full the line is only counted.
    void Put(std::int32_t level, std::string_view message) noexcept;

    // The oldest line, until it is popped; null when there is none.
    [[nodiscard]] const Line* Front() noexcept;
    void Pop() noexcept;

    // Lines lost since the last one queued; resets the count.
    [[nodiscard]] std::uint32_t TakeLost() noexcept { return m_lost.exchange(0); }

    [[nodiscard]] bool Empty() const noexcept {
        return m_taken.load() == m_put.load() && m_lost.load() == 0;
    }
    [[nodiscard]] bool HalfFull() const noexcept {
        return m_put.load() - m_taken.load() > kCapacity / 2;
    }
    // How many lines were put, and how many of them were popped.
    [[nodiscard]] std::uint64_t LinesPut() const noexcept { return m_linesPut.load(); }
    [[nodiscard]] std::uint64_t LinesPopped() const noexcept { return m_linesPopped.load(); }

  private:
    static constexpr std::size_t kCapacity = std::size_t{1} << 20;

    struct alignas(Line) Unit {
        std::byte bytes[sizeof(Line)];
    };

    [[nodiscard]] Line* At(std::uint64_t position) noexcept {
        return reinterpret_cast<Line*>(&m_ring[position % kCapacity / sizeof(Unit)]);
    }

    const std::unique_ptr<Unit[]> m_ring;
    // In bytes since the start.
    std::atomic<std::uint64_t> m_put{0};
    std::atomic<std::uint64_t> m_taken{0};
    std::atomic<std::uint64_t> m_linesPut{0};
    std::atomic<std::uint64_t> m_linesPopped{0};
    std::atomic<std::uint32_t> m_lost{0};
};

}  // namespace xalog
