// The order of the module's locks, as every test run checks it.
#include <gtest/gtest.h>

#include "base/lock.h"

namespace {

using namespace cam;

// The locks of one module.
struct Module {
    const lock_order::Domain domain{this, sizeof *this};
    ReentrantLock first{LockRank::Connection, "first lock"};
    Lock second{LockRank::Camera, "second lock"};
    Lock equal{LockRank::Camera, "equal lock"};
};

class LockOrder : public testing::Test {
  protected:
    void SetUp() override {
        if (!lock_order::kChecked) {
            GTEST_SKIP();
        }
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }

    Module module;
};

TEST_F(LockOrder, ALockTakenAgainstItEndsTheProcessWithBothNames) {
    EXPECT_DEATH(
        {
            const LockGuard later(module.second);
            const LockGuard earlier(module.first);
        },
        "\"first lock\" while holding \"second lock\"");
    EXPECT_DEATH(
        {
            const LockGuard one(module.second);
            const LockGuard other(module.equal);
        },
        "\"equal lock\" while holding \"second lock\"");
    EXPECT_DEATH(
        {
            const LockGuard once(module.second);
            const LockGuard again(module.second);
        },
        "\"second lock\" while holding \"second lock\"");
}

TEST_F(LockOrder, AllowsWhatCannotWaitForEver) {
    const LockGuard earlier(module.first);
    const LockGuard later(module.second);
    const LockGuard again(module.first);  // re-entrant
    ASSERT_TRUE(module.equal.try_lock());
    module.equal.unlock();
    Module another;  // there is no order between two modules
    const LockGuard others(another.first);
}

TEST_F(LockOrder, ForgetsWhatWasReleased) {
    module.first.lock();
    module.second.lock();
    module.first.unlock();  // not the one that was taken last
    EXPECT_DEATH(module.first.lock(), "\"first lock\" while holding \"second lock\"");
    module.second.unlock();
    const LockGuard earlier(module.first);
}

}  // namespace
