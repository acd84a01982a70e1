// Frames on their way from the camera to the host: what arrives, what is dropped, who gets it.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <set>
#include <thread>

#include "camera/sdk/kz_camera_control.h"
#include "camera/sdk/pixel_format.h"
#include "module/log/xalog.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "tests/support/module_host.h"

namespace tests {
namespace {

using cam::BufferNode;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

constexpr std::int32_t kTraceLevel = 1;
constexpr std::int32_t kErrorLevel = 4;

constexpr char kIntake[] = "CCameraModule::DoImageCallBack";
constexpr char kGetImage[] = "CCameraModule::GetImage";

constexpr std::int32_t kModuleId = 7;
constexpr std::uint32_t kWidth = 64;
constexpr std::uint32_t kHeight = 48;
constexpr std::uint32_t kSize = kWidth * kHeight;

FrameOutInfo Mono8Info(std::uint32_t frameNumber, std::uint16_t width = kWidth,
                       std::uint16_t height = kHeight) {
    FrameOutInfo info{};
    info.width = width;
    info.height = height;
    info.pixelType = pixel_format::kMono8;
    info.frameNumber = frameNumber;
    info.frameLength = std::uint32_t{width} * height;
    info.tagValue = frameNumber + 1000;
    return info;
}

// A Mono8 frame with its number in every byte, modulo 256.
bool Deliver(std::uint32_t frameNumber, std::uint16_t width = kWidth,
             std::uint16_t height = kHeight) {
    const FrameOutInfo info = Mono8Info(frameNumber, width, height);
    const std::vector<std::uint8_t> pixels(info.frameLength,
                                           static_cast<std::uint8_t>(frameNumber));
    return KZSim_DeliverFrame("A", pixels.data(), &info);
}

bool Holds(const BufferNode& node, std::uint32_t frameNumber) {
    return node.frameNumber == frameNumber &&
           std::all_of(node.data, node.data + node.dataLength, [&](std::uint8_t byte) {
               return byte == static_cast<std::uint8_t>(frameNumber);
           });
}

constexpr char kMono8Camera[] = "gige serial=A width=64 height=48 rate=200";

std::string CameraWithFormat(const std::string& format) {
    return "gige serial=A width=64 height=48 format=" + format;
}

// Frames come on request or by Deliver.
void OpenA(ModuleHost& host) {
    host.OpenForRequests("A");
    host.ClearLog();
    host.ClearReports();
    KZSim_ClearJournal("A");
}

class Delivery : public ::testing::Test {
  protected:
    Delivery() { Xalog_ResetLevel(kTraceLevel); }
};

class DeliveryOfMono8 : public Delivery {
  protected:
    DeliveryOfMono8() { OpenA(host); }

    ModuleHost host{kMono8Camera, kModuleId};
};

TEST_F(Delivery, EveryFormatArrivesAsOneOfTwo) {
    struct Case {
        const char* format;
        std::uint32_t arrivesAs;
        bool numbered;  // the pixels still tell the frame's number
    };
    constexpr std::uint32_t kMono8 = pixel_format::kMono8;
    constexpr std::uint32_t kRGB8 = pixel_format::kRGB8;
    const Case cases[] = {{"Mono8", kMono8, true},
                          {"Mono10", kMono8, true},
                          {"Mono12", kMono8, true},
                          {"Mono16", kMono8, true},
                          {"Mono10Packed", kMono8, false},
                          {"Mono12Packed", kMono8, false},
                          {"Mono14", kRGB8, true},
                          {"BayerRG8", kRGB8, false},
                          {"BayerGB12", kRGB8, false},
                          {"RGB8", kRGB8, true},
                          {"BGR8", kRGB8, true},
                          {"YUV422_8", kRGB8, false},
                          {"YUV422_8_UYVY", kRGB8, false},
                          {"SdkColour24", kRGB8, true},
                          {"Mono8:compressed", kMono8, true},
                          {"Mono12:compressed", kMono8, true},
                          {"BayerRG8:compressed", kRGB8, false}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.format);
        ModuleHost host(CameraWithFormat(each.format));
        OpenA(host);
        for (std::uint32_t number = 1; number <= 3; ++number) {
            const auto image = host.Image();
            ASSERT_TRUE(image.has_value());
            EXPECT_EQ(image->width, kWidth);
            EXPECT_EQ(image->height, kHeight);
            EXPECT_EQ(image->pixelType, each.arrivesAs);
            EXPECT_EQ(image->dataLength, each.arrivesAs == kRGB8 ? 3 * kSize : kSize);
            EXPECT_EQ(image->capacity, image->dataLength);
            EXPECT_EQ(image->frameNumber, number);
            EXPECT_EQ(image->handedOver, 0U);
            if (each.numbered) {
                EXPECT_EQ(KZSim_FrameNumberIn(image->data, each.arrivesAs), number);
            }
            EXPECT_EQ(host.Free(*image), cam::kOk);
        }
    }
}

TEST_F(DeliveryOfMono8, ArrivalIsReportedAndTold) {
    ASSERT_TRUE(Deliver(0));
    EXPECT_THAT(host.Reports(), ElementsAre(Report{kReportFrameArrived, "7-1-0-A"}));
    const auto image = host.Image();
    ASSERT_TRUE(image.has_value());
    EXPECT_THAT(host.Messages(kIntake),
                ElementsAre("D CameraModuleDebug:DoImageCallBack Start",
                            "I Received image from camera: A, frame number: 0",
                            "D AddOneNode " + std::string(image->sharedName),
                            "I push frame to list success.frame number : 0",
                            "E CameraModule:Image callback end.frame number : 0"));
    EXPECT_THAT(host.Messages(kGetImage), ElementsAre("D get picture from list success"));
    EXPECT_EQ(image->tagValue, 1000U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image->data) % 64, 0U);
    EXPECT_THAT(image->sharedName, ::testing::StartsWith("{7-0-"));
    host.Free(*image);

    host.ClearLog();
    ModuleFrame_FailCalls("CQ_M_ReportData", 0xABC, 1);
    ASSERT_TRUE(Deliver(1));
    EXPECT_THAT(host.Messages(kIntake),
                ElementsAre("D CameraModuleDebug:DoImageCallBack Start",
                            "I Received image from camera: A, frame number: 1",
                            "E CQ_M_ReportData return [abc]",
                            "D GetFreeNodeCount " + std::string(image->sharedName),
                            "I push frame to list success.frame number : 1",
                            "E CameraModule:Image callback end.frame number : 1"));
}

TEST_F(DeliveryOfMono8, FullQueueDropsTheNewestAndGivesTheOldestFirst) {
    host.Set("ImageCacheNum", "3");
    for (std::uint32_t number = 101; number <= 105; ++number) {
        ASSERT_TRUE(Deliver(number));
    }
    EXPECT_THAT(
        host.Messages(kIntake),
        IsSupersetOf({"I Image buffer queue count > 3, throw current image, frame number:104",
                      "I Image buffer queue count > 3, throw current image, frame "
                      "number:105"}));
    EXPECT_EQ(host.Reports().size(), 5U);  // what is thrown away has arrived
    for (std::uint32_t number = 101; number <= 103; ++number) {
        const auto image = host.Image();
        ASSERT_TRUE(image.has_value());
        EXPECT_TRUE(Holds(*image, number));
        host.Free(*image);
    }
    EXPECT_THAT(Journal("A"), Not(Contains("KZ_CC_SetCommandValue TriggerSoftware")));
    for (const char* limit : {"0", "-1"}) {
        host.Set("ImageCacheNum", limit);
        host.ClearLog();
        ASSERT_TRUE(Deliver(106));
        EXPECT_EQ(host.LogCount("throw current image, frame number:106"), 1U);
    }
}

TEST_F(Delivery, FramesThatLieAreRefusedAndTheNextOneArrives) {
    struct Case {
        const char* what;
        std::uint16_t width, height;
        std::uint32_t pixelType, length;
        const char* line;  // "": none
    };
    using namespace pixel_format;
    const Case cases[] = {
        {"no width", 0, kHeight, kMono8, kSize, ""},
        {"no height", kWidth, 0, kMono8, kSize, ""},
        {"short", kWidth, kHeight, kMono8, kSize - 1, "Recv size [3071],need output size [3072]"},
        {"long", kWidth, kHeight, kMono8, kSize + 1, "Recv size [3073],need output size [3072]"},
        {"empty", kWidth, kHeight, kMono8, 0, "Recv size [0],need output size [3072]"},
        {"huge grey", 65535, 65535, kMono8, kSize, "node error, frame number:9"},
        {"huge colour", 65535, 65535, kRGB8, kSize, "node error, frame number:9"},
        {"just beyond a region", 65535, 32767, kMono8, kSize, "node error, frame number:9"},
        // In 32 bits its three colours take 65534 bytes.
        {"huge by a little more than 32 bits", 65535, 21846, kBayerRG8, kSize,
         "node error, frame number:9"},
        {"huge compressed", 65535, 65535, kMono16 | kCompressedBit, kSize,
         "node error, frame number:9"},
        {"short to convert", kWidth, kHeight, kMono12, kSize, "KZS SDK Convert Failed, Ret:"},
        {"unknown format", kWidth, kHeight, 0x01234567, kSize, "KZS SDK Convert Failed, Ret:"},
        {"corrupt", kWidth, kHeight, kMono8 | kCompressedBit, kSize,
         "iamge decode error, frame number:9,"},
    };
    const std::vector<std::uint8_t> pixels(4 * kSize, 5);
    for (const bool warm : {false, true}) {
        ModuleHost host(kMono8Camera);
        OpenA(host);
        for (const Case& each : cases) {
            SCOPED_TRACE(std::string(each.what) + (warm ? ", nodes free" : ", no node"));
            FrameOutInfo info = Mono8Info(9, each.width, each.height);
            info.pixelType = each.pixelType;
            info.frameLength = each.length;
            host.ClearLog();
            ASSERT_TRUE(KZSim_DeliverFrame("A", pixels.data(), &info));
            const auto messages = host.Messages(kIntake);
            if (each.line[0] == '\0') {
                EXPECT_THAT(messages, IsEmpty());
            } else {
                EXPECT_THAT(messages, Contains(::testing::AllOf(::testing::StartsWith("E "),
                                                                ::testing::HasSubstr(each.line))));
            }
            EXPECT_EQ(host.LogCount("push frame"), 0U);
            ASSERT_TRUE(Deliver(10));
            const auto image = host.Image();
            ASSERT_TRUE(image.has_value());
            EXPECT_TRUE(Holds(*image, 10));
            if (warm) {
                host.Free(*image);
            }
        }
    }
}

TEST_F(DeliveryOfMono8, FramesWithoutDataOrInformationAreHarmless) {
    const std::vector<std::uint8_t> pixels(kSize, 5);
    ASSERT_TRUE(KZSim_DeliverFrame("A", pixels.data(), nullptr));
    EXPECT_THAT(host.Messages(kIntake), IsEmpty());
    EXPECT_THAT(host.Reports(), IsEmpty());
    for (const std::uint32_t format : {pixel_format::kMono8, pixel_format::kMono12,
                                       pixel_format::kMono8 | pixel_format::kCompressedBit}) {
        FrameOutInfo info = Mono8Info(9);
        info.pixelType = format;
        ASSERT_TRUE(KZSim_DeliverFrame("A", nullptr, &info));
    }
    EXPECT_EQ(host.LogCount("push frame"), 0U);
    EXPECT_TRUE(host.Image().has_value());
}

// A decoded Mono12 frame takes twice the room of the Mono8 one that is made of it.
TEST_F(DeliveryOfMono8, CompressedFramesAreDecodedAndTheirNodesUsedAgainAsTheyAre) {
    const std::vector<std::uint8_t> mono8(kSize, 33);
    std::vector<std::uint8_t> mono12;
    for (std::uint32_t i = 0; i < kSize; ++i) {
        mono12.insert(mono12.end(), {0x10, 0x02});  // 33 << 4
    }
    const auto deliverTen = [this](std::uint32_t format, const std::vector<std::uint8_t>& pixels) {
        std::vector<std::uint8_t> compressed(4 * kSize);
        FrameOutInfo info = Mono8Info(33);
        info.pixelType = format | pixel_format::kCompressedBit;
        info.frameLength =
            KZSim_Compress(format, pixels.data(), static_cast<std::uint32_t>(pixels.size()),
                           compressed.data(), static_cast<std::uint32_t>(compressed.size()));
        for (int i = 0; i < 10; ++i) {
            ASSERT_TRUE(KZSim_DeliverFrame("A", compressed.data(), &info));
            const auto image = host.Image();
            ASSERT_TRUE(image.has_value());
            EXPECT_TRUE(Holds(*image, 33));
            host.Free(*image);
        }
    };
    // Told of each node that is added or changes its size.
    constexpr char kAllocation[] = "CModuleSharedMemoryBase::SetNodeNum";
    deliverTen(pixel_format::kMono8, mono8);
    EXPECT_EQ(host.LogCount(kAllocation), 2U);  // for the decoded frame and for the result
    deliverTen(pixel_format::kMono12, mono12);
    EXPECT_EQ(host.LogCount(kAllocation), 3U);  // the first of these grew one of the two
    EXPECT_EQ(host.LogCount("this frame is encode .frame number : 33"), 20U);
    EXPECT_EQ(host.LogCount("this frame decode success .frame number : 33"), 20U);
}

TEST_F(Delivery, ConversionsThatClaimTooMuchOrNothingDoNoHarm) {
    for (const char* format : {"Mono12", "Mono8:compressed"}) {
        ModuleHost host(CameraWithFormat(format));
        OpenA(host);
        KZSim_SetFaults("A", "claimed=100000000");
        const auto image = host.TakeImage();
        ASSERT_TRUE(image.has_value()) << format;
        EXPECT_EQ(image->dataLength, kSize) << format;
    }
    ModuleHost host(CameraWithFormat("Mono12"));
    OpenA(host);
    KZSim_SetFaults("A", "claimed=0");
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    KZSim_SetFaults("A", "");
    EXPECT_TRUE(host.TakeImage().has_value());
    EXPECT_EQ(host.LogCount("AddOneNode"), 1U) << "the node of the empty frame was lost";
}

TEST_F(DeliveryOfMono8, DebugModeReportsFramesAndKeepsNone) {
    host.Set("DebugMode", "True");
    ASSERT_TRUE(Deliver(1));
    EXPECT_EQ(host.Reports().size(), 1U);
    EXPECT_EQ(host.LogCount("push frame"), 0U);
    EXPECT_FALSE(host.Image().has_value());  // pictures come from a folder now, and there is none
    EXPECT_THAT(Journal("A"), IsEmpty());
    host.Set("DebugMode", "False");
    ASSERT_TRUE(Deliver(2));
    const auto image = host.Image();
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->frameNumber, 2U);
}

TEST_F(Delivery, WithoutReceiverFramesAreNeitherReportedNorKept) {
    ModuleHost host(kMono8Camera);
    host.Set("TriggerProcessRunStatus", "False");
    host.Set("CameraName", "A");
    host.Relate(4);
    host.Set("DelRelateProc", "4");
    ModuleFrame_RunNotifyEvent(host.Handle(), kNotifyRelationsChanged, nullptr);
    host.Set("AddRelateProc", "4");  // registered, but not yet looked up
    host.ClearReports();
    ASSERT_TRUE(Deliver(6));
    EXPECT_EQ(host.LogCount("Received image from camera: A, frame number: 6,relate proc is empty"),
              1U);
    EXPECT_THAT(host.Reports(), IsEmpty());
    EXPECT_EQ(host.LogCount("push frame"), 0U);
}

TEST_F(DeliveryOfMono8, NewResolutionAllocatesOnceAndIsThenReused) {
    const auto passThrough = [&](std::uint32_t number, std::uint16_t width, std::uint16_t height) {
        ASSERT_TRUE(Deliver(number, width, height));
        const auto image = host.Image();
        ASSERT_TRUE(image.has_value());
        EXPECT_TRUE(Holds(*image, number));
        EXPECT_EQ(image->dataLength, std::uint32_t{width} * height);
        host.Free(*image);
    };
    const auto resizes = [&] {
        EXPECT_EQ(host.LogCount("this frame size change"), host.LogCount("RellocNodeMainBuf"));
        return host.LogCount("this frame size change");
    };
    for (std::uint32_t number = 1; number <= 3; ++number) {
        passThrough(number, kWidth, kHeight);
    }
    EXPECT_EQ(resizes(), 0U);
    for (std::uint32_t number = 4; number <= 6; ++number) {
        passThrough(number, 2 * kWidth, 2 * kHeight);
    }
    EXPECT_EQ(resizes(), 1U);
    for (std::uint32_t number = 7; number <= 9; ++number) {
        passThrough(number, 16, 16);
    }
    EXPECT_EQ(resizes(), 2U);
    EXPECT_EQ(host.LogCount("AddOneNode"), 1U);
}

// The camera runs free while a host takes, holds and returns at random.
TEST_F(Delivery, NodeIsNeverInTwoHandsAndNeverLost) {
    Xalog_ResetLevel(kErrorLevel);
    constexpr std::size_t kFrames = 2000;
    constexpr std::size_t kMostHeld = 6;
    constexpr std::size_t kMostQueued = 4;
    ModuleHost host("gige serial=A width=64 height=48 rate=1000");
    OpenA(host);
    host.Set("ImageCacheNum", std::to_string(kMostQueued));
    host.Set("TriggerOff", "");
    std::minstd_rand random(1);
    std::vector<BufferNode> held;
    std::set<const std::uint8_t*> pointers;
    std::set<std::string> regions;
    std::uint32_t last = 0;
    for (std::size_t i = 0; i < kFrames; ++i) {
        const auto image = host.Image();
        ASSERT_TRUE(image.has_value());
        ASSERT_GT(image->frameNumber, last);
        last = image->frameNumber;
        ASSERT_TRUE(pointers.insert(image->data).second);
        regions.insert(image->sharedName);
        held.push_back(*image);
        while (held.size() > kMostHeld || (!held.empty() && random() % 2 == 0)) {
            const std::size_t place = random() % held.size();
            ASSERT_EQ(KZSim_FrameNumberIn(held[place].data, held[place].pixelType),
                      held[place].frameNumber);
            pointers.erase(held[place].data);
            host.Free(held[place]);
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(place));
        }
    }
    // Held, queued, one in the callback and one just taken.
    EXPECT_LE(regions.size(), kMostHeld + kMostQueued + 2);
    EXPECT_LE(OpenRegions().size(), kMostHeld + kMostQueued + 2);
}

TEST_F(DeliveryOfMono8, NodesReturnedTwiceOrMadeUpAreNeverWrittenTo) {
    ASSERT_TRUE(Deliver(1));
    const auto image = host.Image();
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(host.Free(*image), cam::kOk);
    EXPECT_EQ(host.Free(*image), cam::kOk);

    std::vector<std::uint8_t> foreign(kSize, 0xEE);
    BufferNode forged = *image;
    forged.data = foreign.data();
    host.Free(forged);
    forged.sharedName = reinterpret_cast<const char*>(std::uintptr_t{0x10});
    host.Free(forged);

    std::set<const std::uint8_t*> pointers;
    for (std::uint32_t number = 2; number <= 5; ++number) {
        ASSERT_TRUE(Deliver(number));
        const auto next = host.Image();
        ASSERT_TRUE(next.has_value());
        EXPECT_TRUE(Holds(*next, number));
        EXPECT_TRUE(pointers.insert(next->data).second);
    }
    EXPECT_THAT(foreign, ::testing::Each(0xEE));
}

TEST_F(DeliveryOfMono8, NoTriggeredFrameIsSleptThrough) {
    Xalog_ResetLevel(kErrorLevel);
    for (int i = 0; i < 500; ++i) {
        ASSERT_TRUE(host.TakeImage());
    }
    // A frame that is there already, or arrives just now, does not count for the one asked for.
    for (int i = 0; i < 500; ++i) {
        host.Set("TriggerSoftware", "");
        for (int taken = 0; taken < 3; ++taken) {
            ASSERT_TRUE(host.TakeImage());
        }
    }
    EXPECT_EQ(host.LogCount("no image"), 0U);
}

TEST_F(Delivery, TriggerWithoutFrameEndsAfterTheWaitTime) {
    ModuleHost host(CameraWithFormat("Mono12"));
    OpenA(host);
    host.Set("SoftTriggerWaitTime", "1");
    host.ExpectTimeOut("no image");
    KZSim_SetFaults("A", "convert=0x80000005");
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    EXPECT_THAT(
        host.Messages(kGetImage),
        ElementsAre("I have no pictures need soft trigger", "D soft trigger cmd send success",
                    "E (A)TriggerSoftware no image: timeout 1000 ms", "E error nRet = 0XE0000409"));
    EXPECT_THAT(host.Messages("CCameraModule::ConvertPixelFormat"),
                ElementsAre("E ConvertPixelFormatToRGB occurs error:-2147483643."));
    EXPECT_THAT(host.Messages(kIntake), Contains("E KZS SDK Convert Failed, Ret:-2147483643"));
    EXPECT_THAT(host.Messages("CCameraModule::SoftTrigger"),
                ElementsAre("D Soft trigger camera: A, return 0x0"));
    KZSim_SetFaults("A", "");
    EXPECT_TRUE(host.Image().has_value());
}

TEST_F(Delivery, FailedTriggerAndMissingCameraAreToldAlike) {
    ModuleHost host(kMono8Camera);
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    EXPECT_THAT(host.Messages(kGetImage), ElementsAre("E error nRet = 0XE0000409"));
    OpenA(host);
    KZSim_SetFaults("A", "fail=KZ_CC_SetCommandValue:0x80000103");
    EXPECT_EQ(host.GetStatus("CameraImage"), cam::kNoImage);
    EXPECT_THAT(host.Messages(kGetImage),
                ElementsAre("I have no pictures need soft trigger",
                            "E (A)TriggerSoftware failed: 80000103", "E error nRet = 0XE0000409"));
    EXPECT_EQ(host.Set("SynTriggerSoftware", ""), cam::kInvalid);
}

// The other one waits for the connection, which the asking thread holds.
TEST_F(Delivery, RequestUnderTheConnectionWaitsForNoOther) {
    ModuleHost host(kMono8Camera);
    host.Set("TriggerProcessRunStatus", "False");
    host.Relate(1);
    KZSim_SetFaults("A", "open=0x80000201");
    EXPECT_EQ(host.Set("CameraName", "A"), KZ_CC_E_OPEN_REFUSED);  // a request tries again
    KZSim_SetFaults("A", "");
    host.GetStatus("CameraImage", 8);  // no room for an image, but it waits as long as one would
    host.ClearLog();
    struct Requests {
        ModuleHost& host;
        std::thread other{};
        std::uint32_t status = cam::kInvalid;
    } requests{host};
    const auto ask = [](void* user) {
        auto& [asked, other, status] = *static_cast<Requests*>(user);
        other = std::thread([&module = asked] { EXPECT_TRUE(module.TakeImage().has_value()); });
        asked.WaitForLog("GetImage Start");
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        asked.Get("CameraName");  // holds and releases the connection once more
        status = asked.GetStatus("CameraImage");
    };
    KZSim_SetEnumerationHook(ask, &requests);
    EXPECT_EQ(host.Set("EnumCamera", ""), cam::kOk);
    KZSim_SetEnumerationHook(nullptr, nullptr);
    requests.other.join();
    // Where the other one was late, this one had its turn.
    EXPECT_TRUE(requests.status == cam::kNoImage || requests.status == cam::kOk);
}

TEST_F(DeliveryOfMono8, SynchronousTriggerReturnsWithTheFrame) {
    EXPECT_EQ(host.Set("SynTriggerSoftware", ""), cam::kOk);
    EXPECT_EQ(host.LogCount("push frame"), 1U);
}

// Frames are offered to procedures; the camera is still, frames come by Deliver.
class RunByCamera : public Delivery {
  protected:
    void OpenWithProcedures(const std::vector<std::int32_t>& procedures) {
        for (const std::int32_t procedure : procedures) {
            host.Relate(procedure);
        }
        host.Set("CameraName", "A");
        host.ClearLog();
    }
    // What the module tells of frames handed over, oldest first.
    [[nodiscard]] std::vector<std::string> HandedOver() const {
        return host.Messages("CCameraModule::StartImageProcessingThread");
    }
    static std::string Line(std::int32_t procedure, std::uint32_t frame) {
        return "I [Run by camera] Run Procedure " + std::to_string(procedure) + ", FrameNum " +
               std::to_string(frame) + ".";
    }

    ModuleHost host{kMono8Camera};
};

TEST_F(RunByCamera, FrameIsOfferedUntilItIsTakenAndStaysQueued) {
    std::atomic<int> offers{0};
    std::atomic<bool> accept{false};
    std::atomic<bool> wrongOrder{false};
    const auto answers = host.onProcedure.Attach([&](std::int32_t procedure, std::uint32_t frame) {
        ++offers;
        wrongOrder = wrongOrder || procedure != 5 || (!accept && frame != 21);
        return accept ? 0U : kModuleFrameRefused;
    });
    OpenWithProcedures({5});
    ASSERT_TRUE(Deliver(21));
    ASSERT_TRUE(Deliver(22));
    // Again and again, after a short pause each.
    ASSERT_TRUE(Eventually([&] { return offers > 50; }));
    EXPECT_THAT(HandedOver(), IsEmpty());
    accept = true;
    ASSERT_TRUE(Eventually([&] { return HandedOver().size() == 2; }));
    EXPECT_THAT(HandedOver(), ElementsAre(Line(5, 21), Line(5, 22)));
    EXPECT_FALSE(wrongOrder);
    for (const std::uint32_t number : {21U, 22U}) {
        const auto image = host.Image();
        ASSERT_TRUE(image.has_value());
        EXPECT_EQ(image->handedOver, 1U);
        EXPECT_TRUE(Holds(*image, number));
        host.Free(*image);
    }
}

TEST_F(RunByCamera, BurstIsSpreadOverTheProceduresLowestFirst) {
    std::atomic<bool> begin{false};
    std::atomic<int> room{2};
    const auto answers = host.onProcedure.Attach([&](std::int32_t procedure, std::uint32_t) {
        return begin && (procedure == 10 || room-- > 0) ? 0U : kModuleFrameRefused;
    });
    OpenWithProcedures({10, 9});  // by number, not by text or order of registration
    for (std::uint32_t number = 31; number <= 34; ++number) {
        ASSERT_TRUE(Deliver(number));
    }
    begin = true;
    ASSERT_TRUE(Eventually([&] { return HandedOver().size() == 4; }));
    EXPECT_THAT(HandedOver(), ElementsAre(Line(9, 31), Line(9, 32), Line(10, 33), Line(10, 34)));
}

// Each burst waits for the end of the one before: a frame that is not offered as it comes would
// wait for the next look at the queue, and all bursts together beyond the limit.
TEST_F(RunByCamera, EveryFrameOfABurstIsOfferedAsItComes) {
    constexpr std::uint32_t kBursts = 40;
    constexpr std::uint32_t kFrames = 5;
    std::mutex lock;
    std::vector<std::uint32_t> taken;
    const auto answers = host.onProcedure.Attach([&](std::int32_t, std::uint32_t) {
        const auto image = host.TakeImage();
        const std::lock_guard hold(lock);
        taken.push_back(image ? image->frameNumber : 0);
        return 0U;
    });
    OpenWithProcedures({5});
    std::vector<std::uint32_t> sent;
    const auto end = std::chrono::steady_clock::now() + kHang;
    for (std::uint32_t burst = 0; burst < kBursts; ++burst) {
        for (std::uint32_t i = 0; i < kFrames; ++i) {
            sent.push_back(static_cast<std::uint32_t>(sent.size() + 1));
            ASSERT_TRUE(Deliver(sent.back()));
        }
        ASSERT_TRUE(Eventually(
            [&] {
                const std::lock_guard hold(lock);
                return taken.size() == sent.size();
            },
            std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now())));
        if (burst == kBursts / 2) {
            host.Relate(6);  // two are asked in passes of several frames
        }
    }
    EXPECT_EQ(taken, sent);
}

TEST_F(RunByCamera, ProcedureRemovedWhileAnotherIsAskedIsNotAsked) {
    std::atomic<int> offers{0};
    std::atomic<bool> asked{false};
    const auto answers = host.onProcedure.Attach([&](std::int32_t procedure, std::uint32_t) {
        host.Set("DelRelateProc", "6");
        asked = asked || procedure == 6;
        ++offers;
        return kModuleFrameRefused;
    });
    OpenWithProcedures({5, 6});
    ASSERT_TRUE(Deliver(1));
    ASSERT_TRUE(Eventually([&] { return offers > 3; }));
    EXPECT_FALSE(asked);
}

TEST_F(RunByCamera, WithoutProceduresTheQueueIsEmptied) {
    OpenWithProcedures({5});
    host.Set("DelRelateProc", "5");  // the receiver is still known: frames are taken in
    for (std::uint32_t number = 1; number <= 20; ++number) {
        ASSERT_TRUE(Deliver(number));
    }
    // One may be dropped by a clear while it is taken in.
    EXPECT_TRUE(Eventually(
        [&] { return host.LogCount("freeimage") + host.LogCount("dropped by a clear") == 20; }));
    EXPECT_THAT(HandedOver(), IsEmpty());
}

TEST_F(RunByCamera, ProcedureMayTakeItsFrameAndSetParametersFromInsideTheCall) {
    std::mutex lock;
    std::vector<std::uint32_t> offered;
    std::vector<std::uint32_t> taken;
    const auto answers = host.onProcedure.Attach([&](std::int32_t, std::uint32_t frame) {
        const std::lock_guard hold(lock);
        offered.push_back(frame);
        host.Set("ImageCacheNum", "40");
        host.Set("AddRelateProc", "7");
        host.Get("CameraName");
        host.Set("ExposureTime", std::to_string(frame * 100));
        if (const auto image = host.TakeImage()) {
            taken.push_back(image->frameNumber);
        }
        if (frame == 45) {
            host.Set("DelRelateProc", "6");
            host.Set("ClearCacheImage", "");
        }
        return 0U;
    });
    OpenWithProcedures({5, 6});
    for (std::uint32_t number = 41; number <= 45; ++number) {
        ASSERT_TRUE(Deliver(number));
    }
    ASSERT_TRUE(Eventually([&] { return HandedOver().size() == 5; }));
    const std::lock_guard hold(lock);
    EXPECT_THAT(offered, ElementsAre(41, 42, 43, 44, 45));
    EXPECT_THAT(taken, ElementsAre(41, 42, 43, 44, 45));
}

TEST_F(RunByCamera, SwitchedTwiceItRunsOnceAndOffItOffersNothing) {
    std::atomic<int> offers{0};
    const auto answers = host.onProcedure.Attach([&](std::int32_t, std::uint32_t) {
        ++offers;
        return kModuleFrameRefused;
    });
    OpenWithProcedures({5});
    ASSERT_TRUE(Deliver(1));
    ASSERT_TRUE(Eventually([&] { return offers > 0; }));
    host.Set("TriggerProcessRunStatus", "False");
    host.Set("TriggerProcessRunStatus", "False");
    EXPECT_EQ(host.Get("TriggerProcessRunStatus"), "False");
    EXPECT_EQ(host.LogCount("The TriggerProcessRunStatus has closed, Image process thread exit."),
              1U);
    EXPECT_EQ(host.LogCount("freeimage"), 1U);  // what waited is cleared
    const int whenOff = offers;
    ASSERT_TRUE(Deliver(2));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(offers, whenOff);

    const std::size_t threads = ThreadCount();
    host.Set("TriggerProcessRunStatus", "True");
    host.Set("TriggerProcessRunStatus", "True");
    EXPECT_EQ(host.LogCount("The TriggerProcessRunStatus has opend, Image process thread enter."),
              1U);
    EXPECT_EQ(ThreadCount(), threads);  // the one that slept
    EXPECT_EQ(host.LogCount("freeimage"), 2U);
    ASSERT_TRUE(Deliver(3));
    EXPECT_TRUE(Eventually([&] { return offers > whenOff; }));
}

// The next pass would begin at once, and the lock is not fair.
TEST_F(RunByCamera, RequestThatWaitsGetsItsTurnBeforeTheNextOffer) {
    std::thread request;
    std::atomic<int> offers{0};
    std::atomic<bool> answered{false};
    const auto answers = host.onProcedure.Attach([&](std::int32_t, std::uint32_t) {
        if (++offers == 1) {
            request = std::thread([&] { EXPECT_TRUE(host.TakeImage().has_value()); });
            EXPECT_TRUE(host.WaitForLog("GetImage Start"));
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        } else {
            answered = host.LogCount("get picture from list success") == 1;
        }
        return 0U;
    });
    OpenWithProcedures({5});
    EXPECT_TRUE(Deliver(1));
    EXPECT_TRUE(Deliver(2));
    EXPECT_TRUE(Eventually([&] { return offers == 2; }));
    request.join();
    EXPECT_TRUE(answered);
}

TEST_F(RunByCamera, MayBeSwitchedFromInsideTheCall) {
    std::atomic<int> offers{0};
    const auto answers = host.onProcedure.Attach([&](std::int32_t, std::uint32_t frame) {
        ++offers;
        host.Set("TriggerProcessRunStatus", "False");
        if (frame == 1) {
            host.Set("TriggerProcessRunStatus", "True");
        }
        return 0U;
    });
    OpenWithProcedures({5});
    ASSERT_TRUE(Deliver(1));
    // Both switches empty the queue, so the next frame comes behind them.
    ASSERT_TRUE(Eventually([&] { return host.LogCount("Image process thread enter.") == 1; }));
    ASSERT_TRUE(Deliver(2));
    ASSERT_TRUE(Eventually([&] { return offers == 2; }));  // it went on
    ASSERT_TRUE(Eventually([&] { return host.LogCount("Image process thread exit.") == 2; }));
    ASSERT_TRUE(Deliver(3));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(offers, 2);  // and then it did not
    host.Set("TriggerProcessRunStatus", "True");
    ASSERT_TRUE(Deliver(4));
    EXPECT_TRUE(Eventually([&] { return offers == 3; }));
}

}  // namespace
}  // namespace tests
