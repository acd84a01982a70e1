#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "module/log/xalog.h"
#include "standins/xalog/xalog_host.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using testing::ElementsAre;

constexpr auto kHang = std::chrono::seconds(30);

// A thread may log while the program ends, after the library's own statics are gone.
struct LogsWhenTheProgramEnds {
    ~LogsWhenTheProgramEnds() { Xalog_LogPrint(4, "%s", "the end"); }
} g_logsWhenTheProgramEnds;

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

std::vector<std::string> LinesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

constexpr std::size_t kStampSize = sizeof("2026-11-21 08:15:02.123 [E] ") - 1;

// Without their stamps, waiting for what is queued.
std::vector<std::string> MessagesOf(const std::filesystem::path& path) {
    XalogHost_Flush();
    std::vector<std::string> lines = LinesOf(path);
    for (std::string& line : lines) {
        line = line.substr(std::min(kStampSize, line.size()));
    }
    return lines;
}

// Lines that stand there or are said to be lost or repeated.
std::size_t Accounted(const std::vector<std::string>& messages) {
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

TEST_F(XalogAtTheEnd, LinesReachTheFileOfAProcessThatExits) {
    EXPECT_EXIT(LogAndEnd([] { std::exit(3); }), testing::ExitedWithCode(3), "");
    ExpectAllLinesAnd({"the end"});
}

TEST_F(XalogAtTheEnd, LinesReachTheFileOfAProcessThatAborts) {
    EXPECT_DEATH(LogAndEnd([] { std::abort(); }), "");
    ExpectAllLinesAnd({});
}

#ifdef _WIN32

TEST_F(XalogAtTheEnd, LinesReachTheFileOfAProcessWithAFault) {
    EXPECT_DEATH(LogAndEnd([] {
                     volatile int* volatile nowhere = nullptr;
                     *nowhere = 1;
                 }),
                 "");
    ExpectAllLinesAnd({});
}

#else

TEST_F(XalogAtTheEnd, LinesReachTheFileOfAProcessThatASignalEnds) {
    EXPECT_EXIT(LogAndEnd([] { std::raise(SIGTERM); }), testing::KilledBySignal(SIGTERM), "");
    ExpectAllLinesAnd({});
    EXPECT_EXIT(LogAndEnd([] { std::raise(SIGUSR1); }), testing::KilledBySignal(SIGUSR1), "");
    ExpectAllLinesAnd({});
}

// Through a name of the file system that nobody reads, and later somebody does.
class XalogPipe : public XalogAtTheEnd {
  protected:
    void SetUp() override {
        XalogAtTheEnd::SetUp();
        ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    }
    static void Log(unsigned lines) {
        for (unsigned line = 0; line < lines; ++line) {
            Xalog_LogPrint(4, "line %u", line);
        }
    }
};

TEST_F(XalogPipe, UnreadItStopsNothingAndTellsItsReaderWhatWasLost) {
    constexpr unsigned kLines = 5'000;
    const Collected collected;
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    Log(kLines);
    EXPECT_EQ(collected.Lines().size(), kLines) << "the pipe holds the sink up";

    const int reader = open(m_path.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    std::string text;
    const auto readAll = [&] {
        std::array<char, 4096> piece{};
        for (ssize_t size = 0; (size = read(reader, piece.data(), piece.size())) > 0;) {
            text.append(piece.data(), static_cast<std::size_t>(size));
        }
    };
    readAll();
    Xalog_LogPrint(4, "%s", "now it is read");
    XalogHost_Flush();
    readAll();
    close(reader);

    std::vector<std::string> messages;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        messages.push_back(line.substr(std::min(kStampSize, line.size())));
    }
    EXPECT_EQ(messages.back(), "now it is read");
    EXPECT_EQ(Accounted(messages), kLines + 1);
}

TEST_F(XalogPipe, UnreadItDoesNotKeepAProcessFromEnding) {
    const auto fill = [this] {
        static_cast<void>(XalogHost_SetFile(PathText().c_str()));
        Log(5'000);
    };
    EXPECT_EXIT(
        {
            fill();
            std::raise(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "");
    std::filesystem::remove(m_path);
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_EXIT(
        {
            fill();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

// What is queued is the parent's; what the child logs is written though the log's thread is missing
// there.
TEST_F(XalogTest, AForkedChildLogsItsOwnLines) {
    ASSERT_TRUE(XalogHost_SetFile(PathText().c_str()));
    Gate gate;
    gate.Close();
    Xalog_LogPrint(4, "parent's");
    const pid_t child = fork();
    if (child == 0) {
        XalogHost_SetSink(nullptr, nullptr);
        Xalog_LogPrint(4, "child's");
        XalogHost_Flush();
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    gate.Open();
    EXPECT_THAT(MessagesOf(m_path), ElementsAre("gate", "child's", "parent's"));
    XalogHost_SetSink(nullptr, nullptr);
}

#endif
