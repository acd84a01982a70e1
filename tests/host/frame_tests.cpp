#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "camera/sdk/pixel_format.h"
#include "host/connection_log.h"
#include "host/doctor.h"
#include "host/exit_codes.h"
#include "host/files.h"
#include "host/grab_run.h"
#include "host/picture_files.h"
#include "host/procedures.h"
#include "host/statistics.h"
#include "pictures/image_decoder.h"
#include "platform/system.h"

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

// The module tells a loss by up to three notices, and a return by others.
TEST(ConnectionLog, TellsOneLossAndOneReturnOnce) {
    using Kind = ConnectionLog::EventKind;
    const auto kinds = [](ConnectionLog& log) {
        std::vector<Kind> found;
        for (const auto& event : log.Take()) {
            found.push_back(event.kind);
        }
        return found;
    };
    for (const bool byAddress : {false, true}) {
        ConnectionLog log;
        log.OnNotice(kReportCameraSource, "1");  // a switch to GenTL, ahead of the open
        log.Opened(byAddress);
        log.OnPublished("CameraOffline");
        log.OnNotice(kReportCameraState, "1-0-S1");
        log.OnNotice(kReportCameraSource, "0");
        EXPECT_FALSE(log.Online());
        EXPECT_THAT(kinds(log), testing::ElementsAre(Kind::Lost));
        log.OnPublished("CameraOnline");
        // Found by its serial number it is still being set up.
        EXPECT_EQ(log.Online(), byAddress);
        log.OnNotice(kReportCameraSource, "1");
        EXPECT_TRUE(log.Online());
        EXPECT_THAT(kinds(log), testing::ElementsAre(Kind::Back));
        EXPECT_EQ(log.Count().losses, 1U);
    }
}

TEST(FrameJournal, ALossIsNoGapInTheNumbers) {
    FrameJournal journal;
    journal.Arrived(887, Clock::time_point(1s));
    journal.Restart();
    journal.Arrived(65536, Clock::time_point(9s));
    journal.Arrived(65537, Clock::time_point(10s));
    EXPECT_EQ(journal.Count().missing, 0U);
    EXPECT_THAT(journal.Count().rate, Optional(1.0));
}

class PictureFiles : public testing::Test {
  protected:
    PictureFiles() { std::filesystem::create_directories(m_folder); }
    ~PictureFiles() override { std::filesystem::remove_all(m_folder); }

    static cam::BufferNode Record(std::vector<std::uint8_t>& pixels, std::uint32_t pixelType) {
        cam::BufferNode record;
        record.width = 5;
        record.height = 3;
        record.pixelType = pixelType;
        record.data = pixels.data();
        record.dataLength = static_cast<std::uint32_t>(pixels.size());
        return record;
    }

    const std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / platform::NewGuidText();
};

TEST_F(PictureFiles, AreReadBackAsTheyWereWritten) {
    for (const auto& [channels, pixelType] :
         {std::pair(1U, pixel_format::kMono8), std::pair(3U, pixel_format::kRGB8)}) {
        std::vector<std::uint8_t> pixels(std::size_t{15} * channels);
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            pixels[i] = static_cast<std::uint8_t>(i * 37);
        }
        const cam::BufferNode record = Record(pixels, pixelType);
        for (const auto& [format, ending] :
             {std::pair(PictureFormat::Png, ".png"), std::pair(PictureFormat::Tiff, ".tif")}) {
            const std::uint64_t size = WritePicture(record, format, m_folder / "picture");
            const std::filesystem::path file = m_folder / (std::string("picture") + ending);
            EXPECT_EQ(size, std::filesystem::file_size(file));
            std::string error;
            const auto image = platform::DecodeImageFile(PathText(file), 1000, error);
            ASSERT_TRUE(image) << ending << ": " << error;
            EXPECT_EQ(image->width, 5U);
            EXPECT_EQ(image->channels, channels);
            EXPECT_EQ(image->pixels, pixels) << ending;
        }
        WritePicture(record, PictureFormat::Raw, m_folder / "raw");
        std::ifstream raw(m_folder / "raw.raw", std::ios::binary);
        EXPECT_EQ(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(raw), {}), pixels);
        EXPECT_TRUE(std::filesystem::exists(m_folder / "raw.txt"));
    }
}

TEST_F(PictureFiles, ARecordThatPromisesMoreThanItHoldsIsNotRead) {
    std::vector<std::uint8_t> grey(15, 7);
    EXPECT_THROW(
        WritePicture(Record(grey, pixel_format::kRGB8), PictureFormat::Png, m_folder / "x"),
        Failure);
    EXPECT_THROW(WritePicture(Record(grey, 0x01100003), PictureFormat::Tiff, m_folder / "x"),
                 Failure);
    EXPECT_TRUE(std::filesystem::is_empty(m_folder));
}

// Rules that a test machine cannot make true.
TEST(Doctor, SaysWhatToDo) {
    Patient patient;
    patient.camera.serial = "S1";
    patient.camera.address = "192.168.1.20";
    patient.camera.localAddress = "192.168.1.1";
    patient.camera.access = KZ_INSPECT_CONTROLLED;
    patient.camera.owner = "192.168.1.7";
    patient.cards = {{"eth0", 0xC0A80101, 0xFFFFFF00, 1500}};
    for (const auto& [name, value] :
         {std::pair("Width", "2448"), std::pair("Height", "2048"),
          std::pair("PixelFormat", "BayerRG8"), std::pair("PayloadSize", "5013504"),
          std::pair("GevSCPSPacketSize", "9000")}) {
        patient.features.push_back(DescribeFeature(name, ValueType::Text, value));
    }
    patient.machine = {212'992, false, false, 50'000'000};
    const auto verdict = [&](const char* subject) -> std::optional<Verdict> {
        for (const Finding& finding : Examine(patient)) {
            if (finding.subject == subject) {
                EXPECT_EQ(finding.remedy.empty(), finding.verdict == Verdict::Good) << subject;
                return finding.verdict;
            }
        }
        return std::nullopt;
    };
    EXPECT_EQ(verdict("owner"), Verdict::Problem);
    EXPECT_EQ(verdict("network"), Verdict::Good);
    EXPECT_EQ(verdict("packet size"), Verdict::Problem);  // more than the card's MTU
    EXPECT_EQ(verdict("receive buffer"), Verdict::Advice);
    EXPECT_EQ(verdict("packet socket"), Verdict::Advice);
    EXPECT_EQ(verdict("shared memory"), Verdict::Problem);  // three frames of 15 MB
    patient.cards.front().mtu = 9000;
    EXPECT_EQ(verdict("packet size"), Verdict::Good);
    patient.cards.front().address = 0x0A000001;
    EXPECT_EQ(verdict("network"), Verdict::Problem);
}

}  // namespace
}  // namespace host
