#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "module/log/xalog.h"
#include "standins/xalog/xalog_host.h"

namespace {

constexpr auto kHang = std::chrono::seconds(30);

// A thread may log while the program ends, after the library's own statics are gone.
struct LogsWhenTheProgramEnds {
    ~LogsWhenTheProgramEnds() { Xalog_LogPrint(4, "%s", "the end"); }
} g_logsWhenTheProgramEnds;

class Collected {
  public:
    static void Sink(std::int32_t level, const char* line, void* user) {
        static_cast<Collected*>(user)->m_lines.emplace_back(std::to_string(level) + " " + line);
    }
    [[nodiscard]] const std::vector<std::string>& Lines() const { return m_lines; }

  private:
    std::vector<std::string> m_lines;
};

std::vector<std::string> LinesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string FormOf(std::string line) {
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
    return line;
}

std::string UniversalSecond() {
    const std::time_t now = std::time(nullptr);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", std::gmtime(&now));
    return text;
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

}  // namespace

// Stands first: the level must come from the environment before anybody has set it.
TEST(XalogEnvironmentTest, LevelIsTakenAtLoading) {
    const char* const level = std::getenv("XALOG_LEVEL");
    EXPECT_EQ(Xalog_GetCurrentLevel(), level == nullptr ? 4 : std::atoi(level));
}

TEST_F(XalogTest, LinesBelowTheLevelAreDropped) {
    Collected collected;
    XalogHost_SetSink(&Collected::Sink, &collected);
    Xalog_ResetLevel(3);
    EXPECT_EQ(Xalog_GetCurrentLevel(), 3);
    for (std::int32_t level = 1; level <= 4; ++level) {
        EXPECT_EQ(Xalog_ShouldLog(level), level >= 3);
        Xalog_LogPrint(level, "line %d", level);
    }
    EXPECT_EQ(collected.Lines(), (std::vector<std::string>{"3 line 3", "4 line 4"}));

    Xalog_ResetLevel(0);
    EXPECT_TRUE(Xalog_ShouldLog(1));
    Xalog_ResetLevel(5);
    EXPECT_FALSE(Xalog_ShouldLog(4));
}

TEST_F(XalogTest, AMessageStaysOneLine) {
    Collected collected;
    XalogHost_SetSink(&Collected::Sink, &collected);
    const std::string longText(5000, 'x');
    Xalog_LogPrint(2, "ended\r\n\n");
    Xalog_LogPrint(2, "a\nb\r\nc\td\x1B[0m\x7F");
    Xalog_LogPrint(2, "\n");
    Xalog_LogPrint(2, "%s\n", longText.c_str());
    for (const std::size_t size : {1022U, 1023U, 1024U, 1025U, 1026U}) {
        Xalog_LogPrint(2, "%s", longText.substr(0, size).c_str());
    }
    ASSERT_EQ(collected.Lines().size(), 9U);
    EXPECT_EQ(collected.Lines()[0], "2 ended");
    EXPECT_EQ(collected.Lines()[1], "2 a b  c\td [0m ");
    EXPECT_EQ(collected.Lines()[2], "2 ");
    EXPECT_EQ(collected.Lines()[3], "2 " + longText);
    for (std::size_t i = 4; i < 9; ++i) {
        EXPECT_EQ(collected.Lines()[i].size(), 2 + 1022 + (i - 4));
    }
}

TEST_F(XalogTest, FileLinesCarryUniversalTimeAndLevel) {
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    const std::string before = UniversalSecond();
    Xalog_LogPrint(1, "one");
    Xalog_LogPrint(4, "four\r\n");
    const std::string after = UniversalSecond();

    // Read while the file is still open: a line is with the system as soon as it was logged.
    const std::vector<std::string> lines = LinesOf(m_path);
    ASSERT_EQ(lines.size(), 2U);
    for (const std::string& line : lines) {
        EXPECT_GE(line.substr(0, before.size()), before);
        EXPECT_LE(line.substr(0, after.size()), after);
    }
    EXPECT_EQ(FormOf(lines[0]), "0000-00-00 00:00:00.000 [D] one");
    EXPECT_EQ(FormOf(lines[1]), "0000-00-00 00:00:00.000 [E] four");
}

TEST_F(XalogTest, AFileThatCannotBeOpenedLeavesTheOldOne) {
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    Xalog_LogPrint(4, "first");
    EXPECT_FALSE(XalogHost_SetFile((PathText() + "/no/such/folder.log").c_str()));
    EXPECT_FALSE(XalogHost_SetFile("\xFF\xFE/not/there"));
    Xalog_LogPrint(4, "second");
    EXPECT_EQ(LinesOf(m_path).size(), 2U);

    // Opened anew, it is appended to.
    ASSERT_TRUE(XalogHost_SetFile(nullptr));
    Xalog_LogPrint(4, "to no file");
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    Xalog_LogPrint(4, "third");
    EXPECT_EQ(LinesOf(m_path).size(), 3U);
}

TEST_F(XalogTest, StandardErrorGetsLinesOnlyWhenAskedTo) {
    testing::internal::CaptureStderr();
    Xalog_LogPrint(4, "unseen");
    XalogHost_SetStandardError(true);
    Xalog_LogPrint(4, "seen");
    XalogHost_SetStandardError(false);
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text.find("unseen"), std::string::npos);
    EXPECT_NE(text.find(" [E] seen"), std::string::npos);
}

TEST_F(XalogTest, LinesOfManyThreadsAreWholeAndNoneIsLost) {
    constexpr int kThreads = 4;
    constexpr int kLines = 300;
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < kLines; ++line) {
                // Short ones, ones at the edge of the buffer and long ones.
                const std::string filling(static_cast<std::size_t>(line * 37 % 6000),
                                          static_cast<char>('a' + thread));
                Xalog_LogPrint(4, "<%d %d %s>", thread, line, filling.c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::vector<int> next(kThreads, 0);
    std::string lastStamp;
    for (const std::string& text : LinesOf(m_path)) {
        EXPECT_LE(lastStamp, text.substr(0, 23));
        lastStamp = text.substr(0, 23);
        int thread = -1;
        int line = -1;
        ASSERT_EQ(std::sscanf(text.c_str() + 27, " <%d %d", &thread, &line), 2);
        ASSERT_TRUE(thread >= 0 && thread < kThreads);
        EXPECT_EQ(line, next[static_cast<std::size_t>(thread)]++);
        const std::string filling(static_cast<std::size_t>(line * 37 % 6000),
                                  static_cast<char>('a' + thread));
        EXPECT_EQ(text.substr(28),
                  "<" + std::to_string(thread) + " " + std::to_string(line) + " " + filling + ">");
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kLines));
}

TEST_F(XalogTest, ASinkMayLogAndTakeItselfOff) {
    static int depth = 0;
    static int calls = 0;
    XalogHost_SetSink(
        [](std::int32_t, const char*, void*) {
            ++calls;
            if (++depth < 3) {
                Xalog_LogPrint(4, "from inside");
            } else {
                XalogHost_SetSink(nullptr, nullptr);
            }
            --depth;
        },
        nullptr);
    Xalog_LogPrint(4, "first");
    Xalog_LogPrint(4, "after");
    EXPECT_EQ(calls, 3);
}

// Each of the two waits for nobody but the other; and an outsider waits for both.
TEST_F(XalogTest, SinksThatReplaceThemselvesAtTheSameTimeDoNotBlockEachOther) {
    // No std::barrier: MinGW's loses a wake-up once in a few thousand times.
    struct Meeting {
        void ArriveAndWait() {
            std::unique_lock lock(mutex);
            ++arrived;
            changed.notify_all();
            changed.wait(lock, [&] { return arrived == 3; });
        }

        std::mutex mutex;
        std::condition_variable changed;
        int arrived = 0;
        std::atomic<int> inside{0};
    };
    Meeting meeting;
    XalogHost_SetSink(
        [](std::int32_t, const char*, void* user) {
            auto& with = *static_cast<Meeting*>(user);
            ++with.inside;
            with.ArriveAndWait();
            XalogHost_SetSink(nullptr, nullptr);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            --with.inside;
        },
        &meeting);
    auto one = std::async(std::launch::async, [] { Xalog_LogPrint(4, "one"); });
    auto other = std::async(std::launch::async, [] { Xalog_LogPrint(4, "other"); });
    meeting.ArriveAndWait();
    XalogHost_SetSink(nullptr, nullptr);
    EXPECT_EQ(meeting.inside, 0);
    ASSERT_EQ(one.wait_for(kHang), std::future_status::ready);
    ASSERT_EQ(other.wait_for(kHang), std::future_status::ready);
}
