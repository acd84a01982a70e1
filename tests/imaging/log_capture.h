// The module's log lines during a test.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "module/log/xalog.h"
#include "standins/xalog/xalog_host.h"

namespace tests {

// Every level; one at a time in a process.
class LogCapture {
  public:
    LogCapture() : m_level(Xalog_GetCurrentLevel()) {
        XalogHost_SetStandardError(false);
        XalogHost_SetProbe(&LogCapture::OnLine, this);
        Xalog_ResetLevel(1);
    }
    ~LogCapture() {
        Xalog_ResetLevel(m_level);
        XalogHost_SetProbe(nullptr, nullptr);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The lines since the last call as "level id function: message".
    [[nodiscard]] std::vector<std::string> Take() {
        const std::lock_guard hold(m_lock);
        return std::exchange(m_lines, {});
    }

  private:
    // "[module] [ModuId:id] [function@line] message"
    static void OnLine(std::int32_t level, const char* text, void* user) {
        const std::string line = text;
        const std::size_t id = line.find("[ModuId:") + 8;
        const std::size_t function = line.find('[', id) + 1;
        const std::size_t at = line.find('@', function);
        const std::size_t message = line.find("] ", at) + 2;
        auto* const self = static_cast<LogCapture*>(user);
        const std::lock_guard hold(self->m_lock);
        self->m_lines.push_back(std::to_string(level) + ' ' +
                                line.substr(id, line.find(']', id) - id) + ' ' +
                                line.substr(function, at - function) + ": " + line.substr(message));
    }

    std::int32_t m_level;
    std::mutex m_lock;
    std::vector<std::string> m_lines;
};

}  // namespace tests
