#include "lk_messages.h"

#include "support/message_directory.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using namespace LK_2_13;

template <class Message>
std::string rendered(Message& message, bool (Message::*fill)(IMsgContainer&, char const*),
                     char const* fileName = "/a") {
    MsgContainer container;
    return (message.*fill)(container, fileName) ? container.get() : "nothing";
}

template <class Message>
std::string rendered(Message& message, bool (Message::*fill)(IMsgContainer&)) {
    MsgContainer container;
    return (message.*fill)(container) ? container.get() : "nothing";
}

TEST(MsgContainer, GivesNullForNothingAndForTheEmptyText) {
    MsgContainer container;
    EXPECT_EQ(container.get(), nullptr);
    container.put("first");
    container.put("second");
    EXPECT_STREQ(container.get(), "second");
    container.put("");
    EXPECT_EQ(container.get(), nullptr);
}

TEST(Messages, ComeFromTheCatalogueThatIsThereAtTheCall) {
    test::MessageDirectory const directory;
    ObjectPtr<IMessageMgr> const manager = IMessageMgr::create();
    ObjectPtr<IFileDoesNotExistMessage> const message = manager->getFileDoesNotExistMessage();
    auto const fill = &IFileDoesNotExistMessage::fillMessage;

    MsgContainer container;
    container.put("as it was");
    EXPECT_FALSE(message->fillMessage(container, "/a"));
    EXPECT_STREQ(container.get(), "as it was");

    directory.putCommonCatalog(R"({"FileDoesNotExist": "no {arg1}!", "SizeMismatch": "plain",
                                   "FileIsDirectory": "{arg1} stays", "SrcChecksumMismatch": ""})");
    EXPECT_EQ(rendered(*message, fill, "/a{arg1}"), "no /a{arg1}!");
    EXPECT_EQ(rendered(*message, fill, ""), "no !");
    EXPECT_EQ(rendered(*message, fill, nullptr), "no !");
    EXPECT_TRUE(manager->getSizeMismatchMessage()->fillMessage(container, "/a"));
    EXPECT_STREQ(container.get(), "plain");
    EXPECT_TRUE(manager->getFileIsDirectoryMessage()->fillMessage(container));
    EXPECT_STREQ(container.get(), "{arg1} stays");
    EXPECT_FALSE(manager->getSrcChecksumMismatchMessage()->fillMessage(container, "/a"));
    EXPECT_FALSE(manager->getFileIsNotRegularMessage()->fillMessage(container, "/a"));
    EXPECT_STREQ(container.get(), "{arg1} stays");
}

TEST(Messages, StandAllInTheShippedCatalogueUnderTheirOwnKeys) {
    ObjectPtr<IMessageMgr> const manager = IMessageMgr::create();
    std::set<std::string> texts;
#define LK_RENDER(Name, parameters)                                                                \
    texts.insert(rendered(*manager->get##Name(), &I##Name::fillMessage));
    LOKATA2_MESSAGES(LK_RENDER)
#undef LK_RENDER
    EXPECT_EQ(texts.size(), 15U);
    EXPECT_EQ(texts.count("nothing"), 0U);
}

/// Of a client: tells how it is counted.
class OwnMessage : public RefCountImpl<IFileDoesNotExistMessage> {
public:
    bool fillMessage(IMsgContainer& container, char const*) override {
        container.put("mine");
        return true;
    }
    int addRef() override { return m_count = RefCountImpl::addRef(); }
    int release() override { return m_count = RefCountImpl::release(); }
    void onDelete() override {}

    int m_count = 0;
};

TEST(MessageMgr, IsOneForTheProcessAndKeepsWhatAClientSets) {
    ObjectPtr<IMessageMgr> const first = IMessageMgr::create();
    ObjectPtr<IMessageMgr> const second = IMessageMgr::create();
    EXPECT_EQ(first, second);
    EXPECT_EQ(first->getFileDoesNotExistMessageLock(), nullptr);

    ObjectPtr<IFileDoesNotExistMessage> const original = first->getFileDoesNotExistMessage();
    OwnMessage own;
    first->setFileDoesNotExistMessage(ObjectPtr<IFileDoesNotExistMessage>(&own));
    first->setFileDoesNotExistMessage(ObjectPtr<IFileDoesNotExistMessage>(&own));
    EXPECT_EQ(own.m_count, 1);
    EXPECT_EQ(
        rendered(*second->getFileDoesNotExistMessage(), &IFileDoesNotExistMessage::fillMessage),
        "mine");
    second->setFileDoesNotExistMessage(original);
    EXPECT_EQ(own.m_count, 0);
}

} // namespace
