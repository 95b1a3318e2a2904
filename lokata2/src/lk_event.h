#pragma once

#include <lokata2/event.h>

#include "lk_lock.h"

#include <vector>

namespace LK_2_13 {

/// The handler list of one generator. Holders keep it alive beyond the generator, so that a holder
/// may be destroyed or copied while the generator goes.
class IEventGeneratorImpl : public ILKObject {
public:
    static ObjectPtr<IEventGeneratorImpl> create(EventGenerator* generator);

    virtual void addHandler(IEventHandler* handler) = 0;
    /// Quiet for a handler that is not listed.
    virtual void removeHandler(IEventHandler* handler) = 0;
    /// Waits until no accessor holds the life lock, tells every handler that the generator went,
    /// and forgets them.
    virtual void disconnectHandlers() = 0;
    virtual void event(event_t e) = 0;
    /// Guards the list, and is held while handlers are told; recursive.
    virtual ILock* handlersLock() = 0;
};

class EventGeneratorImpl : public RefCountImpl<IEventGeneratorImpl> {
public:
    explicit EventGeneratorImpl(EventGenerator* generator);
    ~EventGeneratorImpl() override;

    void addHandler(IEventHandler* handler) override;
    void removeHandler(IEventHandler* handler) override;
    void disconnectHandlers() override;
    void event(event_t e) override;
    ILock* handlersLock() override TOOLBELT2_RETURN_CAPABILITY(m_handlersLock) {
        return &m_handlersLock;
    }

private:
    /// In the order of adding; not owned. One handler may stand twice.
    std::vector<IEventHandler*> m_handlers TOOLBELT2_GUARDED_BY(m_handlersLock);
    EventGenerator* const m_pGenerator;
    /// The life lock of the generator; null until the first handler came, so that a generator that
    /// nobody listens to goes without touching it.
    ObjectPtr<ISpinSharedLock> m_pLock TOOLBELT2_GUARDED_BY(m_handlersLock);
    /// Always taken before the life lock.
    LKLock m_handlersLock;
};

} // namespace LK_2_13
