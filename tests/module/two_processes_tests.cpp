// What the module shares with other processes of the machine.
#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <string>

#include "base/log.h"
#include "imaging/shared_memory_base.h"
#include "platform/shared_mapping.h"
#include "platform/system.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "tests/platform/support.h"
#include "tests/support/module_host.h"

namespace tests {
namespace {

using platform::test::RunHelper;
using platform::test::WaitUntil;

TEST(TwoProcesses, EnumerateOneAfterTheOtherEvenWhenTheFirstDies) {
    ModuleHost host("gige serial=A");
    const platform::test::TemporaryFolder folder;
    const std::filesystem::path sign = folder.Path() / "held";
    auto other = std::async(std::launch::async, [&] {
        return RunHelper({"hold-mutex", "Corvane_EnumCamera_Mutex", sign.string()});
    });
    ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(sign); }));

    auto enumeration = std::async(std::launch::async, [&] { return host.Set("EnumCamera", ""); });
    EXPECT_EQ(enumeration.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout)
        << "enumerated while another process did";

    // The other process dies with the mutex in its hands.
    EXPECT_TRUE(WaitUntil([&] {
        std::error_code error;
        return std::filesystem::remove(sign, error);
    }));
    ASSERT_EQ(enumeration.wait_for(kHang), std::future_status::ready);
    EXPECT_EQ(enumeration.get(), cam::kOk);
    EXPECT_EQ(other.get(), 0);
}

// Something else stands under the mutex's name: on Linux a folder, on Windows a mapping.
TEST(TwoProcesses, EnumerateUnserialisedOnlyWithALogLine) {
    constexpr char kMutex[] = "Corvane_EnumCamera_Mutex";
    ModuleHost host("gige serial=A");
    const std::filesystem::path folder = std::filesystem::path("/dev/shm") / kMutex;
    const bool isLinux = platform::kPathSeparator == '/';
    platform::SharedMapping mapping;
    ASSERT_TRUE(isLinux ? std::filesystem::create_directory(folder)
                        : mapping.Create(kMutex, 100) == 0);
    host.ClearLog();
    EXPECT_EQ(host.Set("EnumCamera", ""), cam::kOk);
    EXPECT_THAT(host.Messages("CCameraModule::EnumDevices"),
                testing::ElementsAre(testing::StartsWith("E Enum goes on without the mutex"),
                                     "E Enum return 1 devices"));
    ASSERT_TRUE(!isLinux || std::filesystem::remove(folder));
}

TEST(TwoProcesses, SeeTheSameFrameByTheNameOfItsRegion) {
    ModuleHost host("gige serial=A width=64 height=48");
    host.OpenForRequests("A");
    const auto image = host.Image();
    ASSERT_TRUE(image.has_value());

    const platform::test::TemporaryFolder folder;
    const std::filesystem::path copy = folder.Path() / "region";
    ASSERT_EQ(RunHelper({"copy-mapping", image->sharedName, copy.string()}), 0);
    const std::string bytes = platform::test::ReadFile(copy);

    cam::SharedRegionHeader header{};
    ASSERT_GE(bytes.size(), sizeof header + image->dataLength);
    std::memcpy(&header, bytes.data(), sizeof header);
    EXPECT_EQ(header.dataSize, image->dataLength);
    EXPECT_EQ(header.headerLength, sizeof header);
    EXPECT_STREQ(header.name, image->sharedName);
    EXPECT_EQ(std::memcmp(bytes.data() + header.headerLength, image->data, image->dataLength), 0);
    EXPECT_EQ(KZSim_FrameNumberIn(
                  reinterpret_cast<const std::uint8_t*>(bytes.data()) + header.headerLength,
                  image->pixelType),
              image->frameNumber);
    host.Free(*image);
}

}  // namespace
}  // namespace tests
