#pragma once

#include <toolbelt2/thread_annotations.h>

#include <mutex>

namespace toolbelt2 {

/// A std::mutex that the thread-safety analysis follows. Not recursive.
class TOOLBELT2_CAPABILITY("mutex") mutex_t {
public:
    void lock() TOOLBELT2_ACQUIRE() { m_mutex.lock(); }
    /// On the thread that has locked it.
    void unlock() TOOLBELT2_RELEASE() { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

/// Holds a mutex for a scope.
class TOOLBELT2_SCOPED_CAPABILITY mutex_guard_t {
public:
    explicit mutex_guard_t(mutex_t& mutex) TOOLBELT2_ACQUIRE(mutex) : m_mutex(mutex) {
        m_mutex.lock();
    }
    ~mutex_guard_t() TOOLBELT2_RELEASE() { m_mutex.unlock(); }
    mutex_guard_t(mutex_guard_t const&) = delete;
    mutex_guard_t& operator=(mutex_guard_t const&) = delete;

private:
    mutex_t& m_mutex;
};

} // namespace toolbelt2
