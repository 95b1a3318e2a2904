#pragma once

#include <lokata2/export.h>

#include <toolbelt2/thread_annotations.h>

#include <atomic>

/// The ownership model of the library. Every object that crosses its boundary is counted by itself:
/// `ILKObject` is the root of all interfaces, `RefCountImpl` gives an interface its counter, and
/// `ObjectPtr` holds one reference.
///
/// Factories return `ObjectPtr` by value. A field of type `ObjectPtr` owns one reference, a raw
/// pointer field owns nothing. Parameters come as `ObjectPtr<T> const&`, or as `T&` where the
/// callee uses the object during the call only. A null `ObjectPtr` is an ordinary answer.
///
/// Counters may be changed from any thread. One `ObjectPtr` must not be written by one thread while
/// another uses it.
namespace LK_2_13 {

/// The root of all counted interfaces.
class LOKATA2_EXPORT ILKObject {
public:
    /// Adds a reference; gives the count after the change.
    virtual int addRef() = 0;
    /// Takes a reference away; gives the count after the change. The object destroys itself when
    /// the count falls from 1 to 0. A release on a count of 0 is not tested: the count goes
    /// negative and nothing is destroyed.
    virtual int release() = 0;
    virtual ~ILKObject() = default;
};

/// An exclusive lock.
class TOOLBELT2_CAPABILITY("lock") LOKATA2_EXPORT ILock : public ILKObject {
public:
    /// Blocks until the lock is held by the calling thread.
    virtual void lock() TOOLBELT2_ACQUIRE() = 0;
    /// Once for each `lock`, on the same thread.
    virtual void unlock() TOOLBELT2_RELEASE() = 0;
};

/// Holds a lock for a scope. A null lock does nothing. Takes no reference on the lock.
class TOOLBELT2_SCOPED_CAPABILITY LKLockWrap {
public:
    explicit LKLockWrap(ILock* lock) TOOLBELT2_ACQUIRE(lock) : m_pLock(lock) {
        if (m_pLock != nullptr)
            m_pLock->lock();
    }
    ~LKLockWrap() TOOLBELT2_RELEASE() {
        if (m_pLock != nullptr)
            m_pLock->unlock();
    }
    LKLockWrap(LKLockWrap const&) = delete;
    LKLockWrap& operator=(LKLockWrap const&) = delete;

private:
    ILock* m_pLock;
};

namespace internal {

/// Told when the last reference to an object went away.
class LOKATA2_EXPORT IDeleteObserver {
public:
    virtual void onDelete() = 0;

protected:
    ~IDeleteObserver() = default;
};

/// The counter inside a counted object. Starts at 0. The observer and the lock are not owned; a
/// null lock leaves the atomic change alone to guard the count.
class RefCountHelper {
public:
    RefCountHelper(IDeleteObserver* observer, ILock* lock)
        : m_count(0), m_pObserver(observer), m_pLock(lock) {}
    RefCountHelper(RefCountHelper const&) = delete;
    RefCountHelper& operator=(RefCountHelper const&) = delete;

    int addRef() {
        LKLockWrap const guard(m_pLock);
        return m_count.fetch_add(1) + 1;
    }

    /// With the last reference the object is destroyed inside the call, while the lock is still
    /// held. Nothing of this object is touched after that: the lock is kept in the guard, the count
    /// in a local.
    int release() {
        LKLockWrap const guard(m_pLock);
        int const count = m_count.fetch_sub(1) - 1;
        if (count == 0 && m_pObserver != nullptr)
            m_pObserver->onDelete();
        return count;
    }

private:
    std::atomic<int> m_count;
    IDeleteObserver* m_pObserver;
    ILock* m_pLock;
};

} // namespace internal

/// Gives the interface `T` its counting; the interface's own operations stay abstract until a class
/// supplies them. The count starts at 0 and a new object does not die by that, so a counted object
/// may also live on the stack or as a member, as long as nobody brings its count from 1 to 0.
///
/// A lock given to the constructor is taken around each change of the count. It must be recursive
/// if the object's destructor takes it too, since the destructor then runs inside it.
template <class T>
class RefCountImpl : public T, public internal::IDeleteObserver {
public:
    RefCountImpl() : m_refCount(this, nullptr) {}
    explicit RefCountImpl(ILock* lock) : m_refCount(this, lock) {}
    RefCountImpl(RefCountImpl const&) = delete;
    RefCountImpl& operator=(RefCountImpl const&) = delete;

    int addRef() override { return m_refCount.addRef(); }
    int release() override { return m_refCount.release(); }
    ~RefCountImpl() override = default;
    void onDelete() override { delete this; }

private:
    internal::RefCountHelper m_refCount;
};

/// Holds one reference to a counted object, or null.
///
/// Assignment has a fixed order: the old object is released first, then the new pointer is stored,
/// then it gets its reference. Assigning the pointer that is already held does nothing. So an
/// object that is kept alive only by the one that is being released must be held elsewhere first.
template <class T>
class ObjectPtr {
public:
    ObjectPtr() : m_pObject(nullptr) {}
    ObjectPtr(T* object) : m_pObject(object) { acquire(); }
    ObjectPtr(ObjectPtr const& other) : m_pObject(other.m_pObject) { acquire(); }
    ObjectPtr(ObjectPtr&& other) noexcept : m_pObject(other.m_pObject) {
        other.m_pObject = nullptr;
    }
    /// From a pointer to a class that derives from `T`.
    template <class U>
    ObjectPtr(ObjectPtr<U> const& other) : m_pObject(other.get()) {
        acquire();
    }
    virtual ~ObjectPtr() { drop(); }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): sameness of the pointers is what counts
    ObjectPtr& operator=(ObjectPtr const& other) {
        if (m_pObject == other.m_pObject)
            return *this;
        T* const object = other.m_pObject;
        drop();
        m_pObject = object;
        acquire();
        return *this;
    }

    T* get() const { return m_pObject; }
    T* operator->() const { return m_pObject; }
    T& operator*() const { return *m_pObject; }
    explicit operator bool() const { return m_pObject != nullptr; }

private:
    void acquire() {
        if (m_pObject != nullptr)
            m_pObject->addRef();
    }

    void drop() {
        if (m_pObject != nullptr)
            m_pObject->release();
        m_pObject = nullptr;
    }

    T* m_pObject;
};

} // namespace LK_2_13
