#include "imaging/frame_store.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/settings.h"
#include "camera/sdk/pixel_format.h"
#include "imaging/frame_intake.h"
#include "module/framework/status_codes.h"
#include "platform/shared_mapping.h"
#include "tests/imaging/log_capture.h"

namespace cam {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint32_t kModule = 3;
using Fit = NodePool::Fit;

constexpr std::uint32_t kTooLarge = 2'000'000'000;

std::vector<std::uint8_t> BytesOf(const platform::SharedMapping& region) {
    const auto* const view = reinterpret_cast<const std::uint8_t*>(region.View());
    return {view, view + region.Size()};
}

class FrameMemory : public testing::Test {
  protected:
    FrameMemory() {
        m_notices.Attach(nullptr, kModule);
        static_cast<void>(m_imageArrived.Create());
    }

    BufferNode Add(std::uint32_t size) {
        BufferNode node;
        EXPECT_EQ(m_frame.AddOneNode(size, node), kOk);
        EXPECT_NE(node.data, nullptr);
        EXPECT_EQ(node.capacity, size);
        return node;
    }

    // What a record does that must not be taken back.
    void ExpectRefused(const BufferNode& record) {
        static_cast<void>(m_log.Take());
        const std::size_t before = m_frame.GetFreeNodeCount();
        EXPECT_EQ(m_store.FreeBuf(record), kOk);
        EXPECT_EQ(m_frame.GetFreeNodeCount(), before);
        EXPECT_THAT(m_log.Take(), ElementsAre(testing::StartsWith("4 3 CBufManager::FreeBuf: ")));
    }

    tests::LogCapture m_log;
    Notices m_notices;
    platform::Event m_imageArrived;
    FrameStore m_store{m_notices, m_imageArrived};
    FrameStore::FrameUnderWay m_frame{m_store};
};

TEST_F(FrameMemory, NodesRaiseTheNodeNumberAndHaveRegionsOfTheirOwn) {
    BufferNode a;
    a.dataLength = 5;
    ASSERT_EQ(m_frame.AddOneNode(1000, a), kOk);
    EXPECT_EQ(a.dataLength, 0U);
    const BufferNode b = Add(1000);
    const std::string setNodeNum = "3 -1 CModuleSharedMemoryBase::SetNodeNum: ";
    EXPECT_THAT(m_log.Take(),
                ElementsAre(setNodeNum + "The current num of nodes [1] exceeds the set num [1]",
                            testing::_, setNodeNum + "Set node num [2]", testing::_));
    EXPECT_STRNE(a.sharedName, b.sharedName);
    std::memset(a.data, 0xAA, a.capacity);
    std::memset(b.data, 0xBB, b.capacity);

    platform::SharedMapping host;
    ASSERT_EQ(host.Open(a.sharedName), 0);
    ASSERT_EQ(host.Map(), 0);
    EXPECT_EQ(std::to_integer<int>(host.View()[128 + 999]), 0xAA);
}

TEST_F(FrameMemory, TheNodeReturnedLastIsTakenFirst) {
    EXPECT_FALSE(m_frame.TakeFreeNode(64, Fit::AtLeast).has_value());
    std::vector<BufferNode> nodes;
    for (int i = 0; i < 40; ++i) {
        nodes.push_back(Add(64));
    }
    EXPECT_EQ(m_frame.GetFreeNodeCount(), 0U);
    for (const BufferNode& node : nodes) {
        EXPECT_EQ(m_store.FreeBuf(node), kOk);
    }
    EXPECT_EQ(m_frame.GetFreeNodeCount(), 40U);
    for (auto node = nodes.rbegin(); node != nodes.rend(); ++node) {
        const auto taken = m_frame.TakeFreeNode(64, Fit::Exactly);
        ASSERT_TRUE(taken.has_value());
        EXPECT_EQ(std::memcmp(&*taken, &*node, sizeof(BufferNode)), 0);
    }
    EXPECT_EQ(m_frame.GetFreeNodeCount(), 0U);
}

TEST_F(FrameMemory, ANodeThatFitsIsPreferred) {
    for (const BufferNode& node : {Add(100), Add(200), Add(150)}) {
        ASSERT_EQ(m_store.FreeBuf(node), kOk);
    }
    // It becomes the last one returned.
    const auto capacityOfNext = [this](std::uint64_t size, Fit fit) {
        const BufferNode node = m_frame.TakeFreeNode(size, fit).value();
        EXPECT_EQ(m_store.FreeBuf(node), kOk);
        return node.capacity;
    };
    EXPECT_EQ(capacityOfNext(160, Fit::AtLeast), 200U);
    EXPECT_EQ(capacityOfNext(100, Fit::Exactly), 100U);
    EXPECT_EQ(capacityOfNext(120, Fit::AtLeast), 200U) << "the last one of two that fit";
    EXPECT_EQ(capacityOfNext(150, Fit::Exactly), 150U);
    EXPECT_EQ(capacityOfNext(201, Fit::AtLeast), 150U);
    EXPECT_EQ(capacityOfNext(120, Fit::Exactly), 150U);
    EXPECT_EQ(capacityOfNext((std::uint64_t{1} << 32) + 100, Fit::Exactly), 150U);
}

TEST_F(FrameMemory, ANodeThatCannotBeAddedHasNoMemoryAndStillCounts) {
    BufferNode node;
    node.dataLength = 7;
    EXPECT_EQ(m_frame.AddOneNode(0, node), kInvalid);
    EXPECT_EQ(node.dataLength, 7U);
    EXPECT_THAT(m_log.Take(), IsEmpty());

    EXPECT_EQ(m_frame.AddOneNode(kTooLarge, node), kNoBufferNode);
    EXPECT_EQ(node.data, nullptr);
    EXPECT_EQ(node.capacity, 0U);
    EXPECT_EQ(node.dataLength, 0U);

    static_cast<void>(Add(10));
    EXPECT_THAT(m_log.Take(),
                Contains("3 -1 CModuleSharedMemoryBase::SetNodeNum: Set node num [2]"));
}

TEST_F(FrameMemory, AReallocatedNodeKeepsItsNameAndItsPlaceInTheCount) {
    BufferNode node = Add(100);
    const BufferNode before = node;
    const std::string name = node.sharedName;
    node.dataLength = 50;
    static_cast<void>(m_log.Take());
    ASSERT_EQ(m_frame.RellocNode(300, node), kOk);
    EXPECT_EQ(node.sharedName, name);
    EXPECT_EQ(node.capacity, 300U);
    EXPECT_EQ(node.dataLength, 0U);
    EXPECT_THAT(m_log.Take(),
                ElementsAre("3 -1 CModuleSharedMemoryBase::SetNodeNum: The current num of nodes "
                            "[1] exceeds the set num [1]"));
    ExpectRefused(before);

    ASSERT_EQ(m_store.FreeBuf(node), kOk);
    EXPECT_TRUE(m_frame.TakeFreeNode(300, Fit::Exactly).has_value());
}

// Windows keeps the name of a region that anybody has open; Linux gives it to the new one.
TEST_F(FrameMemory, ARegionThatTheHostKeepsOpenStopsNoReallocation) {
    BufferNode node = Add(100);
    std::deque<platform::SharedMapping> held;
    const std::uint32_t sizes[] = {100'000, 300'000, 200};
    for (const std::uint32_t size : sizes) {
        std::memset(node.data, 0xAA, node.capacity);
        platform::SharedMapping& host = held.emplace_back();
        ASSERT_EQ(host.Open(node.sharedName), 0);
        ASSERT_EQ(host.Map(), 0);
        const std::vector<std::uint8_t> before = BytesOf(host);

        ASSERT_EQ(m_frame.RellocNode(size, node), kOk);
        EXPECT_EQ(node.capacity, size);
        EXPECT_THAT(std::vector(node.data, node.data + size), Each(0)) << "a fresh region";
        std::memset(node.data, 0xBB, size);
        EXPECT_EQ(BytesOf(host), before);
    }
    platform::SharedMapping host;
    ASSERT_EQ(host.Open(node.sharedName), 0);
    ASSERT_EQ(host.Map(), 0);
    EXPECT_STREQ(reinterpret_cast<const char*>(host.View()) + 16, node.sharedName);
    EXPECT_EQ(std::to_integer<int>(host.View()[128 + 199]), 0xBB);
    EXPECT_EQ(m_store.FreeBuf(node), kOk);
    EXPECT_EQ(m_frame.GetFreeNodeCount(), 1U);
}

TEST_F(FrameMemory, ForgedAndRepeatedRecordsAreIgnored) {
    const BufferNode a = Add(100);
    const BufferNode b = Add(100);
    const auto forged = [&a](auto change) {
        BufferNode record = a;
        change(record);
        return record;
    };
    ExpectRefused({});
    ExpectRefused(forged([](BufferNode& n) { n.data += 1; }));
    ExpectRefused(forged([](BufferNode& n) { n.data = reinterpret_cast<std::uint8_t*>(16); }));
    ExpectRefused(forged([](BufferNode& n) { n.data = nullptr; }));
    ExpectRefused(forged([](BufferNode& n) { n.capacity += 1; }));
    ExpectRefused(forged([](BufferNode& n) { n.capacity = 0xFFFFFFFF; }));
    ExpectRefused(forged([](BufferNode& n) { n.sharedName = nullptr; }));
    ExpectRefused(forged([&b](BufferNode& n) { n.sharedName = b.sharedName; }));
    ExpectRefused(forged(
        [](BufferNode& n) { n.sharedName = reinterpret_cast<const char*>(std::uintptr_t{8}); }));

    ASSERT_EQ(m_store.FreeBuf(a), kOk);
    ExpectRefused(a);
    ASSERT_EQ(m_store.FreeBuf(b), kOk);
    ExpectRefused(a);
    EXPECT_EQ(m_frame.GetFreeNodeCount(), 2U);
    EXPECT_EQ(m_frame.TakeFreeNode(100, Fit::Exactly)->data, b.data);
    ASSERT_EQ(m_store.FreeBuf(b), kOk);  // it is out again
    EXPECT_EQ(m_frame.GetFreeNodeCount(), 2U);
}

TEST_F(FrameMemory, ANodeLostToAFailedReallocationCannotComeBack) {
    BufferNode lost = Add(100);
    const BufferNode kept = Add(100);
    const BufferNode before = lost;
    ASSERT_EQ(m_frame.RellocNode(kTooLarge, lost), kNoBufferNode);
    EXPECT_EQ(lost.capacity, 0U);
    ExpectRefused(before);

    BufferNode emptied = Add(100);
    EXPECT_STRNE(emptied.sharedName, kept.sharedName);
    const BufferNode beforeEmptied = emptied;
    EXPECT_EQ(m_frame.RellocNode(0, emptied), kInvalid);
    ExpectRefused(beforeEmptied);
}

// ThreadSanitizer is the judge of the rest.
TEST_F(FrameMemory, HostThreadsReturnNodesWhileFramesAreTakenIn) {
    constexpr int kFrames = 3000;
    constexpr std::size_t kUnderWay = 8;
    Xalog_ResetLevel(4);
    std::mutex lock;
    std::deque<BufferNode> delivered;  // under lock
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> hosts;
    for (int i = 0; i < 2; ++i) {
        hosts.emplace_back([&] {
            for (bool last = false; !last;) {
                last = done;
                std::unique_lock hold(lock);
                while (!delivered.empty()) {
                    const BufferNode node = delivered.front();
                    delivered.pop_front();
                    hold.unlock();
                    wrong += node.data[0] != static_cast<std::uint8_t>(node.frameNumber);
                    static_cast<void>(m_store.FreeBuf(node));
                    BufferNode forged = node;
                    ++forged.capacity;
                    static_cast<void>(m_store.FreeBuf(forged));
                    hold.lock();
                }
                hold.unlock();
                std::this_thread::yield();
            }
        });
    }
    std::set<const char*> names;
    for (int frame = 0; frame < kFrames;) {
        {
            const std::lock_guard hold(lock);
            if (delivered.size() >= kUnderWay) {
                continue;
            }
        }
        const std::uint32_t size = frame % 500 < 250 ? 64 : 200;
        BufferNode node;
        if (m_frame.GetFreeNodeCount() == 0) {
            ASSERT_EQ(m_frame.AddOneNode(size, node), kOk);
        } else {
            node = m_frame.TakeFreeNode(size, Fit::Exactly).value();
            if (node.capacity != size) {
                ASSERT_EQ(m_frame.RellocNode(size, node), kOk);
            }
        }
        names.insert(node.sharedName);
        node.frameNumber = static_cast<std::uint32_t>(frame);
        node.data[0] = static_cast<std::uint8_t>(frame++);
        ASSERT_TRUE(m_frame.HasRoom(1));
        ASSERT_TRUE(m_frame.Publish(node));
        const std::lock_guard hold(lock);
        delivered.push_back(m_store.Pop().value());
    }
    done = true;
    for (std::thread& host : hosts) {
        host.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(m_frame.GetFreeNodeCount(), names.size());
    EXPECT_LE(names.size(), kUnderWay + 3);
}

// A host that keeps a record and returns it again later must not free the frame that its node holds
// by then: two frames would share its memory.
TEST_F(FrameMemory, ARecordOfAnEarlierFrameIsIgnored) {
    BufferNode first = Add(64);
    first.frameNumber = 1;
    ASSERT_TRUE(m_frame.HasRoom(2) && m_frame.Publish(first));
    BufferNode stale = m_store.Pop().value();
    stale.reserved0 = 7;
    stale.reserved1[2] = 9;
    ASSERT_EQ(m_store.FreeBuf(stale), kOk);
    BufferNode second = m_frame.TakeFreeNode(64, Fit::Exactly).value();
    EXPECT_EQ(second.data, first.data);
    EXPECT_EQ(second.reserved0, 0U) << "as the host left it";
    EXPECT_EQ(second.reserved1[2], 0U);
    second.frameNumber = 2;
    ASSERT_TRUE(m_frame.HasRoom(2) && m_frame.Publish(second));
    ExpectRefused(stale);
    EXPECT_EQ(m_store.Pop()->frameNumber, 2U);
    ASSERT_EQ(m_store.FreeBuf(second), kOk);
    EXPECT_EQ(m_frame.GetFreeNodeCount(), 1U);
}

TEST_F(FrameMemory, AClearDropsWhatWaitsAndWhatIsUnderWay) {
    for (std::uint32_t number = 1; number <= 3; ++number) {
        BufferNode node = Add(64);
        node.frameNumber = number;
        ASSERT_TRUE(m_frame.HasRoom(3) && m_frame.Publish(node));
    }
    EXPECT_FALSE(m_frame.HasRoom(3));
    EXPECT_TRUE(m_frame.HasRoom(4));
    BufferNode underWay = Add(64);
    underWay.frameNumber = 4;
    m_store.Clear();
    EXPECT_THAT(m_log.Take(),
                Contains("3 3 CCameraModule::ClearImage: Warning:3 waiting images dropped"));
    m_imageArrived.Reset();
    EXPECT_FALSE(m_frame.Publish(underWay));
    EXPECT_TRUE(m_store.Empty());
    EXPECT_FALSE(m_imageArrived.WaitFor({})) << "nobody is to look for the dropped frame";
    EXPECT_EQ(m_frame.GetFreeNodeCount(), 4U);

    const BufferNode next = m_frame.TakeFreeNode(64, Fit::Exactly).value();
    ASSERT_TRUE(m_frame.HasRoom(1) && m_frame.Publish(next)) << "the clear is over";
    EXPECT_TRUE(m_imageArrived.WaitFor({}));
    EXPECT_TRUE(m_store.Queued().WaitFor({}));
}

TEST_F(FrameMemory, OneFrameIsTakenInAtATime) {
    StopGate stopGate;
    CMyCamera camera(stopGate);
    ReceiverRegistry receivers;
    receivers.Add("1");
    receivers.LookUpReceivers();
    const Settings settings;
    ModuleEvents events;
    ASSERT_EQ(events.Create(), kOk);
    FrameIntake intake(camera, stopGate, m_store, receivers, m_notices, settings, events);
    std::vector<std::uint8_t> pixels(64);
    FrameOutInfo info{};
    info.width = 8;
    info.height = 8;
    info.pixelType = pixel_format::kMono8;
    info.frameLength = 64;
    {
        const StopGate::Callback other(stopGate, StopGate::Source::Frame);
        intake.DoImageCallBack(pixels.data(), &info);
    }
    EXPECT_TRUE(m_store.Empty());
    EXPECT_THAT(m_log.Take(),
                Contains("4 3 CCameraModule::DoImageCallBack: Frame lost, another one is still "
                         "taken in, frame number:0"));
    intake.DoImageCallBack(pixels.data(), &info);
    EXPECT_FALSE(m_store.Empty());
}

}  // namespace
}  // namespace cam
