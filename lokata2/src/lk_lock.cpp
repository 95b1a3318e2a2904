#include "lk_lock.h"

#include <unistd.h>

namespace LK_2_13 {

namespace {

constexpr useconds_t c_pollIntervalMicroseconds = 10000;

} // namespace

LKLock::LKLock() {
    pthread_mutexattr_init(&m_attr);
    pthread_mutexattr_settype(&m_attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &m_attr);
}

LKLock::~LKLock() {
    pthread_mutex_destroy(&m_mutex);
    pthread_mutexattr_destroy(&m_attr);
}

void LKLock::lock() {
    pthread_mutex_lock(&m_mutex);
}

void LKLock::unlock() {
    pthread_mutex_unlock(&m_mutex);
}

bool LKSpinSharedLock::tryEnter(bool shared) {
    auto const isOpen = [&] {
        std::int32_t const counter = m_counter.load(std::memory_order_relaxed);
        return shared ? counter >= 0 : counter <= 0;
    };
    if (!isOpen())
        return false;
    LKLockWrap const guard(&m_counterLock);
    if (!isOpen())
        return false;
    m_counter.fetch_add(shared ? 1 : -1, std::memory_order_relaxed);
    return true;
}

void LKSpinSharedLock::sharedLock() {
    while (!tryEnter(true))
        usleep(c_pollIntervalMicroseconds);
}

void LKSpinSharedLock::sharedUnlock() {
    LKLockWrap const guard(&m_counterLock);
    m_counter.fetch_sub(1, std::memory_order_relaxed);
}

void LKSpinSharedLock::lock() {
    while (!tryEnter(false))
        usleep(c_pollIntervalMicroseconds);
    m_exclusiveLock.lock();
}

/// The mutex goes first: a reader may start only when the writer has left the critical section.
void LKSpinSharedLock::unlock() {
    m_exclusiveLock.unlock();
    LKLockWrap const guard(&m_counterLock);
    m_counter.fetch_add(1, std::memory_order_relaxed);
}

} // namespace LK_2_13
