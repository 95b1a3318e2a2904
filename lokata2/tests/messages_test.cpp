#include "lk_messages.h"

#include "support/message_directory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace LK_2_13;

std::string rendered(IFileDoesNotExistMessage& message, char const* fileName) {
    MsgContainer container;
    return message.fillMessage(container, fileName) ? container.get() : "nothing";
}

TEST(Messages, ComeFromTheCatalogueThatIsThereAtTheCall) {
    test::MessageDirectory const directory;
    ObjectPtr<IMessageMgr> const manager = IMessageMgr::create();
    ObjectPtr<IFileDoesNotExistMessage> const message = manager->getFileDoesNotExistMessage();
    MsgContainer container;
    container.put("as it was");
    EXPECT_FALSE(message->fillMessage(container, "/a"));
    EXPECT_STREQ(container.get(), "as it was");

    directory.putCommonCatalog(R"({"FileDoesNotExist": "no {arg1}!",
                                   "FileIsDirectory": "{arg1} stays", "SrcChecksumMismatch": ""})");
    EXPECT_EQ(rendered(*message, "/a{arg1}"), "no /a{arg1}!");
    EXPECT_EQ(rendered(*message, nullptr), "no !");
    EXPECT_TRUE(manager->getFileIsDirectoryMessage()->fillMessage(container));
    EXPECT_STREQ(container.get(), "{arg1} stays");
    EXPECT_FALSE(manager->getSrcChecksumMismatchMessage()->fillMessage(container, "/a"));
    EXPECT_FALSE(manager->getFileIsNotRegularMessage()->fillMessage(container, "/a"));
    EXPECT_STREQ(container.get(), "{arg1} stays");
}

} // namespace
