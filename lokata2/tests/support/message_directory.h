#pragma once

#include "temp_tree.h"

#include <optstore2/message_catalog.h>

#include <string_view>

namespace LK_2_13::test {

/// Takes the place of all installed message catalogues while it lives. Empty at first.
class MessageDirectory {
public:
    MessageDirectory() { optstore2::setMessageDirectory(""); }
    ~MessageDirectory() { optstore2::setMessageDirectory(nullptr); }
    MessageDirectory(MessageDirectory const&) = delete;
    MessageDirectory& operator=(MessageDirectory const&) = delete;

    /// Makes a catalogue out of a JSON object. Once only: a catalogue that was read is kept.
    void putCatalog(std::string const& name, std::string_view json) const {
        m_tree.file(name + ".en.json", json);
        optstore2::setMessageDirectory(m_tree.root().c_str());
    }
    void putCommonCatalog(std::string_view json) const { putCatalog("lokata_common", json); }

private:
    TempTree m_tree;
};

} // namespace LK_2_13::test
