#pragma once

#include <lokata2/lock.h>

#include <atomic>
#include <cstdint>

/// How callbacks are held and called. A callback object belongs to the client, who may destroy it
/// at any moment, also while a search on another thread is about to call it. So every callback
/// derives from `EventGenerator`, is kept in a `CallbackHolder` that empties itself when the
/// callback goes, and is called through a `CallbackAccessor` that keeps the going-away waiting
/// until the call ends.
namespace LK_2_13 {

class IEventGeneratorImpl;

enum event_t : std::uint32_t {
    /// The generator is being destroyed, or has been cut off from its handlers.
    evGeneratorGone = 0
};

/// Hears of the end of a generator, on the thread that ends it and inside its locks.
class LOKATA2_EXPORT IEventHandler {
public:
    virtual void event(event_t) = 0;
    virtual ~IEventHandler() = default;
};

namespace internal {
class CallbackLink;
}

/// Base of all callbacks. Its destructor waits until every running call on other threads has ended
/// and empties all holders.
///
/// That happens in the base class, when the derived parts are gone already. A callback that may be
/// destroyed while searches run on other threads calls `disconnectHandlers` first thing in the
/// destructor of its most derived class. Neither may run from within a call of the same callback:
/// it would wait for itself forever. For the same reason a call registers nothing on the context of
/// its callback, or for its client, while another thread may be destroying the callback: do that
/// when the search has returned.
class LOKATA2_EXPORT EventGenerator {
public:
    EventGenerator();
    EventGenerator(EventGenerator const&) = delete;
    EventGenerator& operator=(EventGenerator const&) = delete;
    virtual ~EventGenerator();

    /// The life lock: its shared side is held while the callback is called, its exclusive side
    /// while the callback is cut off. Never null; lives as long as somebody holds it.
    virtual ObjectPtr<ISpinSharedLock> getLock();

protected:
    /// Waits for running calls and empties every holder of this callback. Callable from any thread
    /// that does not run one of these calls.
    void disconnectHandlers() TOOLBELT2_EXCLUDES(m_pLock);

private:
    friend class internal::CallbackLink;

    ObjectPtr<IEventGeneratorImpl> m_pImpl;
    ObjectPtr<ISpinSharedLock> m_pLock;
};

namespace internal {

/// The part of a `CallbackHolder` that does not depend on the callback's type. It keeps the handler
/// list of the callback alive, so that a holder and its callback may be destroyed on two threads at
/// once, and a holder may be copied while the callback of the original goes.
class LOKATA2_EXPORT CallbackLink : public IEventHandler {
public:
    void event(event_t e) override;
    bool hasCallback() const { return m_pCallback.load(std::memory_order_relaxed) != nullptr; }

protected:
    CallbackLink();
    ~CallbackLink() override;

    void set(EventGenerator* callback);
    void set(CallbackLink const& other);
    void detach();

    /// Written by setters and, on any thread, by the going callback under its life lock. Guarded by
    /// no lock: the first look at it comes before any, and the one that counts, under the life
    /// lock, is that of an accessor.
    std::atomic<EventGenerator*> m_pCallback;
    ObjectPtr<ISpinSharedLock> m_pLock;

private:
    ObjectPtr<IEventGeneratorImpl> m_pSource;
};

} // namespace internal

template <class T>
class CallbackAccessor;

/// Keeps a callback without owning it. A holder is empty, or attached to a callback, or orphaned:
/// the callback went, its life lock is still held. A copy listens on its own; a copy of an orphaned
/// holder is empty.
///
/// Set a holder only while no other thread builds an accessor on it.
template <class T>
class CallbackHolder final : public internal::CallbackLink {
public:
    CallbackHolder() = default;
    /// A null callback makes an empty holder.
    explicit CallbackHolder(T* callback) : m_pTyped(callback) { set(callback); }
    CallbackHolder(CallbackHolder const& other) : CallbackLink(), m_pTyped(other.m_pTyped) {
        set(other);
    }
    /// Leaves the handler list first, while the object is still whole: an event may arrive until
    /// then.
    ~CallbackHolder() override { detach(); }

    CallbackHolder& operator=(T* callback) {
        set(callback);
        m_pTyped = callback;
        return *this;
    }
    CallbackHolder& operator=(CallbackHolder const& other) {
        if (this != &other) {
            set(other);
            m_pTyped = other.m_pTyped;
        }
        return *this;
    }

private:
    friend class CallbackAccessor<T>;

    /// The callback by its own type, of use only while `hasCallback`. Written by setters alone: a
    /// cast down from the base would be undefined for a callback whose derived parts are gone.
    T* m_pTyped = nullptr;
};

/// Lives on the stack around one call of a callback and keeps the callback from going away: it
/// holds the callback's life lock shared as long as it lives, and nothing for an empty holder. Test
/// `get` even after `hasCallback` of the holder: the callback may have gone in between.
template <class T>
class TOOLBELT2_SCOPED_CAPABILITY CallbackAccessor {
public:
    explicit CallbackAccessor(CallbackHolder<T>& holder) TOOLBELT2_ACQUIRE_SHARED(holder.m_pLock)
        : m_lock(ObjectPtr<ISpinSharedLock>(holder.m_pLock).get()), m_pHolder(&holder) {}
    ~CallbackAccessor() TOOLBELT2_RELEASE() = default;

    /// The callback, or null if it is gone or the holder was empty.
    T* get() const { return m_pHolder->hasCallback() ? m_pHolder->m_pTyped : nullptr; }

private:
    LKSpinSharedLockWrap m_lock;
    CallbackHolder<T>* m_pHolder;
};

} // namespace LK_2_13
