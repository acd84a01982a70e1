#include "standins/xalog/line_queue.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace xalog {
namespace {

static_assert(std::atomic<std::uint64_t>::is_always_lock_free);  // a signal handler uses them

char* PutDigits(char* to, unsigned value, int digits) {
    for (char* place = to + digits; place != to; value /= 10) {
        *--place = static_cast<char>('0' + value % 10);
    }
    return to + digits;
}

// UTC: lines of several machines are comparable, and no time repeats when the clocks change.
void PutTime(char* to) {
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const auto today = floor<days>(now);
    const year_month_day date(today);
    const hh_mm_ss time(now - today);

    to = PutDigits(to, static_cast<unsigned>(static_cast<int>(date.year())), 4);
    *to++ = '-';
    to = PutDigits(to, static_cast<unsigned>(date.month()), 2);
    *to++ = '-';
    to = PutDigits(to, static_cast<unsigned>(date.day()), 2);
    *to++ = ' ';
    to = PutDigits(to, static_cast<unsigned>(time.hours().count()), 2);
    *to++ = ':';
    to = PutDigits(to, static_cast<unsigned>(time.minutes().count()), 2);
    *to++ = ':';
    to = PutDigits(to, static_cast<unsigned>(time.seconds().count()), 2);
    *to++ = '.';
    to = PutDigits(to, static_cast<unsigned>(time.subseconds().count()), 3);
    *to = ' ';
}

void PutStamp(char* to, std::int32_t level) {
    PutTime(to);
    to += kTimeSize;
    to[0] = '[';
    to[1] = "DIWE"[std::clamp(level, 1, 4) - 1];
    to[2] = ']';
    to[3] = ' ';
}

}  // namespace

LineQueue::LineQueue() : m_ring(new Unit[kCapacity / sizeof(Unit)]) {}

void LineQueue::Put(std::int32_t level, std::string_view message) noexcept {
    message = message.substr(0, kLongestMessage);
    const std::size_t size = kStampSize + message.size() + 1;
    const std::size_t room = sizeof(Line) + (size + sizeof(Unit) - 1) / sizeof(Unit) * sizeof(Unit);

    std::uint64_t put = m_put.load(std::memory_order_relaxed);
    const std::size_t toTheEnd = kCapacity - put % kCapacity;
    const std::size_t skipped = room <= toTheEnd ? 0 : toTheEnd;
    if (put + skipped + room - m_taken.load() > kCapacity) {
        m_lost.fetch_add(1);
        return;
    }
    if (skipped > 0) {
        *At(put) = {static_cast<std::uint32_t>(skipped), 0, 0, 0};
        put += skipped;
    }
    Line* const line = At(put);
    *line = {static_cast<std::uint32_t>(room), static_cast<std::uint32_t>(size), level,
             m_lost.exchange(0)};
    char* const text = reinterpret_cast<char*>(line + 1);
    PutStamp(text, level);
    std::memcpy(text + kStampSize, message.data(), message.size());
    text[size - 1] = '\n';
    m_linesPut.fetch_add(1);
    m_put.store(put + room);
}

const LineQueue::Line* LineQueue::Front() noexcept {
    for (;;) {
        const std::uint64_t taken = m_taken.load();
        if (taken == m_put.load()) {
            return nullptr;
        }
        const Line* const line = At(taken);
        if (line->size != 0) {
            return line;
        }
        m_taken.store(taken + line->room);
    }
}

void LineQueue::Pop() noexcept {
    const std::uint64_t taken = m_taken.load();
    const std::size_t room = At(taken)->room;
    m_linesPopped.fetch_add(1);
    m_taken.store(taken + room);
}

}  // namespace xalog
