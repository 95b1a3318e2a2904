#pragma once

#include <lokata2/messages.h>

#include "lk_lock.h"

#include <brace/varg_list.h>

#include <string>

namespace LK_2_13 {

/// For a message without placeholders.
BRACE_2_18::generic::varg_list prepareArgumentsList();

/// Renders the message of that key in the catalogue of the validation messages. False, with the
/// container as it was, if there is no catalogue or no such message. Nothing is kept between calls,
/// so that a catalogue that becomes available late is used from then on.
bool putCatalogMessage(IMsgContainer& container, std::string const& key,
                       BRACE_2_18::generic::varg_list const& arguments);

/// A message from the catalogue. The one form is for messages that name the file, as "arg1", the
/// other for those that do not.
template <class Interface, class FillMessage = decltype(&Interface::fillMessage)>
class CatalogMessage;

template <class Interface>
class CatalogMessage<Interface, bool (Interface::*)(IMsgContainer&, char const*)>
    : public RefCountImpl<Interface> {
public:
    explicit CatalogMessage(ILock* lock) : RefCountImpl<Interface>(lock) {}
    bool fillMessage(IMsgContainer& container, char const* fileName) override {
        using BRACE_2_18::generic::varg_list;
        return putCatalogMessage(container, key(), varg_list::with_first({"arg1", fileName}));
    }

private:
    virtual std::string key() const = 0;
};

template <class Interface>
class CatalogMessage<Interface, bool (Interface::*)(IMsgContainer&)>
    : public RefCountImpl<Interface> {
public:
    explicit CatalogMessage(ILock* lock) : RefCountImpl<Interface>(lock) {}
    bool fillMessage(IMsgContainer& container) override {
        return putCatalogMessage(container, key(), prepareArgumentsList());
    }

private:
    virtual std::string key() const = 0;
};

/// The key in the catalogue is the name of the class without its last word.
#define LK_MESSAGE_CLASS(Name, parameters)                                                         \
    class Name : public CatalogMessage<I##Name> { /* NOLINT(bugprone-macro-parentheses) */         \
    public:                                                                                        \
        using CatalogMessage::CatalogMessage;                                                      \
                                                                                                   \
    private:                                                                                       \
        std::string key() const override {                                                         \
            return std::string(#Name, sizeof(#Name) - sizeof("Message"));                          \
        }                                                                                          \
    };
LOKATA2_MESSAGES(LK_MESSAGE_CLASS)
#undef LK_MESSAGE_CLASS

/// Guards the manager of the process and its counter. Recursive, as the last release runs the
/// manager's destructor inside it.
extern LKLock g_messageMgrLock;

class MessageMgr : public RefCountImpl<IMessageMgr> {
public:
    explicit MessageMgr(ILock* lock) : RefCountImpl<IMessageMgr>(lock) {}
    ~MessageMgr() override;

#define LK_MESSAGE_ACCESSORS(Name, parameters)                                                     \
    void set##Name(ObjectPtr<I##Name> message) override {                                          \
        m_p##Name = message;                                                                       \
    }                                                                                              \
    ObjectPtr<I##Name> get##Name() override {                                                      \
        return m_p##Name;                                                                          \
    }
    LOKATA2_MESSAGES(LK_MESSAGE_ACCESSORS)
#undef LK_MESSAGE_ACCESSORS

private:
    friend class IMessageMgr;

    /// Keeps the manager, with what clients have set in it, until the library is unloaded.
    static ObjectPtr<IMessageMgr> s_messageMgr TOOLBELT2_GUARDED_BY(g_messageMgrLock);

    // Replaced in the set-up phase alone, so no lock guards these.
#define LK_MESSAGE_FIELD(Name, parameters) ObjectPtr<I##Name> m_p##Name;
    LOKATA2_MESSAGES(LK_MESSAGE_FIELD)
#undef LK_MESSAGE_FIELD
};

} // namespace LK_2_13
