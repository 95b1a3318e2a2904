#include "lk_event.h"

#include <algorithm>

namespace LK_2_13 {

ObjectPtr<IEventGeneratorImpl> IEventGeneratorImpl::create(EventGenerator* generator) {
    return new EventGeneratorImpl(generator);
}

EventGeneratorImpl::EventGeneratorImpl(EventGenerator* generator) : m_pGenerator(generator) {}

EventGeneratorImpl::~EventGeneratorImpl() {
    EventGeneratorImpl::disconnectHandlers();
}

void EventGeneratorImpl::addHandler(IEventHandler* handler) {
    // The client's answer may need locks of its own, so it is asked for before ours is taken.
    ObjectPtr<ISpinSharedLock> const lifeLock = m_pGenerator->getLock();
    LKLockWrap const guard(&m_handlersLock);
    if (!m_pLock)
        m_pLock = lifeLock;
    m_handlers.push_back(handler);
}

void EventGeneratorImpl::removeHandler(IEventHandler* handler) {
    LKLockWrap const guard(&m_handlersLock);
    auto const position = std::find(m_handlers.begin(), m_handlers.end(), handler);
    if (position != m_handlers.end())
        m_handlers.erase(position);
}

void EventGeneratorImpl::disconnectHandlers() {
    LKLockWrap const guard(&m_handlersLock);
    LKLockWrap const lifeGuard(m_pLock.get());
    event(evGeneratorGone);
    m_handlers.clear();
}

void EventGeneratorImpl::event(event_t e) {
    LKLockWrap const guard(&m_handlersLock);
    for (IEventHandler* const handler : m_handlers)
        handler->event(e);
}

EventGenerator::EventGenerator()
    : m_pImpl(IEventGeneratorImpl::create(this)), m_pLock(new LKSpinSharedLock) {}

EventGenerator::~EventGenerator() {
    m_pImpl->disconnectHandlers();
}

ObjectPtr<ISpinSharedLock> EventGenerator::getLock() {
    return m_pLock;
}

void EventGenerator::disconnectHandlers() {
    m_pImpl->disconnectHandlers();
}

namespace internal {

CallbackLink::CallbackLink() : m_pCallback(nullptr) {}

CallbackLink::~CallbackLink() {
    detach();
}

void CallbackLink::event(event_t e) {
    if (e == evGeneratorGone)
        m_pCallback.store(nullptr, std::memory_order_relaxed);
}

void CallbackLink::set(EventGenerator* callback) {
    detach();
    if (callback == nullptr)
        return;
    m_pSource = callback->m_pImpl;
    m_pCallback.store(callback, std::memory_order_relaxed);
    m_pSource->addHandler(this);
    m_pLock = callback->getLock();
}

/// The callback of the other holder may go at this moment. It empties its holders under the lock of
/// its handler list, so under that lock it is either still whole or already gone from the other
/// holder. The old callback is let go before, so that two such locks are never nested.
void CallbackLink::set(CallbackLink const& other) {
    detach();
    ObjectPtr<IEventGeneratorImpl> const source = other.m_pSource;
    if (!source)
        return;
    LKLockWrap const guard(source->handlersLock());
    set(other.m_pCallback.load(std::memory_order_relaxed));
}

void CallbackLink::detach() {
    if (m_pSource)
        m_pSource->removeHandler(this);
    m_pSource = ObjectPtr<IEventGeneratorImpl>();
    m_pCallback.store(nullptr, std::memory_order_relaxed);
    m_pLock = ObjectPtr<ISpinSharedLock>();
}

} // namespace internal
} // namespace LK_2_13
