#pragma once

#include <brace/export.h>
#include <brace/ustring8.h>
#include <brace/varg_list.h>

#include <cstddef>
#include <map>

/// Texts for a person, by key. A catalogue that nobody changes may be read from any number of
/// threads at once.
namespace BRACE_2_18::i18n {

/// One text with named placeholders: `{name}` stands for the argument of that name, `{{` and `}}`
/// for one brace. A name may hold any byte but braces.
class message_t {
public:
    message_t() = default;
    explicit message_t(strings::ustring8 text) : m_text(std::move(text)) {}

    /// The length of the text as it is written, in bytes; 0 for no message.
    std::size_t size() const { return m_text.size(); }

    /// The text with its placeholders filled in. A placeholder without an argument, and a brace
    /// that belongs to no placeholder, stay as they are written; an argument without a placeholder
    /// does nothing. What was filled in is not looked at again, whatever braces it holds.
    BRACE_EXPORT strings::ustring8 as_ustring(generic::varg_list const& arguments) const;

private:
    strings::ustring8 m_text;
};

/// Messages by key.
class catalog_t {
public:
    /// The number of messages.
    std::size_t size() const { return m_messages.size(); }

    /// The message of the key, which lives as long as the catalogue; one of size 0 for an unknown
    /// key.
    BRACE_EXPORT message_t const& message(strings::ustring8 const& key) const;

    /// Adds a message, in the place of one that has the key already.
    BRACE_EXPORT void put(strings::ustring8 key, strings::ustring8 text);

private:
    std::map<strings::ustring8, message_t> m_messages;
};

} // namespace BRACE_2_18::i18n
