#include "lk_messages.h"

#include <brace/i18n.h>
#include <optstore2/message_catalog.h>

namespace LK_2_13 {

char const* const VALIDATOR_MESSAGES_CATALOG = "lokata_common";

/// The lock comes before what it guards, so that it goes after it at exit.
LKLock g_messageMgrLock;
ObjectPtr<IMessageMgr> MessageMgr::s_messageMgr;

BRACE_2_18::generic::varg_list prepareArgumentsList() {
    return {};
}

bool putCatalogMessage(IMsgContainer& container, std::string const& key,
                       BRACE_2_18::generic::varg_list const& arguments) {
    auto const* const catalog = optstore2::getMessageCatalog(VALIDATOR_MESSAGES_CATALOG);
    if (catalog == nullptr || catalog->size() == 0)
        return false;
    auto const& message = catalog->message(key);
    if (message.size() == 0)
        return false;
    container.put(message.as_ustring(arguments).c_str());
    return true;
}

/// At exit this runs inside the last release by the very pointer that it sets to null: that takes
/// the count below 0, where nothing is destroyed again.
MessageMgr::~MessageMgr() {
    LKLockWrap const guard(&g_messageMgrLock);
    s_messageMgr = ObjectPtr<IMessageMgr>();
}

ObjectPtr<IMessageMgr> IMessageMgr::create() {
    LKLockWrap const guard(&g_messageMgrLock);
    if (!MessageMgr::s_messageMgr) {
        MessageMgr::s_messageMgr = ObjectPtr<IMessageMgr>(new MessageMgr(&g_messageMgrLock));
        initializeValidationMessages(MessageMgr::s_messageMgr);
    }
    return MessageMgr::s_messageMgr;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
void initializeValidationMessages(ObjectPtr<IMessageMgr> pMgr) {
    if (!pMgr)
        return;
#define LK_MESSAGE_SET(Name, parameters) pMgr->set##Name(new Name(pMgr->get##Name##Lock()));
    LOKATA2_MESSAGES(LK_MESSAGE_SET)
#undef LK_MESSAGE_SET
}

} // namespace LK_2_13
