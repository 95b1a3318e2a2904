#include "lk_event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>

namespace LK_2_13 {
namespace {

class Callback : public EventGenerator {
public:
    using EventGenerator::disconnectHandlers;
    ~Callback() override {
        if (going != nullptr)
            going->set_value();
    }

    std::promise<void>* going = nullptr;
};

using Holder = CallbackHolder<Callback>;
using Accessor = CallbackAccessor<Callback>;

TEST(CallbackHolder, StaysEmptyWhenSetFromNull) {
    Holder holder(nullptr);
    EXPECT_FALSE(holder.hasCallback());
    Accessor const accessor(holder);
    EXPECT_EQ(accessor.get(), nullptr);
}

TEST(CallbackHolder, IsEmptiedByTheEndOfItsCallbackAndKeepsTheLockUsable) {
    auto callback = std::make_unique<Callback>();
    Holder first(callback.get());
    Holder second(first);
    Holder third;
    third = second;
    callback.reset();
    for (Holder* holder : {&first, &second, &third}) {
        EXPECT_FALSE(holder->hasCallback());
        Accessor const accessor(*holder);
        EXPECT_EQ(accessor.get(), nullptr);
    }
}

TEST(CallbackHolder, SetFromAnOrphanBecomesEmpty) {
    auto gone = std::make_unique<Callback>();
    Holder const orphan(gone.get());
    gone.reset();
    Callback other;
    Holder holder(&other);
    holder = orphan;
    EXPECT_FALSE(holder.hasCallback());
    holder = &other;
    EXPECT_TRUE(holder.hasCallback());
}

TEST(CallbackHolder, IgnoresEventsOfAnotherKind) {
    Callback callback;
    Holder holder(&callback);
    holder.event(static_cast<event_t>(1));
    EXPECT_TRUE(holder.hasCallback());
    holder.event(evGeneratorGone);
    EXPECT_FALSE(holder.hasCallback());
}

TEST(EventGenerator, TellsHandlersInOrderAndForgetsThoseThatWentFirst) {
    class Recorder : public IEventHandler {
    public:
        Recorder(std::string& log, char name) : m_log(log), m_name(name) {}
        void event(event_t) override { m_log += m_name; }

    private:
        std::string& m_log;
        char m_name;
    };
    std::string log;
    Recorder a(log, 'a');
    Recorder b(log, 'b');
    Recorder c(log, 'c');
    Callback callback;
    ObjectPtr<IEventGeneratorImpl> const list = IEventGeneratorImpl::create(&callback);
    for (Recorder* handler : {&a, &b, &a, &c})
        list->addHandler(handler);
    list->removeHandler(&a);
    list->removeHandler(nullptr);
    list->disconnectHandlers();
    EXPECT_EQ(log, "bac");
    list->disconnectHandlers();
    EXPECT_EQ(log, "bac") << "handlers are told once";
}

TEST(EventGenerator, WithoutHandlersGoesWithoutItsLifeLock) {
    auto callback = std::make_unique<Callback>();
    ObjectPtr<ISpinSharedLock> const lock = callback->getLock();
    LKSpinSharedLockWrap const held(lock.get());
    callback.reset();
    SUCCEED() << "a wait for the life lock would never have ended";
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
        EXPECT_NE(accessor.get(), nullptr) << "the callback went during its call";
        callEnded = true;
    });
    inCall.get_future().wait();
    callback.reset();
    EXPECT_TRUE(callEnded.load());
    caller.join();
}

TEST(EventGenerator, AndHoldersMayComeAndGoOnTwoThreads) {
    constexpr int rounds = 100;
    for (int round = 0; round < rounds; ++round) {
        auto callback = std::make_unique<Callback>();
        auto holder = std::make_unique<Holder>(callback.get());
        std::thread reader([&] {
            for (int i = 0; i < 5; ++i) {
                Holder copy(*holder);
                Accessor const accessor(copy);
                if (Callback* const alive = accessor.get()) {
                    EXPECT_TRUE(alive->getLock());
                }
            }
            holder.reset();
        });
        callback->disconnectHandlers();
        callback.reset();
        reader.join();
    }
}

} // namespace
} // namespace LK_2_13
