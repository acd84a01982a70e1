#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "host/grab_run.h"
#include "host/picture_writer.h"
#include "host/procedures.h"
#include "host/statistics.h"

namespace host {
namespace {

using namespace std::chrono_literals;
using testing::Eq;
using testing::Optional;

TEST(Percentile, IsTheNearestRank) {
    std::vector<double> hundred;
    for (int i = 100; i > 0; --i) {
        hundred.push_back(i);
    }
    EXPECT_THAT(Percentile(hundred, 50), Optional(50.0));
    EXPECT_THAT(Percentile(hundred, 99), Optional(99.0));
    EXPECT_THAT(Percentile(hundred, 100), Optional(100.0));
    EXPECT_THAT(Percentile(hundred, 0), Optional(1.0));
    EXPECT_THAT(Percentile({3.0}, 99), Optional(3.0));
    EXPECT_THAT(Percentile({2.0, 1.0}, 50), Optional(1.0));
    EXPECT_THAT(Percentile({}, 50), Eq(std::nullopt));
}

TEST(FrameJournal, TellsWhereFramesGotLost) {
    const Clock::time_point start{};
    FrameJournal journal;
    for (const std::uint32_t number : {1U, 2U, 3U, 6U, 7U}) {
        journal.Arrived(number, start + number * 10ms);
    }
    EXPECT_EQ(journal.Taken(1, start + 12ms), 2ms);
    EXPECT_EQ(journal.Taken(6, start + 65ms), 5ms);
    EXPECT_EQ(journal.Taken(2, start + 66ms), std::nullopt);

    const FrameJournal::Counts counts = journal.Count();
    EXPECT_EQ(counts.arrived, 5U);
    EXPECT_EQ(counts.missing, 2U);    // 4 and 5
    EXPECT_EQ(counts.discarded, 2U);  // 2 and 3
    EXPECT_EQ(counts.waiting, 1U);    // 7
}

TEST(FrameJournal, ACameraThatCountsAnewHasLostNothing) {
    FrameJournal journal;
    for (const std::uint32_t number : {65534U, 65535U, 1U, 2U, 0U}) {
        journal.Arrived(number, {});
    }
    EXPECT_EQ(journal.Count().missing, 0U);
}

TEST(TransportErrors, AreReadFromTheirText) {
    const TransportErrors errors = TransportErrors::Parse("1$2$3");
    EXPECT_EQ(errors.errorFrames, 1);
    EXPECT_EQ(errors.lostFrames, 2);
    EXPECT_EQ(errors.lostPackets, 3);
    EXPECT_EQ(TransportErrors::Parse("").lostPackets, 0);
}

TEST(Procedures, EachTakesOneFrameUntilItIsDone) {
    Procedures procedures(2);
    EXPECT_TRUE(procedures.TryRun(1, 10));
    EXPECT_FALSE(procedures.TryRun(1, 11));
    EXPECT_TRUE(procedures.TryRun(2, 11));
    EXPECT_FALSE(procedures.TryRun(0, 12));
    EXPECT_FALSE(procedures.TryRun(3, 12));

    const auto run = procedures.WaitForRun(0ms);
    ASSERT_TRUE(run);
    EXPECT_EQ(run->frameNumber, 10U);
    EXPECT_FALSE(procedures.TryRun(1, 12));
    procedures.Done(*run);
    EXPECT_TRUE(procedures.TryRun(1, 12));
    EXPECT_EQ(procedures.WaitForRun(0ms)->frameNumber, 11U);
    EXPECT_EQ(procedures.WaitForRun(0ms)->frameNumber, 12U);
    EXPECT_FALSE(procedures.WaitForRun(0ms));
    procedures.Close();
    EXPECT_FALSE(procedures.TryRun(2, 13));
}

TEST(Procedures, AWaiterIsWokenByAFrame) {
    Procedures procedures(1);
    std::thread module([&] { EXPECT_TRUE(procedures.TryRun(1, 5)); });
    const auto run = procedures.WaitForRun(1min);
    module.join();
    ASSERT_TRUE(run);
    EXPECT_EQ(run->frameNumber, 5U);
}

cam::BufferNode Picture(std::vector<std::uint8_t>& pixels, std::uint32_t pixelType) {
    cam::BufferNode record;
    record.width = 4;
    record.height = 3;
    record.pixelType = pixelType;
    record.data = pixels.data();
    record.dataLength = static_cast<std::uint32_t>(pixels.size());
    return record;
}

TEST(EncodePng, SavesGreyAndColourAndNothingElse) {
    constexpr char kSignature[] = "\x89PNG\r\n\x1a\n";
    constexpr std::size_t kColourType = 25;  // behind signature, chunk head, width, height, depth
    std::vector<std::uint8_t> grey(12, 7);
    std::vector<std::uint8_t> colour(36, 7);

    const std::string greyPng = EncodePng(Picture(grey, 0x01080001));
    const std::string colourPng = EncodePng(Picture(colour, 0x02180014));
    EXPECT_THAT(greyPng, testing::StartsWith(kSignature));
    ASSERT_THAT(colourPng, testing::StartsWith(kSignature));
    EXPECT_EQ(greyPng[kColourType], 0);
    EXPECT_EQ(colourPng[kColourType], 2);

    EXPECT_EQ(EncodePng(Picture(grey, 0x01100003)), "");
    // A record that promises more than it holds is not read past its end.
    EXPECT_EQ(EncodePng(Picture(grey, 0x02180014)), "");
}

}  // namespace
}  // namespace host
