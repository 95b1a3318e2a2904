#pragma once

#include <lokata2/persistent_search_dirs.h>

#include <optstore2/property_storage.h>
#include <toolbelt2/variant_bag.h>

namespace LK_2_13 {

namespace internal {

/// Adds the bag of one category to `target`; nothing for a category without a list.
///
///     searchCategory             once for each category that has a list
///       category                 unsigned 8-bit integer, the search_category_t
///       searchDirectory          once for each directory, in order
///         name                   text, as it was added
///         recursive, priority    booleans
void saveSearchDirsForCategory(ISearchDirContainer const& container, search_category_t category,
                               toolbelt2::variant_bag_t& target);

} // namespace internal

/// Has no lock of its own: see the interface.
class PersistentSearchDirContainer : public RefCountImpl<IPersistentSearchDirContainer> {
public:
    /// Does not read the store.
    explicit PersistentSearchDirContainer(toolbelt2::sptr_t<optstore2::IPropertyStorage> storage);

    /// Reads the store; `const` all the same, since the working copy is a cache.
    ObjectPtr<ISearchDirIterator> enumerate(search_category_t category) const override;
    bool addDirectory(search_category_t category, char const* name, bool recursive,
                      bool priority) override;
    bool clear(search_category_t category) override;

private:
    /// After it every category has a list, so that the next save writes all four.
    void reload() const;
    /// Also after an operation that changed nothing. Writes the current form of the names only.
    void save();

    /// The working copy, thrown away before every operation.
    ObjectPtr<IEditableSearchDirContainer> m_dirs;
    /// May be null: then nothing persists.
    toolbelt2::sptr_t<optstore2::IPropertyStorage> m_storage;
};

} // namespace LK_2_13
