#include "standins/xalog/log_writer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "standins/xalog/process.h"

namespace xalog {
namespace {

using namespace std::chrono_literals;

constexpr auto kTurnPause = 1ms;
constexpr auto kCountsInterval = 1s;  // a repetition is reported after this at the latest
// Lines come in bursts, and waking the thread costs a logging thread more than its line does. So
// the thread polls for a while after a line before it sleeps until it is woken.
constexpr auto kLookInterval = 5ms;
constexpr auto kLookingTime = 500ms;
constexpr auto kFlushLimit = 10s;
constexpr auto kSettingLimit = 2s;    // how long a setting waits for a line being written
constexpr auto kRemainderLimit = 2s;  // limit at process exit for all queued lines
constexpr auto kRemainderPatience = 100ms;

enum HookPlace : std::size_t { kSink, kProbe };

}  // namespace

std::size_t MakeOneLine(char* message, std::size_t size) {
    while (size > 0 && (message[size - 1] == '\n' || message[size - 1] == '\r')) {
        --size;
    }
    std::replace_if(
        message, message + size,
        [](char c) {
            const auto code = static_cast<unsigned char>(c);
            return (code < 0x20 && c != '\t') || code == 0x7F;
        },
        ' ');
    return size;
}

void OutputTurn::Take() noexcept {
    while (m_urgent.load() || m_taken.exchange(true)) {
        std::this_thread::sleep_for(kTurnPause);
    }
}

bool OutputTurn::TakeFirst(std::chrono::milliseconds limit) noexcept {
    const auto end = std::chrono::steady_clock::now() + limit;
    m_urgent.store(true);
    bool taken = !m_taken.exchange(true);
    while (!taken && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kTurnPause);
        taken = !m_taken.exchange(true);
    }
    m_urgent.store(false);
    return taken;
}

LogWriter::LogWriter() {
    if (const char* const path = std::getenv("XALOG_FILE"); path != nullptr && *path != '\0') {
        m_standardErrorEnabled = !SetFile(path);
    }
    if (const char* const enabled = std::getenv("XALOG_STDERR"); enabled != nullptr) {
        m_standardErrorEnabled = std::strcmp(enabled, "0") != 0;
    }
}

LogWriter* LogWriter::InForkedChild(LogWriter& parents) {
    auto* const own = new LogWriter(NoSettings{});
    if (parents.m_file) {
        own->m_file.emplace(parents.m_file->Release());
    }
    own->m_standardErrorEnabled = parents.m_standardErrorEnabled;
    own->m_hooksSet = parents.m_hooksSet;
    own->m_sink.Replace(own->m_hooksSet[kSink]);
    own->m_probe.Replace(own->m_hooksSet[kProbe]);
    return own;
}

void LogWriter::Write(std::int32_t level, const char* message, std::size_t size) {
    bool started = false;
    bool wake = false;
    {
        // The time is taken under the lock, so that times in the file never decrease.
        const std::lock_guard lock(m_mutex);
        m_queue.Put(level, {message, size});
        StartThreadLocked();
        started = m_started;
        wake = m_asleep || m_queue.HalfFull();
    }
    if (!started) {
        WriteRemaining(false);  // slow, but no line is lost
    } else if (wake) {
        m_wake.notify_one();
    }
    m_probe.Run([&](const Hook& probe) { probe(level, message); });
}

void LogWriter::StartThreadLocked() {
    if (!m_started) {
        m_started = StartThread([](void* self) { static_cast<LogWriter*>(self)->Run(); }, this);
    }
}

void LogWriter::Run() {
    std::unique_lock lock(m_mutex);
    m_thread = std::this_thread::get_id();
    constexpr auto kNever = Clock::time_point::max();
    Clock::time_point countsDue = kNever;
    Clock::time_point looksUntil{};
    bool busy = false;
    for (;;) {
        const bool flush = m_flushesAsked != m_flushesDone && m_queue.LinesPopped() >= m_flushUpTo;
        if (flush || (countsDue != kNever && Clock::now() >= countsDue)) {
            const std::uint64_t asked = m_flushesAsked;
            lock.unlock();
            WriteCounts();
            lock.lock();
            countsDue = kNever;
            if (flush) {
                m_flushesDone = asked;
                m_flushed.notify_all();
            }
        } else if (!m_queue.Empty()) {
            lock.unlock();
            const bool owes = HandleNext();
            lock.lock();
            busy = true;
            if (!owes) {
                countsDue = kNever;
            } else if (countsDue == kNever) {
                countsDue = Clock::now() + kCountsInterval;
            }
        } else {
            const Clock::time_point now = Clock::now();
            looksUntil = std::exchange(busy, false) ? now + kLookingTime : looksUntil;
            m_asleep = now >= looksUntil;
            const Clock::time_point due =
                m_asleep ? countsDue : std::min<Clock::time_point>(countsDue, now + kLookInterval);
            if (due == kNever) {
                m_wake.wait(lock);
            } else {
                m_wake.wait_until(lock, due);
            }
            m_asleep = false;
        }
    }
}

bool LogWriter::HandleNext() {
    std::int32_t level = 0;
    std::uint32_t lost = 0;
    bool owes = false;
    m_turn.Take();
    const LineQueue::Line* const line = m_queue.Front();
    if (line != nullptr) {
        ForEachOutput([&](LogOutput& output) { output.Write(*line); });
        level = line->level;
        lost = line->lostBefore;
        const std::string_view message = line->Message();
        m_sinkText[message.copy(m_sinkText.data(), kLongestMessage)] = '\0';
        m_queue.Pop();
    } else {
        lost = m_queue.TakeLost();
        ForEachOutput([&](LogOutput& output) { output.CountLost(lost); });
    }
    ForEachOutput([&](LogOutput& output) { owes = owes || output.Owes(); });
    m_turn.Give();

    TellSinkOfLost(lost);
    if (line != nullptr) {
        TellSink(level, m_sinkText.data());
    }
    return owes;
}

void LogWriter::WriteCounts() {
    m_turn.Take();
    const std::uint32_t lost = m_queue.TakeLost();
    ForEachOutput([&](LogOutput& output) {
        output.CountLost(lost);
        output.WriteCounts();
    });
    m_turn.Give();
    TellSinkOfLost(lost);
}

// Exceptions of a sink are swallowed: nothing else could catch them.
void LogWriter::TellSink(std::int32_t level, const char* message) noexcept {
    try {
        m_sink.Run([&](const Hook& sink) { sink(level, message); });
    } catch (...) {
    }
}

void LogWriter::TellSinkOfLost(std::uint32_t lines) noexcept {
    if (lines > 0) {
        char text[16 + kLinesLost.size()];
        std::snprintf(text, sizeof text, "%u%s", lines, kLinesLost.data());
        TellSink(kLostLevel, text);
    }
}

bool LogWriter::SetFile(const char* path) {
    std::optional<LogOutput> file;
    if (path != nullptr && *path != '\0') {
        std::optional<TextOutput> opened = TextOutput::OpenFile(path);
        if (!opened) {
            return false;
        }
        file.emplace(std::move(*opened));
    }
    return ChangeOutputs([&] { std::swap(m_file, file); });
}

void LogWriter::SetStandardError(bool enabled) {
    static_cast<void>(ChangeOutputs([&] { m_standardErrorEnabled = enabled; }));
}

void LogWriter::SetSink(XalogSink sink, void* user) {
    SetHook(m_sink, m_hooksSet[kSink], {sink, user});
}

void LogWriter::SetProbe(XalogSink probe, void* user) {
    SetHook(m_probe, m_hooksSet[kProbe], {probe, user});
}

template <typename Change>
bool LogWriter::ChangeOutputs(Change&& change) {
    Flush();
    if (!m_turn.TakeFirst(kSettingLimit)) {
        return false;
    }
    {
        const std::lock_guard lock(m_mutex);
        change();
    }
    m_turn.Give();
    return true;
}

void LogWriter::SetHook(standins::CallbackSlot<Hook>& slot, Hook& kept, const Hook& hook) {
    Flush();
    {
        const std::lock_guard lock(m_mutex);
        kept = hook;
    }
    slot.Replace(hook);
}

void LogWriter::Flush() {
    std::unique_lock lock(m_mutex);
    if (!m_started || m_thread == std::this_thread::get_id()) {
        return;
    }
    const std::uint64_t ticket = ++m_flushesAsked;
    m_flushUpTo = m_queue.LinesPut();
    m_wake.notify_one();
    m_flushed.wait_for(lock, kFlushLimit, [&] { return m_flushesDone >= ticket; });
}

void LogWriter::WriteRemaining(bool othersAreGone) noexcept {
    if (!m_turn.TakeFirst(othersAreGone ? 0ms : kRemainderLimit) && !othersAreGone) {
        return;
    }
    const auto end = Clock::now() + kRemainderLimit;
    ForEachOutput([](LogOutput& output) { output.SetPatience(kRemainderPatience); });
    std::uint64_t lost = 0;
    while (const LineQueue::Line* const line = m_queue.Front()) {
        if (Clock::now() < end) {
            ForEachOutput([&](LogOutput& output) { output.Write(*line); });
        } else {
            lost += 1 + line->lostBefore;
        }
        m_queue.Pop();
    }
    lost += m_queue.TakeLost();
    ForEachOutput([&](LogOutput& output) {
        output.CountLost(lost);
        output.WriteCounts();
    });
    m_turn.Give();
}

}  // namespace xalog
