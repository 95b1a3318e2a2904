#pragma once

#include <toolbelt2/sptr.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace toolbelt2 {

/// A forward iterator that owns the list it walks, so it can be returned on its own.
/// Copies share the list, which never changes, and have each a position of their own.
template <typename T>
class generic_iterator_t {
public:
    /// An iterator over nothing.
    generic_iterator_t() = default;

    /// Takes the list over and stands at its first element.
    explicit generic_iterator_t(std::vector<T> items)
        : m_items(std::make_shared<std::vector<T> const>(std::move(items))) {}

    /// True behind the last element, and at once for an empty list.
    bool at_end() const { return !m_items || m_position >= m_items->size(); }

    /// Goes one on; at the end it stays there.
    void next() {
        if (!at_end())
            ++m_position;
    }

    /// The element under the iterator, which must not be at its end. Lives as long as any
    /// copy of this iterator.
    T const& get_value() const { return (*m_items)[m_position]; }

private:
    sptr_t<std::vector<T> const> m_items;
    std::size_t m_position = 0;
};

} // namespace toolbelt2
