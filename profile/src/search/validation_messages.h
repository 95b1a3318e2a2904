#pragma once

#include <lokata/profile/export.h>

#include <lokata2/messages.h>

#include <string>

namespace lokata::profile {

class MessageText final : public LK_2_13::IMsgContainer {
public:
    void put(char const* text) override { m_text = text; }
    char const* get() override { return m_text.empty() ? nullptr : m_text.c_str(); }

private:
    std::string m_text;
};

/// A message of the library's manager for a file, or `fallback` where the catalogue has none.
template <class Message>
std::string messageText(LK_2_13::ObjectPtr<Message> (LK_2_13::IMessageMgr::*get)(),
                        char const* fallback, std::string const& path) {
    MessageText text;
    LK_2_13::ObjectPtr<LK_2_13::IMessageMgr> const manager = LK_2_13::IMessageMgr::create();
    LK_2_13::ObjectPtr<Message> const message = (manager.get()->*get)();
    if (message)
        message->fillMessage(text, path.c_str());
    return text.get() == nullptr ? fallback : text.get();
}

} // namespace lokata::profile
