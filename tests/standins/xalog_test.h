// The fixtures of the log's tests.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "module/log/xalog.h"
#include "standins/xalog/xalog_host.h"

namespace tests {

// What a sink got; whole once the log is flushed or the sink taken off.
class Collected {
  public:
    Collected() { XalogHost_SetSink(&Collected::Sink, this); }
    ~Collected() { XalogHost_SetSink(nullptr, nullptr); }
    Collected(const Collected&) = delete;
    Collected& operator=(const Collected&) = delete;

    [[nodiscard]] const std::vector<std::string>& Lines() const {
        XalogHost_Flush();
        return m_lines;
    }

  private:
    static void Sink(std::int32_t level, const char* line, void* user) {
        static_cast<Collected*>(user)->m_lines.emplace_back(std::to_string(level) + " " + line);
    }

    std::vector<std::string> m_lines;
};

// Holds the log's own thread up from the first line that it gets, until it is opened.
class Gate {
  public:
    static void Sink(std::int32_t, const char*, void* user) {
        auto& gate = *static_cast<Gate*>(user);
        std::unique_lock lock(gate.m_mutex);
        gate.m_reached = true;
        gate.m_changed.notify_all();
        gate.m_changed.wait(lock, [&] { return gate.m_open; });
    }
    // Logs a line and returns when the log's thread is held up behind it.
    void Close() {
        XalogHost_SetSink(&Gate::Sink, this);
        Xalog_LogPrint(4, "gate");
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_reached; });
    }
    void Open() {
        const std::lock_guard lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_reached = false;
    bool m_open = false;
};

inline std::vector<std::string> LinesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

inline constexpr std::size_t kStampSize = sizeof("2026-11-21 08:15:02.123 [E] ") - 1;

// Without their stamps, waiting for what is queued.
inline std::vector<std::string> MessagesOf(const std::filesystem::path& path) {
    XalogHost_Flush();
    std::vector<std::string> lines = LinesOf(path);
    for (std::string& line : lines) {
        line = line.substr(std::min(kStampSize, line.size()));
    }
    return lines;
}

// Lines that stand there or are said to be lost or repeated.
inline std::size_t Accounted(const std::vector<std::string>& messages) {
    std::size_t count = 0;
    for (const std::string& message : messages) {
        unsigned number = 0;
        const bool lost = message.find(" lines lost: the log could not keep up") != message.npos &&
                          std::sscanf(message.c_str(), "%u", &number) == 1;
        const bool repeated = std::sscanf(message.c_str(), "(the line above %u more", &number) == 1;
        count += lost || repeated ? number : 1;
    }
    return count;
}

class XalogTest : public testing::Test {
  protected:
    void SetUp() override {
        XalogHost_SetStandardError(false);
        Xalog_ResetLevel(1);
        std::filesystem::remove(m_path);
    }
    void TearDown() override {
        XalogHost_SetSink(nullptr, nullptr);
        XalogHost_SetFile(nullptr);
        std::filesystem::remove(m_path);
    }
    [[nodiscard]] std::string PathText() const {
        const std::u8string text = m_path.u8string();
        return {text.begin(), text.end()};
    }

    const std::filesystem::path m_path =
        std::filesystem::temp_directory_path() / u8"xalog_tests_\u00e4\u6587.log";
};

// A process that ends in good order or by what it could have caught; its lines wait in the queue
// then.
class XalogAtTheEnd : public XalogTest {
  protected:
    void SetUp() override {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        XalogTest::SetUp();
    }
    void LogAndEnd(void (*end)()) {
        static auto* const gate = new Gate;  // outlives the thread that waits at it
        static_cast<void>(XalogHost_SetFile(PathText().c_str()));
        gate->Close();
        for (int line = 0; line < 500; ++line) {
            Xalog_LogPrint(4, "line %d", line);
        }
        Xalog_LogPrint(4, "line 499");
        end();
    }
    void ExpectAllLinesAnd(const std::vector<std::string>& later) {
        const std::vector<std::string> messages = MessagesOf(m_path);
        ASSERT_EQ(messages.size(), 502U + later.size());
        EXPECT_EQ(messages[0], "gate");
        for (std::size_t line = 0; line < 500; ++line) {
            EXPECT_EQ(messages[1 + line], "line " + std::to_string(line));
        }
        EXPECT_EQ(messages[501], "(the line above 1 more times)");
        EXPECT_THAT(later, testing::ElementsAreArray(messages.begin() + 502, messages.end()));
        std::filesystem::remove(m_path);
    }
};

}  // namespace tests
