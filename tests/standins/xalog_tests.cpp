#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <future>
#include <thread>

#include "tests/standins/xalog_test.h"

namespace {

using namespace tests;
using testing::ElementsAre;

constexpr auto kHang = std::chrono::seconds(30);

// A thread may log while the program ends, after the library's own statics are gone.
struct LogsWhenTheProgramEnds {
    ~LogsWhenTheProgramEnds() { Xalog_LogPrint(4, "%s", "the end"); }
} g_logsWhenTheProgramEnds;

std::string FormOf(std::string line) {
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
    return line;
}

std::string UniversalSecond() {
    // Not std::time, which lags behind the clock by up to a tick.
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", std::gmtime(&now));
    return text;
}

// Before any test sets it.
const std::int32_t g_levelAtTheStart = Xalog_GetCurrentLevel();

TEST(XalogEnvironmentTest, LevelIsTakenAtLoading) {
    const char* const level = std::getenv("XALOG_LEVEL");
    EXPECT_EQ(g_levelAtTheStart, level == nullptr ? 4 : std::atoi(level));
}

TEST_F(XalogTest, LinesBelowTheLevelAreDropped) {
    const Collected collected;
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
    const Collected collected;
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

    XalogHost_Flush();
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
    EXPECT_THAT(MessagesOf(m_path), ElementsAre("first", "second"));

    // Opened anew, it is appended to.
    ASSERT_TRUE(XalogHost_SetFile(nullptr));
    Xalog_LogPrint(4, "to no file");
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    Xalog_LogPrint(4, "third");
    EXPECT_THAT(MessagesOf(m_path), ElementsAre("first", "second", "third"));
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

TEST_F(XalogTest, LinesOfManyThreadsAreWholeAndEachIsWrittenOrCounted) {
    constexpr int kThreads = 4;
    constexpr int kLines = 300;
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    const auto fillingOf = [](int thread, int line) {
        // Short ones, ones at the edge of the buffer and long ones.
        return std::string(static_cast<std::size_t>(line * 37 % 6000),
                           static_cast<char>('a' + thread));
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&fillingOf, thread] {
            for (int line = 0; line < kLines; ++line) {
                Xalog_LogPrint(4, "<%d %d %s>", thread, line, fillingOf(thread, line).c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(Accounted(MessagesOf(m_path)), kThreads * kLines);
    std::vector<int> last(kThreads, -1);
    for (const std::string& text : LinesOf(m_path)) {
        const std::string message = text.substr(kStampSize);
        int thread = -1;
        int line = -1;
        if (std::sscanf(message.c_str(), "<%d %d", &thread, &line) != 2) {
            EXPECT_EQ(Accounted({message, message}) % 2, 0U) << "neither a line nor a count";
            continue;
        }
        ASSERT_TRUE(thread >= 0 && thread < kThreads);
        EXPECT_GT(line, last[static_cast<std::size_t>(thread)]);
        last[static_cast<std::size_t>(thread)] = line;
        EXPECT_EQ(message, "<" + std::to_string(thread) + " " + std::to_string(line) + " " +
                               fillingOf(thread, line) + ">");
    }
    const std::vector<std::string> lines = LinesOf(m_path);
    EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end(), [](const auto& a, const auto& b) {
        return a.substr(0, 23) < b.substr(0, 23);
    }));
}

TEST_F(XalogTest, RepeatedLinesAreJoinedButForTheSink) {
    const Collected collected;
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    for (int i = 0; i < 1000; ++i) {
        Xalog_LogPrint(4, "again");
    }
    for (const std::int32_t level : {3, 4, 4}) {
        Xalog_LogPrint(level, "other");
    }
    EXPECT_THAT(MessagesOf(m_path), ElementsAre("again", "(the line above 999 more times)", "other",
                                                "other", "(the line above 1 more times)"));
    EXPECT_EQ(collected.Lines().size(), 1003U);

    // Told of after a while without a flush or another line.
    Xalog_LogPrint(4, "other");
    const auto end = std::chrono::steady_clock::now() + kHang;
    while (LinesOf(m_path).size() < 6 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(LinesOf(m_path).size(), 6U);
}

// Joined or not, no line may wait for the sink: this would never end.
TEST_F(XalogTest, ASinkThatDoesNotReturnHoldsNobodyUp) {
    constexpr unsigned kLines = 40'000;
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    Gate gate;
    gate.Close();
    for (unsigned line = 0; line < kLines; ++line) {
        Xalog_LogPrint(4, "line %u", line);
    }
    gate.Open();
    const std::vector<std::string> messages = MessagesOf(m_path);
    EXPECT_LT(messages.size(), kLines) << "the queue has its bounds";
    EXPECT_EQ(Accounted(messages), 1 + kLines);
    XalogHost_SetSink(nullptr, nullptr);
}

TEST_F(XalogTest, ASinkMayLogAndTakeItselfOff) {
    static std::atomic<int> calls = 0;
    XalogHost_SetSink(
        [](std::int32_t, const char*, void*) {
            if (++calls < 3) {
                Xalog_LogPrint(4, "from inside");
                XalogHost_Flush();  // not for its own line
            } else {
                XalogHost_SetSink(nullptr, nullptr);
            }
        },
        nullptr);
    Xalog_LogPrint(4, "first");
    for (int flushes = 0; flushes < 3; ++flushes) {
        XalogHost_Flush();  // each line brings the next
    }
    Xalog_LogPrint(4, "after");
    XalogHost_Flush();
    EXPECT_EQ(calls, 3);
}

// Each of the two waits for nobody but the other; and an outsider waits for both.
TEST_F(XalogTest, ProbesThatReplaceThemselvesAtTheSameTimeDoNotBlockEachOther) {
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
    XalogHost_SetProbe(
        [](std::int32_t, const char*, void* user) {
            auto& with = *static_cast<Meeting*>(user);
            ++with.inside;
            with.ArriveAndWait();
            XalogHost_SetProbe(nullptr, nullptr);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            --with.inside;
        },
        &meeting);
    auto one = std::async(std::launch::async, [] { Xalog_LogPrint(4, "one"); });
    auto other = std::async(std::launch::async, [] { Xalog_LogPrint(4, "other"); });
    meeting.ArriveAndWait();
    XalogHost_SetProbe(nullptr, nullptr);
    EXPECT_EQ(meeting.inside, 0);
    ASSERT_EQ(one.wait_for(kHang), std::future_status::ready);
    ASSERT_EQ(other.wait_for(kHang), std::future_status::ready);
}

TEST_F(XalogAtTheEnd, LinesReachTheFileOfAProcessThatExits) {
    EXPECT_EXIT(LogAndEnd([] { std::exit(3); }), testing::ExitedWithCode(3), "");
    ExpectAllLinesAnd({"the end"});
}

TEST_F(XalogAtTheEnd, LinesReachTheFileOfAProcessThatAborts) {
    EXPECT_DEATH(LogAndEnd([] { std::abort(); }), "");
    ExpectAllLinesAnd({});
}

}  // namespace
