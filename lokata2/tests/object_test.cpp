#include <lokata2/object.h>

#include "lk_lock.h"

#include <gtest/gtest.h>

#include <string>

namespace LK_2_13 {
namespace {

class Probe : public RefCountImpl<ILKObject> {
public:
    explicit Probe(std::string& log, ILock* lock = nullptr)
        : RefCountImpl<ILKObject>(lock), m_log(log) {}
    ~Probe() override { m_log += "gone "; }

private:
    std::string& m_log;
};

class LoggingLock : public RefCountImpl<ILock> {
public:
    explicit LoggingLock(std::string& log) : m_log(log) {}
    void lock() override { m_log += "lock "; }
    void unlock() override { m_log += "unlock "; }

private:
    std::string& m_log;
};

TEST(ObjectPtr, EndsTheObjectWithItsLastReferenceOnly) {
    std::string log;
    {
        ObjectPtr<ILKObject> const first(new Probe(log));
        EXPECT_EQ(first->addRef(), 2);
        EXPECT_EQ(first->release(), 1);
        { ObjectPtr<ILKObject> const second(first); }
        EXPECT_EQ(log, "");
    }
    EXPECT_EQ(log, "gone ");
}

TEST(ObjectPtr, AssignmentToItselfKeepsTheCount) {
    std::string log;
    ObjectPtr<ILKObject> pointer(new Probe(log));
    ObjectPtr<ILKObject> const& same = pointer;
    pointer = same;
    EXPECT_EQ(pointer->addRef(), 2);
    pointer->release();
}

TEST(ObjectPtr, AssignmentReleasesTheOldObjectBeforeItCountsTheNew) {
    std::string log;
    struct Counted : Probe {
        using Probe::Probe;
        std::string* events = nullptr;
        int addRef() override {
            if (events != nullptr)
                *events += "added ";
            return Probe::addRef();
        }
    };
    ObjectPtr<ILKObject> pointer(new Probe(log));
    auto* const next = new Counted(log);
    ObjectPtr<ILKObject> const keeper(next);
    next->events = &log;
    pointer = keeper;
    EXPECT_EQ(log, "gone added ");
}

TEST(RefCount, LeavesAnObjectOnTheStackAlone) {
    std::string log;
    {
        Probe probe(log);
        EXPECT_EQ(probe.release(), -1) << "a release on a count of 0 deletes nothing";
        EXPECT_EQ(probe.addRef(), 0);
        EXPECT_EQ(log, "");
    }
    EXPECT_EQ(log, "gone ");
}

TEST(RefCount, TakesItsLockAroundEachChangeAndKeepsItThroughTheDestructor) {
    std::string log;
    LoggingLock lock(log);
    { ObjectPtr<ILKObject> const pointer(new Probe(log, &lock)); }
    EXPECT_EQ(log, "lock unlock lock gone unlock ");
}

} // namespace
} // namespace LK_2_13
