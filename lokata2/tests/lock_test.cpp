#include "lk_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace LK_2_13 {
namespace {

TEST(LockWraps, DoNothingForANullLock) {
    LKLockWrap const exclusive(nullptr);
    LKSpinSharedLockWrap const shared(nullptr);
    SUCCEED();
}

TEST(Lock, IsRecursiveAndFreeAfterAsManyUnlocks) {
    LKLock lock;
    lock.lock();
    lock.lock();
    lock.unlock();
    lock.unlock();
    std::thread([&] { LKLockWrap const guard(&lock); }).join();
}

TEST(SpinSharedLock, LetsReadersInTogetherAndAWriterOnlyAfterTheLast) {
    LKSpinSharedLock lock;
    std::atomic<int> readers{2};
    lock.sharedLock();
    lock.sharedLock();
    std::promise<void> started;
    std::thread writer([&] {
        started.set_value();
        lock.lock();
        EXPECT_EQ(readers.load(), 0);
        lock.unlock();
    });
    started.get_future().wait();
    --readers;
    lock.sharedUnlock();
    --readers;
    lock.sharedUnlock();
    writer.join();
    LKSpinSharedLockWrap const free(&lock);
}

TEST(SpinSharedLock, LetsAWriterInAgainOnItsOwnThread) {
    LKSpinSharedLock lock;
    lock.lock();
    lock.lock();
    lock.unlock();
    std::atomic<bool> written{false};
    std::thread reader([&] {
        LKSpinSharedLockWrap const guard(&lock);
        EXPECT_TRUE(written.load()) << "one unlock of two must not let a reader in";
    });
    written = true;
    lock.unlock();
    reader.join();
}

TEST(SpinSharedLock, GuardsPlainDataAgainstManyReadersAndWriters) {
    constexpr int writers = 3;
    constexpr int rounds = 20;
    LKSpinSharedLock lock;
    int first = 0;
    int second = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < writers; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                LKLockWrap const guard(&lock);
                ++first;
                ++second;
            }
        });
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                LKSpinSharedLockWrap const guard(&lock);
                EXPECT_EQ(first, second);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    LKSpinSharedLockWrap const guard(&lock);
    EXPECT_EQ(first, writers * rounds);
}

} // namespace
} // namespace LK_2_13
