// Takes lines from any thread and writes them on one of its own.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "standins/callback_slot.h"
#include "standins/xalog/line_queue.h"
#include "standins/xalog/log_output.h"
#include "standins/xalog/xalog_host.h"

namespace xalog {

// Who takes lines from the queue and may touch the outputs. No mutex, because a signal handler and
// a process that ends take it, too; they go first. Every holder gives it back before it calls out.
class OutputTurn {
  public:
    void Take() noexcept;
    [[nodiscard]] bool TakeFirst(std::chrono::milliseconds limit) noexcept;
    void Give() noexcept { m_taken.store(false); }

  private:
    std::atomic<bool> m_taken{false};
    std::atomic<bool> m_urgent{false};
};

// Never destroyed: its thread runs until the process ends, and other threads log until then. The
// functions that are not noexcept may run out of memory.
class LogWriter {
  public:
    // Takes the environment's settings.
    LogWriter();

    // In the child of a fork, where the other one's thread is missing: takes over its settings,
    // leaves its lines to the parent.
    static LogWriter* InForkedChild(LogWriter& parents);
    void LockForFork() { m_mutex.lock(); }
    void UnlockForFork() { m_mutex.unlock(); }

    // `message` is NUL-ended.
    void Write(std::int32_t level, const char* message, std::size_t size);

    [[nodiscard]] bool SetFile(const char* path);
    void SetStandardError(bool enabled);
    void SetSink(XalogSink sink, void* user);
    void SetProbe(XalogSink probe, void* user);
    void Flush();

    // What the process that ends still has queued, as text; the sink is not called. With
    // `othersAreGone` no other thread runs any more. May be called in a signal handler.
    void WriteRemaining(bool othersAreGone) noexcept;

  private:
    struct Hook {
        XalogSink function = nullptr;
        void* user = nullptr;

        void operator()(std::int32_t level, const char* message) const {
            if (function != nullptr) {
                function(level, message, user);
            }
        }
    };
    using Clock = std::chrono::steady_clock;

    struct NoSettings {};
    explicit LogWriter(NoSettings) {}

    void Run();
    void StartThreadLocked();
    // Writes one line, or counts those lost behind the last one. True when an output has to tell of
    // what it counted.
    bool HandleNext();
    void WriteCounts();
    void TellSink(std::int32_t level, const char* message) noexcept;
    void TellSinkOfLost(std::uint32_t lines);

    // False when an output holds the thread up for too long.
    template <typename Change>
    bool ChangeOutputs(Change&& change);
    void SetHook(standins::CallbackSlot<Hook>& slot, Hook& kept, const Hook& hook);

    template <typename Use>
    void ForEachOutput(Use&& use) noexcept {
        if (m_file) {
            use(*m_file);
        }
        if (m_standardErrorEnabled) {
            use(m_standardError);
        }
    }

    std::mutex m_mutex;  // putting lines, the thread's sleep, and what stands below up to the blank
    std::condition_variable m_wake;
    std::condition_variable m_flushed;
    bool m_started = false;
    bool m_asleep = false;  // until it is woken
    std::thread::id m_thread;
    std::uint64_t m_flushesAsked = 0;
    std::uint64_t m_flushesDone = 0;
    std::uint64_t m_flushUpTo = 0;     // lines put when the last flush was asked for
    std::array<Hook, 2> m_hooksSet{};  // sink and probe, again, for a forked child

    LineQueue m_queue;
    OutputTurn m_turn;  // popping lines, and the outputs; changed with m_mutex held, too
    std::optional<LogOutput> m_file;
    LogOutput m_standardError{TextOutput::StandardError()};
    bool m_standardErrorEnabled = true;

    standins::CallbackSlot<Hook> m_sink;
    standins::CallbackSlot<Hook> m_probe;
    std::string m_sinkText;  // the thread's alone
};

// Makes one line of a message: line ends behind it are cut off, every other control character
// except the tabulator becomes a blank. The size that is left.
[[nodiscard]] std::size_t MakeOneLine(char* message, std::size_t size);

}  // namespace xalog
