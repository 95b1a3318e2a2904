#pragma once

#include <toolbelt2/export.h>
#include <toolbelt2/generic_iterator.h>
#include <toolbelt2/sptr.h>
#include <toolbelt2/variant.h>

#include <string>
#include <variant>
#include <vector>

namespace toolbelt2 {

/// An ordered tree of named values: one variant at most under a name, and any number of
/// child bags under a name. A value: copies are independent, though they share the child
/// bags, which never change once they are added. Concurrent reading is safe.
class TOOLBELT2_EXPORT variant_bag_t {
public:
    /// A variant or a child bag (never null), with its name.
    struct entry_t {
        std::string m_name;
        std::variant<variant_t, sptr_t<variant_bag_t const>> m_content;
    };

    /// Stores a variant under a name, in the place of the one that is there already.
    /// Child bags of that name stay.
    void put(std::string const& name, variant_t value);

    /// Appends a child bag behind all that is there.
    void add_variant_bag(std::string const& name, variant_bag_t child);

    /// The variant under a name or null. Belongs to this bag and lives until the bag is
    /// changed or destroyed.
    variant_t const* get(std::string const& name) const;

    /// The child bags under a name, in the order of adding.
    generic_iterator_t<variant_bag_t> begin_by_name(std::string const& name) const;

    /// Everything in the order of adding, alive until the bag is changed or destroyed.
    std::vector<entry_t> const& entries() const { return m_entries; }

    /// Equal in names, type numbers, values and order, down to the last child.
    friend TOOLBELT2_EXPORT bool operator==(variant_bag_t const& left, variant_bag_t const& right);

private:
    std::vector<entry_t> m_entries;
};

} // namespace toolbelt2
