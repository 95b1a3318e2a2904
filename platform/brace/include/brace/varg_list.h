#pragma once

#include <brace/export.h>
#include <brace/variant.h>

#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>

namespace BRACE_2_18::generic {

/// A named value, or a position that carries nothing.
class argument {
public:
    argument() = default;
    argument(types::nil_t) {}
    argument(strings::ustring8 name, types::variant value)
        : m_name(std::move(name)), m_value(std::move(value)) {}

    strings::ustring8 const& name() const { return m_name; }
    types::variant const& value() const { return m_value; }

private:
    strings::ustring8 m_name;
    types::variant m_value;
};

/// The arguments of one message.
class varg_list {
public:
    static constexpr std::size_t position_count = 26;

    /// The empty list: all positions are nil.
    varg_list() = default;

    /// Takes an `argument`, or `types::nil`, for each of the 26 positions.
    template <typename... Arguments,
              typename = std::enable_if_t<sizeof...(Arguments) == position_count &&
                                          (std::is_convertible_v<Arguments, argument> && ...)>>
    explicit varg_list(Arguments&&... arguments)
        : m_arguments{argument(std::forward<Arguments>(arguments))...} {}

    /// A list with the given argument in the first position and nil in the other 25.
    BRACE_EXPORT static varg_list with_first(argument first);

    /// The value of the first argument of that name; null if there is none or it is nil. Lives as
    /// long as the list.
    BRACE_EXPORT strings::ustring8 const* find(std::string_view name) const;

private:
    std::array<argument, position_count> m_arguments;
};

} // namespace BRACE_2_18::generic
