// Takes lines from any thread and writes them on its own thread.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>

#include "standins/callback_slot.h"
#include "standins/xalog/line_queue.h"
#include "standins/xalog/log_output.h"
#include "standins/xalog/xalog_host.h"

namespace xalog {

// The right to take lines from the queue and to use the outputs. Not a mutex, because a signal
// handler and process exit take it, too, and have priority. Every holder releases it before calling
// out.
class OutputTurn {
  public:
    void Take() noexcept;
    [[nodiscard]] bool TakeFirst(std::chrono::milliseconds limit) noexcept;
    void Give() noexcept { m_taken.store(false); }

  private:
    std::atomic<bool> m_taken{false};
    std::atomic<bool> m_urgent{false};
};

// Never destroyed: its thread runs until the process ends, and other threads log until then.
// Functions that are not noexcept may throw std::bad_alloc.
class LogWriter {
  public:
    // Reads its settings from the environment.
    LogWriter();

    // For the child of a fork, which lacks the parent's thread: copies the settings and leaves the
    // queued lines to the parent.
    static LogWriter* InForkedChild(LogWriter& parents);
    void LockForFork() { m_mutex.lock(); }
    void UnlockForFork() { m_mutex.unlock(); }

    // `message` is NUL-terminated.
    void Write(std::int32_t level, const char* message, std::size_t size);

    [[nodiscard]] bool SetFile(const char* path);
    void SetStandardError(bool enabled);
    void SetSink(XalogSink sink, void* user);
    void SetProbe(XalogSink probe, void* user);
    void Flush();

    // Writes the lines still queued at process exit, as text; does not call the sink. With
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
    // Writes one line, or counts those lost after the last one. True when an output has counts to
    // report.
    bool HandleNext();
    void WriteCounts();
    void TellSink(std::int32_t level, const char* message) noexcept;
    void TellSinkOfLost(std::uint32_t lines) noexcept;

    // False when an output blocks the thread for too long.
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

    std::mutex m_mutex;  // putting lines, the thread's sleep, and the members below up to the blank
    std::condition_variable m_wake;
    std::condition_variable m_flushed;
    bool m_started = false;
    bool m_asleep = false;  // until it is woken
    std::thread::id m_thread;
    std::uint64_t m_flushesAsked = 0;
    std::uint64_t m_flushesDone = 0;
    std::uint64_t m_flushUpTo = 0;     // lines put when the last flush was requested
    std::array<Hook, 2> m_hooksSet{};  // sink and probe, again, for a forked child

    LineQueue m_queue;
    OutputTurn m_turn;  // popping lines, and the outputs; changed with m_mutex held, too
    std::optional<LogOutput> m_file;
    LogOutput m_standardError{TextOutput::StandardError()};
    bool m_standardErrorEnabled = true;

    standins::CallbackSlot<Hook> m_sink;
    standins::CallbackSlot<Hook> m_probe;
    std::array<char, kLongestMessage + 1> m_sinkText{};  // the thread's alone; never allocates
};

// Makes one line of a message: removes trailing line ends and replaces every other control
// character except tab by a blank. Returns the new size.
[[nodiscard]] std::size_t MakeOneLine(char* message, std::size_t size);

}  // namespace xalog
