// The pieces with state, each alone.
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "base/worker_thread.h"
#include "camera/callback_gate.h"
#include "camera/my_camera.h"
#include "camera/set_up_gate.h"
#include "camera/stop_gate.h"
#include "imaging/image_queue.h"
#include "standins/kz_camera_control/simulated_cameras.h"

namespace {

using namespace cam;

BufferNode Numbered(std::uint32_t number) {
    BufferNode node;
    node.frameNumber = number;
    return node;
}

TEST(ImageQueue, KeepsTheOrderWhileItGrowsAndWraps) {
    ImageQueue queue;
    std::uint32_t in = 0;
    std::uint32_t out = 0;
    for (int round = 0; round < 500; ++round) {
        for (int i = 0; i < 3; ++i) {
            queue.Push(Numbered(in++));
        }
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(queue.Pop()->frameNumber, out++);
        }
    }
    while (const auto node = queue.Pop()) {
        ASSERT_EQ(node->frameNumber, out++);
    }
    EXPECT_EQ(in, out);
    EXPECT_EQ(queue.Size(), 0U);
}

TEST(ImageQueue, AScanSurvivesFramesThatLeaveMeanwhile) {
    ImageQueue queue;
    for (std::uint32_t number = 1; number <= 3; ++number) {
        queue.Push(Numbered(number));
    }
    const auto first = queue.NextUndispatched(0);
    ASSERT_EQ(first->frameNumber, 1U);
    static_cast<void>(queue.Pop());
    queue.MarkHandedOver(first->sequence);
    const auto second = queue.NextUndispatched(first->sequence + 1);
    ASSERT_EQ(second->frameNumber, 2U);
    queue.MarkHandedOver(second->sequence);
    EXPECT_EQ(queue.NextUndispatched(0)->frameNumber, 3U);
    EXPECT_EQ(queue.Pop()->handedOver, 1U);
    EXPECT_EQ(queue.Pop()->handedOver, 0U);
    EXPECT_FALSE(queue.NextUndispatched(0).has_value());
}

TEST(ImageQueue, AFrameThatLeftIsNotTakenForTheOneInItsPlace) {
    ImageQueue queue;
    for (std::uint32_t number = 0; number < 1000; ++number) {
        queue.Push(Numbered(number));
        if (number >= 10) {
            static_cast<void>(queue.Pop());
        }
    }
    for (std::uint64_t left = 0; left < 990; ++left) {
        queue.MarkHandedOver(left);
    }
    EXPECT_EQ(queue.NextUndispatched(0)->frameNumber, 990U);
}

TEST(WorkerThread, SurvivesStartsAndStopsFromManyThreads) {
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    WorkerThread* self = nullptr;
    WorkerThread worker([&] {
        most = std::max(most.load(), ++inside);
        while (!self->StopRequested()) {
            std::this_thread::yield();
        }
        --inside;
    });
    self = &worker;
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&, i] {
            for (int round = 0; round < 100; ++round) {
                if ((round + i) % 2 == 0) {
                    EXPECT_TRUE(worker.Start());
                } else {
                    worker.Stop();
                }
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    // A stop cancels a start that the thread has not taken up, so it may not have run yet.
    EXPECT_TRUE(worker.Start());
    while (most == 0) {
        std::this_thread::yield();
    }
    worker.Stop();
    for (int round = 0; round < 100; ++round) {  // whether or not the thread is awake by then
        EXPECT_TRUE(worker.Start());
        EXPECT_TRUE(worker.Stop());
    }
    EXPECT_EQ(inside, 0);
    EXPECT_EQ(most, 1);
}

TEST(WorkerThread, IsStoppedWhenTheRunThatWasAskedHasEnded) {
    WorkerThread* self = nullptr;
    std::atomic<bool> asked{false};
    std::atomic<bool> started{false};
    std::atomic<int> runs{0};
    WorkerThread worker([&] {
        ++runs;
        while (!self->StopRequested()) {
            std::this_thread::yield();
        }
        asked = true;
        while (!started) {
            std::this_thread::yield();
        }
    });
    self = &worker;
    ASSERT_TRUE(worker.Start());
    while (runs == 0) {
        std::this_thread::yield();
    }
    std::thread stop([&] { EXPECT_TRUE(worker.Stop()); });
    while (!asked) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(worker.Start());  // goes on when the first run has ended
    started = true;
    stop.join();
    EXPECT_TRUE(worker.Running());
    while (runs < 2) {
        std::this_thread::yield();
    }
    worker.Stop();
}

TEST(WorkerThread, EndsItsPauseToStop) {
    platform::Event pause;
    ASSERT_TRUE(pause.Create());
    std::atomic<bool> pausing{false};
    WorkerThread worker(
        [&] {
            pausing = true;
            pause.WaitFor(std::chrono::hours(1));
        },
        &pause);
    ASSERT_TRUE(worker.Start());
    while (!pausing) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(worker.Stop() || !worker.Running());
}

TEST(WorkerThread, StartsAgainAfterItEndedByItself) {
    std::atomic<int> runs{0};
    WorkerThread worker([&] { ++runs; });
    for (int expected = 1; expected <= 3; ++expected) {
        ASSERT_TRUE(worker.Start());
        while (worker.Running()) {
            std::this_thread::yield();
        }
        EXPECT_EQ(runs, expected);
    }
    worker.End();
    EXPECT_TRUE(worker.Start());
    EXPECT_FALSE(worker.Running());
}

TEST(WorkerThread, GoesOnWhenStartedAfterItAskedItselfToStop) {
    WorkerThread* self = nullptr;
    std::atomic<int> runs{0};
    WorkerThread worker([&] {
        if (++runs == 1) {
            EXPECT_FALSE(self->Stop());
            EXPECT_FALSE(self->Running());
            EXPECT_TRUE(self->Start());
            EXPECT_TRUE(self->Running());
            self->RequestStop();
            EXPECT_FALSE(self->Running());
            EXPECT_TRUE(self->Start());
        }
        while (!self->StopRequested()) {
            std::this_thread::yield();
        }
    });
    self = &worker;
    ASSERT_TRUE(worker.Start());
    while (runs < 2) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(worker.Running());
    worker.Stop();
    EXPECT_EQ(runs, 2);
    EXPECT_FALSE(worker.Running());
}

TEST(CallbackGate, WaitsForThoseInsideAndLetsNoMoreIn) {
    const int module = 0;
    CallbackGate gate;
    gate.Open(&module);
    std::atomic<bool> entered{false};
    std::atomic<bool> leave{false};
    std::atomic<bool> closed{false};
    std::thread callback([&] {
        const CallbackGate::Entry entry(&module);
        EXPECT_TRUE(static_cast<bool>(entry));
        entered = true;
        while (!leave) {
            std::this_thread::yield();
        }
        EXPECT_FALSE(closed);
    });
    while (!entered) {
        std::this_thread::yield();
    }
    std::thread closer([&] {
        gate.CloseAndWait();
        closed = true;
    });
    // Once the gate refuses, the closer is waiting for the callback inside.
    for (bool refused = false; !refused;) {
        const CallbackGate::Entry late(&module);
        refused = !late;
    }
    leave = true;
    callback.join();
    closer.join();
    gate.CloseAndWait();
}

TEST(StopGate, KnowsTheOnlyFrame) {
    using enum StopGate::Source;
    StopGate gate;
    EXPECT_FALSE(StopGate::Callback(gate, Event).OnlyFrame());
    std::optional<StopGate::Callback> first(std::in_place, gate, Frame);
    EXPECT_TRUE(first->OnlyFrame());
    {
        const StopGate::Callback second(gate, Frame);
        EXPECT_FALSE(second.OnlyFrame());
        first.reset();
        EXPECT_FALSE(second.OnlyFrame());
        EXPECT_TRUE(StopGate::Callback(gate, Frame).OnlyFrame());
    }
    EXPECT_TRUE(StopGate::Callback(gate, Frame).OnlyFrame());
}

TEST(SetUpGate, WaitsForTheFeatureCallsInProgressUnlessItMustGiveWay) {
    StopGate stopGate;
    SetUpGate gate(stopGate);
    std::optional<SetUpGate::FeatureCall> call(gate);
    std::atomic<bool> begun{false};
    std::atomic<bool> callEnds{false};
    std::atomic<bool> inside{false};
    std::atomic<bool> refused{false};
    std::thread setUp([&] {
        {
            const StopGate::Callback callback(stopGate, StopGate::Source::Exception);
            const StopGate::Stop stop(stopGate);
            EXPECT_FALSE(static_cast<bool>(SetUpGate::SetUp(gate)));
        }
        const SetUpGate::SetUp waits(gate);
        EXPECT_TRUE(static_cast<bool>(waits));
        EXPECT_TRUE(callEnds);
        inside = true;
        for (int i = 0; i < 1000 && !refused; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_TRUE(refused);
    });
    // A thread of the SDK is refused once a set-up has begun.
    while (!begun) {
        const StopGate::Callback callback(stopGate, StopGate::Source::Frame);
        begun = !SetUpGate::FeatureCall(gate);
    }
    callEnds = true;
    call.reset();
    while (!inside) {
        std::this_thread::yield();
    }
    {
        const StopGate::Callback callback(stopGate, StopGate::Source::Frame);
        refused = !SetUpGate::FeatureCall(gate);
    }
    setUp.join();
    EXPECT_TRUE(static_cast<bool>(SetUpGate::FeatureCall(gate)));
}

CameraDeviceInfo CameraA() {
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_USB3;
    record.usb3.serialNumber[0] = 'A';
    return record;
}

TEST(MyCamera, DropsOnlyTheOpeningThatWasLostAndForgetsItsKeyWhenClosed) {
    ASSERT_EQ(KZSim_Configure("usb3 serial=A"), 0U);
    const CameraDeviceInfo record = CameraA();
    StopGate stopGate;
    CMyCamera camera(stopGate);
    ASSERT_EQ(camera.Open(&record), kOk);
    camera.SetKey("A");
    const std::uint32_t first = camera.OpenId();
    ASSERT_EQ(camera.Open(&record), kOk);
    EXPECT_EQ(camera.Key(), "");
    ASSERT_EQ(camera.StartGrabbing(), kOk);
    EXPECT_TRUE(camera.DropLost(first));
    EXPECT_TRUE(camera.IsOpen() && camera.IsGrabbing());
    EXPECT_TRUE(camera.DropLost(camera.OpenId()));
    EXPECT_FALSE(camera.IsOpen() || camera.IsGrabbing());
    ASSERT_EQ(camera.Open(&record), kOk);
    EXPECT_NE(camera.OpenId(), 0U);
    ASSERT_EQ(camera.Close(), kOk);
    EXPECT_EQ(camera.OpenId(), 0U);
}

TEST(MyCamera, ResumesOnlyWhatStandsStillAndReleasesWhoWaitsForIt) {
    ASSERT_EQ(KZSim_Configure("usb3 serial=A"), 0U);
    const CameraDeviceInfo record = CameraA();
    StopGate stopGate;
    CMyCamera camera(stopGate);
    ASSERT_EQ(camera.Open(&record), kOk);
    platform::Event arrived;
    platform::Event started;
    ASSERT_TRUE(arrived.Create() && started.Create());
    const auto isSet = [](platform::Event& event) {
        return event.WaitFor(std::chrono::milliseconds(0));
    };
    {
        const CMyCamera::Configuration configuration(camera);
        EXPECT_EQ(camera.ResumeGrabbing(arrived, started), kOk);
        EXPECT_FALSE(camera.IsGrabbing() || isSet(arrived) || isSet(started));
    }
    EXPECT_EQ(camera.ResumeGrabbing(arrived, started), kOk);
    EXPECT_TRUE(camera.IsGrabbing() && isSet(arrived) && isSet(started));
    arrived.Reset();
    started.Reset();
    EXPECT_EQ(camera.ResumeGrabbing(arrived, started), kOk);
    EXPECT_TRUE(isSet(started));
    EXPECT_FALSE(isSet(arrived)) << "the camera streams: this would be some frame's";
    KZSim_SetFaults("A", "stop=0x80000004");
    EXPECT_EQ(camera.StopGrabbing(), 0x80000004);
    EXPECT_TRUE(camera.IsGrabbing());

    // A configuration begins after a restart in progress, never inside it.
    KZSim_SetFaults("A", "slow=KZ_CC_StartGrabbing:100");
    ASSERT_EQ(camera.StopGrabbing(), kOk);
    KZSim_ClearJournal("A");
    std::thread restart([&] { EXPECT_EQ(camera.ResumeGrabbing(arrived, started), kOk); });
    while (KZSim_Journal("A", nullptr, 0) == 0) {
        std::this_thread::yield();
    }
    {
        const CMyCamera::Configuration configuration(camera);
        EXPECT_TRUE(camera.IsGrabbing());
    }
    restart.join();
}

TEST(CallbackGate, DoesNotWaitForTheCallbackThatCloses) {
    const int module = 0;
    CallbackGate gate;
    gate.Open(&module);
    gate.Open(&module);  // counts once
    const CallbackGate::Entry entry(&module);
    gate.CloseAndWait();
    EXPECT_FALSE(static_cast<bool>(CallbackGate::Entry(&module)));
}

}  // namespace
