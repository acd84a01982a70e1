// Signals, pipes and forked children, which only Linux has.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <sstream>

#include "tests/standins/xalog_test.h"

namespace tests {
namespace {

using testing::ElementsAre;

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

}  // namespace
}  // namespace tests
