#pragma once

#include <lokata2/lock.h>

#include <atomic>
#include <cstdint>

#include <pthread.h>

namespace LK_2_13 {

/// A recursive mutex. May be a plain member or a static object, which nobody counts.
class LKLock : public RefCountImpl<ILock> {
public:
    LKLock();
    ~LKLock() override;
    void lock() override TOOLBELT2_ACQUIRE();
    void unlock() override TOOLBELT2_RELEASE();

private:
    pthread_mutexattr_t m_attr;
    pthread_mutex_t m_mutex;
};

/// Guards what is read often and changed rarely. The decision to enter is always taken under
/// `m_counterLock`, which is never held across a sleep nor while `m_exclusiveLock` is taken.
class LKSpinSharedLock : public RefCountImpl<ISpinSharedLock> {
public:
    void lock() override TOOLBELT2_ACQUIRE();
    void unlock() override TOOLBELT2_RELEASE();
    void sharedLock() override TOOLBELT2_ACQUIRE_SHARED();
    void sharedUnlock() override TOOLBELT2_RELEASE_SHARED();

private:
    bool tryEnter(bool shared);

    /// Taken around every change of `m_counter`.
    LKLock m_counterLock;
    /// Above 0: that many shared holders. Below 0: that many writers hold or wait for
    /// `m_exclusiveLock`. Read without the lock only to decide whether to go on polling, hence a
    /// relaxed atomic that is not said to be guarded.
    std::atomic<std::int32_t> m_counter{0};
    LKLock m_exclusiveLock;
};

} // namespace LK_2_13
