// Where log lines go: a file, standard error and a sink of the host.
#pragma once

#include <cstdint>
#include <fstream>
#include <mutex>
#include <string_view>

#include "standins/callback_slot.h"
#include "standins/xalog/xalog_host.h"

namespace xalog {

// A line as it is written: room for the stamp, the message, one character for its end. The message
// is formatted in its place, so that a line costs one buffer and one write.
inline constexpr std::size_t kStampSize = sizeof("2026-11-21 08:15:02.123 [E] ") - 1;

class LogWriter {
  public:
    // Takes the environment's settings.
    LogWriter();

    // `line` points at kStampSize free bytes, then `messageSize` bytes of message, then one free
    // byte. Each target gets the whole line in one piece. Handing every line to the system at once
    // is what makes the log useful after a crash; it costs one write each.
    void Write(std::int32_t level, char* line, std::size_t messageSize);

    [[nodiscard]] bool SetFile(const char* path);
    void SetStandardError(bool enabled);
    void SetSink(XalogSink sink, void* user);
    void Flush();

  private:
    struct Sink {
        XalogSink function = nullptr;
        void* user = nullptr;
    };

    std::mutex m_mutex;  // guards the two targets; taken for one line, so that lines stay whole
    std::ofstream m_file;
    bool m_standardError = true;
    standins::CallbackSlot<Sink> m_sink;
};

// Makes one line of a message: line ends behind it are cut off, every other control character
// except the tabulator becomes a blank. The size that is left.
[[nodiscard]] std::size_t MakeOneLine(char* message, std::size_t size);

}  // namespace xalog
