#include "platform/named_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "tests/platform/support.h"

namespace platform {
namespace {

TEST(NamedMutex, AdmitsOneThreadAtATime) {
    const std::string name = "Test_" + test::UniqueWord();
    std::atomic<int> inside{0};
    std::atomic<int> collisions{0};
    std::atomic<int> owned{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 100; ++k) {
                const NamedMutexHold hold(name);
                owned += hold.Owned() ? 1 : 0;
                collisions += inside++ == 0 ? 0 : 1;
                std::this_thread::yield();
                --inside;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(owned, 400);
    EXPECT_EQ(collisions, 0);
}

TEST(NamedMutex, PassesOnWhenTheProcessThatHoldsItDies) {
    const test::TemporaryFolder folder;
    const std::string name = "Test_" + test::UniqueWord();
    const auto sign = folder.Path() / "held";
    auto holder = std::async(std::launch::async, [&] {
        return test::RunHelper({"hold-mutex", name, sign.string()});
    });
    ASSERT_TRUE(test::WaitUntil([&] { return std::filesystem::exists(sign); }));

    std::atomic<bool> holderDies{false};
    auto waiter = std::async(std::launch::async, [&] {
        const NamedMutexHold hold(name);
        return hold.Owned() && holderDies;
    });
    EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout)
        << "two processes hold the mutex";
    holderDies = true;
    // The holder may be reading the sign, which Windows takes for a reason not to remove it.
    EXPECT_TRUE(test::WaitUntil([&] {
        std::error_code error;
        return std::filesystem::remove(sign, error);
    }));
    ASSERT_EQ(waiter.wait_for(test::kHang), std::future_status::ready);
    EXPECT_TRUE(waiter.get());
    EXPECT_EQ(holder.get(), 0);
}

}  // namespace
}  // namespace platform
