#include "platform/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "platform/address_wait.h"
#include "tests/platform/support.h"

namespace platform {
namespace {

using namespace std::chrono_literals;
using test::kHang;

TEST(Event, StaysSetUntilItIsReset) {
    Event event;
    ASSERT_TRUE(event.Create());
    EXPECT_FALSE(event.WaitFor(0ms));
    event.Set();
    EXPECT_TRUE(event.WaitFor(0ms));
    EXPECT_TRUE(event.WaitFor(kHang));
    ASSERT_TRUE(event.Create()) << "creating an open event leaves it as it is";
    EXPECT_TRUE(event.WaitFor(0ms));
    event.Reset();
    EXPECT_FALSE(event.WaitFor(1ms));
}

TEST(Event, DoesNothingWhileItIsNotOpen) {
    Event event;
    event.Set();
    event.Reset();
    event.Close();
    EXPECT_FALSE(event.IsOpen());
    EXPECT_FALSE(event.WaitFor(kHang));

    ASSERT_TRUE(event.Create());
    EXPECT_TRUE(event.IsOpen());
    EXPECT_FALSE(event.WaitFor(0ms)) << "a set before the event was opened must not count";
    event.Set();
    event.Close();
    event.Set();
    EXPECT_FALSE(event.WaitFor(kHang));
    ASSERT_TRUE(event.Create());
    EXPECT_FALSE(event.WaitFor(0ms)) << "opened again, the event is unsignalled";
}

TEST(Event, TakesEveryLengthOfTime) {
    Event event;
    ASSERT_TRUE(event.Create());
    EXPECT_FALSE(event.WaitFor(std::chrono::milliseconds::min()));
    auto waiter = std::async(std::launch::async,
                             [&event] { return event.WaitFor(std::chrono::milliseconds::max()); });
    EXPECT_EQ(waiter.wait_for(20ms), std::future_status::timeout);
    event.Set();
    ASSERT_EQ(waiter.wait_for(kHang), std::future_status::ready);
    EXPECT_TRUE(waiter.get());
}

// A wait that the system refuses ends at once, and its callers spin.
TEST(AddressWait, SleepsThroughSecondsAndTheirFractions) {
    for (const auto timeout : {std::chrono::nanoseconds(60s), std::chrono::nanoseconds(60s + 999ms),
                               std::chrono::nanoseconds(24h * 365)}) {
        std::atomic<std::uint32_t> word{0};
        std::atomic<int> sleeps{0};
        std::thread waiter([&] {
            while (word == 0) {
                ++sleeps;
                SleepWhileEqual(word, 0, timeout);
            }
        });
        EXPECT_TRUE(test::WaitUntil([&] { return sleeps > 0; }));
        std::this_thread::sleep_for(20ms);
        word = 1;
        WakeAllOn(word);
        waiter.join();
        EXPECT_LE(sleeps, 3);
    }
}

// Two threads hand a turn to and fro: one wake-up lost, and both wait for good.
TEST(Event, LosesNoWakeUp) {
    constexpr int kTurns = 20000;
    Event ping;
    Event pong;
    ASSERT_TRUE(ping.Create());
    ASSERT_TRUE(pong.Create());
    const auto take = [](Event& mine, Event& other, bool first) {
        for (int turn = 0; turn < kTurns; ++turn) {
            if (!first || turn > 0) {
                if (!mine.WaitFor(kHang)) {
                    return turn;
                }
                mine.Reset();
            }
            other.Set();
        }
        return kTurns;
    };
    auto answers = std::async(std::launch::async, [&] { return take(pong, ping, false); });
    EXPECT_EQ(take(ping, pong, true), kTurns);
    EXPECT_EQ(answers.get(), kTurns);
}

TEST(Event, LetsEveryWaiterPass) {
    for (int round = 0; round < 200; ++round) {
        Event event;
        ASSERT_TRUE(event.Create());
        std::atomic<int> passed{0};
        std::vector<std::thread> waiters;
        for (int i = 0; i < 4; ++i) {
            waiters.emplace_back([&] { passed += event.WaitFor(kHang) ? 1 : 0; });
        }
        event.Set();
        for (std::thread& waiter : waiters) {
            waiter.join();
        }
        ASSERT_EQ(passed, 4);
    }
}

// A round tells nothing when its waiter was not asleep yet.
TEST(Event, LetsItsWaitersGoEvenWhenItIsResetAtOnce) {
    constexpr int kRounds = 20;
    int released = 0;
    for (int round = 0; round < kRounds; ++round) {
        Event event;
        ASSERT_TRUE(event.Create());
        auto waiter = std::async(std::launch::async, [&] { return event.WaitFor(kHang); });
        std::this_thread::sleep_for(10ms);
        event.Set();
        event.Reset();
        released += waiter.wait_for(200ms) == std::future_status::ready ? 1 : 0;
        event.Set();
        EXPECT_TRUE(waiter.get());
    }
    EXPECT_GT(released, kRounds / 4);
}

TEST(Event, LetsEveryWaiterGoWhenItCloses) {
    Event event;
    ASSERT_TRUE(event.Create());
    std::atomic<int> started{0};
    std::vector<std::future<bool>> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.push_back(std::async(std::launch::async, [&] {
            ++started;
            return event.WaitFor(std::chrono::hours(1));
        }));
    }
    ASSERT_TRUE(test::WaitUntil([&] { return started == 3; }));
    event.Close();
    for (auto& waiter : waiters) {
        ASSERT_EQ(waiter.wait_for(kHang), std::future_status::ready);
        EXPECT_FALSE(waiter.get());
    }
}

// Everything at once, for the sanitizers; ends only if the closing lets the waiters go.
TEST(Event, StandsCallsFromAllThreadsWhileItsOwnerOpensAndCloses) {
    Event event;
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            while (!done) {
                event.WaitFor(std::chrono::hours(1));
            }
        });
        threads.emplace_back([&] {
            while (!done) {
                event.Set();
                event.Reset();
                std::this_thread::yield();
            }
        });
    }
    for (int i = 0; i < 500; ++i) {
        ASSERT_TRUE(event.Create());
        std::this_thread::yield();
        event.Close();
    }
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace platform
