#include "lk_event.h"
#include "lk_lock.h"
#include "on_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <thread>

namespace LK_2_13 {
namespace {

/// The analysis of locks takes none for recursive.
template <class TGuard, class TLock>
void letsItsOwnThreadInAgain(TLock& lock) TOOLBELT2_NO_THREAD_SAFETY_ANALYSIS {
    lock.lock();
    lock.lock();
    lock.unlock();
    std::atomic<bool> left{false};
    std::promise<void> started;
    std::thread other([&] {
        started.set_value();
        TGuard const guard(&lock);
        EXPECT_TRUE(left.load()) << "one unlock of two must not let another thread in";
    });
    started.get_future().wait();
    for (int turn = 0; turn < 1000; ++turn)
        std::this_thread::yield();
    left = true;
    lock.unlock();
    other.join();
}

TEST(Locks, LetTheirOwnThreadInAgain) {
    LKLock lock;
    letsItsOwnThreadInAgain<LKLockWrap>(lock);
    LKSpinSharedLock shared;
    letsItsOwnThreadInAgain<LKLockWrap>(shared);
    letsItsOwnThreadInAgain<LKSpinSharedLockWrap>(shared);
    LKLockWrap const none(nullptr);
}

TEST(SpinSharedLock, LetsReadersInTogetherAndAWriterOnlyAfterTheLast) {
    LKSpinSharedLock lock;
    std::atomic<int> readers{2};
    std::optional<LKSpinSharedLockWrap> first(std::in_place, &lock);
    std::optional<LKSpinSharedLockWrap> second(std::in_place, &lock);
    std::promise<void> started;
    std::thread writer([&] {
        started.set_value();
        lock.lock();
        EXPECT_EQ(readers.load(), 0);
        lock.unlock();
    });
    started.get_future().wait();
    --readers;
    first.reset();
    --readers;
    second.reset();
    writer.join();
    LKSpinSharedLockWrap const free(&lock);
}

TEST(SpinSharedLock, GuardsPlainDataAgainstManyReadersAndWriters) {
    constexpr int c_rounds = 20;
    LKSpinSharedLock lock;
    int first = 0;
    int second = 0;
    onThreads(4, [&](int) {
        for (int round = 0; round < c_rounds; ++round) {
            {
                LKLockWrap const guard(&lock);
                ++first;
                ++second;
            }
            LKSpinSharedLockWrap const guard(&lock);
            EXPECT_EQ(first, second);
        }
    });
    EXPECT_EQ(first, 4 * c_rounds);
}

class Callback : public EventGenerator {
public:
    ~Callback() override {
        if (going != nullptr)
            going->set_value();
    }

    std::promise<void>* going = nullptr;
};

using Holder = CallbackHolder<Callback>;
using Accessor = CallbackAccessor<Callback>;

TEST(CallbackHolder, IsEmptiedByTheEndOfItsCallbackAndKeepsTheLockUsable) {
    auto callback = std::make_unique<Callback>();
    Holder first(callback.get());
    Holder second(first);
    Holder third(nullptr);
    EXPECT_FALSE(third.hasCallback());
    third = second;
    third.event(static_cast<event_t>(1));
    EXPECT_TRUE(third.hasCallback()) << "an event of another kind means nothing";
    callback.reset();
    for (Holder* holder : {&first, &second, &third})
        EXPECT_EQ(Accessor(*holder).get(), nullptr);
}

TEST(EventGenerator, GuardsItsListOfHolders) {
    Callback callback;
    Holder one(nullptr);
    Holder other(nullptr);
    EventGeneratorImpl handlers(&callback);
    atOnce({[&] { handlers.addHandler(&one); }, [&] { handlers.addHandler(&other); },
            [&] { handlers.removeHandler(&one); }, [&] { handlers.event(static_cast<event_t>(1)); },
            [&] { handlers.disconnectHandlers(); }});
}

/// Is asked for its lock by whoever attaches to it.
class AskedCallback : public Callback {
public:
    ~AskedCallback() override { disconnectHandlers(); }
    ObjectPtr<ISpinSharedLock> getLock() override {
        if (on_lock)
            on_lock();
        return Callback::getLock();
    }
    std::function<void()> on_lock;
};

TEST(EventGenerator, IsNotGoneWhileAHolderIsCopied) {
    auto callback = std::make_unique<AskedCallback>();
    CallbackHolder<AskedCallback> const original(callback.get());
    std::thread goes;
    callback->on_lock = [&] {
        if (goes.joinable())
            return;
        std::promise<void> started;
        goes = std::thread([&, going = std::move(callback)]() mutable {
            started.set_value();
            going.reset();
        });
        started.get_future().wait();
        for (int turn = 0; turn < 1000; ++turn)
            std::this_thread::yield();
    };
    CallbackHolder<AskedCallback> copy;
    copy = original;
    goes.join();
    EXPECT_FALSE(copy.hasCallback());
}

TEST(EventGenerator, WaitsForARunningCallBeforeItGoes) {
    auto callback = std::make_unique<Callback>();
    Holder holder(callback.get());
    std::atomic<bool> callEnded{false};
    std::promise<void> inCall;
    std::promise<void> going;
    callback->going = &going;
    std::thread caller([&] {
        Accessor const accessor(holder);
        ASSERT_NE(accessor.get(), nullptr);
        inCall.set_value();
        going.get_future().wait();
        for (int turn = 0; turn < 1000; ++turn)
            std::this_thread::yield();
        EXPECT_NE(accessor.get(), nullptr) << "the callback went during its call";
        callEnded = true;
    });
    inCall.get_future().wait();
    callback.reset();
    EXPECT_TRUE(callEnded.load());
    caller.join();
}

} // namespace
} // namespace LK_2_13
