#pragma once

#include <lokata2/object.h>

namespace LK_2_13 {

/// A lock with a shared side beside the exclusive one of `ILock`. Waiters poll every 10
/// milliseconds; there is no time-out and no turn-taking, so a steady stream of shared holders can
/// keep a writer waiting. Upgrades and downgrades do not exist: a thread that holds one side and
/// asks for the other waits forever.
class TOOLBELT2_CAPABILITY("shared lock") LOKATA2_EXPORT ISpinSharedLock : public ILock {
public:
    /// Blocks until the calling thread is one of the shared holders.
    virtual void sharedLock() TOOLBELT2_ACQUIRE_SHARED() = 0;
    /// Once for each `sharedLock`, on any thread.
    virtual void sharedUnlock() TOOLBELT2_RELEASE_SHARED() = 0;
};

/// Holds the shared side of a lock for a scope. A null lock does nothing. Takes no reference.
class TOOLBELT2_SCOPED_CAPABILITY LKSpinSharedLockWrap {
public:
    explicit LKSpinSharedLockWrap(ISpinSharedLock* lock) TOOLBELT2_ACQUIRE_SHARED(lock)
        : m_pLock(lock) {
        if (m_pLock != nullptr)
            m_pLock->sharedLock();
    }
    ~LKSpinSharedLockWrap() TOOLBELT2_RELEASE() {
        if (m_pLock != nullptr)
            m_pLock->sharedUnlock();
    }
    LKSpinSharedLockWrap(LKSpinSharedLockWrap const&) = delete;
    LKSpinSharedLockWrap& operator=(LKSpinSharedLockWrap const&) = delete;

private:
    ISpinSharedLock* m_pLock;
};

} // namespace LK_2_13
