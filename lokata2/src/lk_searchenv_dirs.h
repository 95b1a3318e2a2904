#pragma once

#include <lokata2/search_dirs.h>
#include <lokata2/utils.h>

#include "lk_lock.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/// Search directory lists: one list for each category, without doubles, in the order of adding.
namespace LK_2_13 {

/// One search directory.
struct Dir {
    /// Exactly as it was added.
    std::string name;
    bool recursive;
    /// Searched in the high priority step rather than the low priority one.
    bool priority;
};

struct CanonicalFileNameLess {
    bool operator()(std::string const& a, std::string const& b) const {
        return utils::compareCanonicalFileNames(a.c_str(), b.c_str()) < 0;
    }
};

class FilteredDirList : public RefCountImpl<ILKObject> {
public:
    /// True if a new entry was made. A double, in whatever spelling, keeps its first name and place
    /// and only ever gains flags. Null adds nothing.
    bool add(char const* dir, bool recursive, bool priority);
    void clear();
    std::vector<Dir> snapshot() const;

private:
    std::vector<Dir> m_dirs TOOLBELT2_GUARDED_BY(m_lock);
    /// From the normalised name to the place in `m_dirs`.
    std::map<std::string, std::size_t, CanonicalFileNameLess> m_index TOOLBELT2_GUARDED_BY(m_lock);
    mutable LKLock m_lock;
};

/// Walks its own copy of a list.
class DefaultSearchDirIterator : public RefCountImpl<ISearchDirIterator> {
public:
    explicit DefaultSearchDirIterator(FilteredDirList const& list);

    void reset() override;
    bool next() override;
    bool getCurrentRecord(char const*& name, bool& recursive, bool& priority) override;

    /// A new iterator over the same records, at the first one. Reads nothing that `reset` or `next`
    /// change, so any thread may ask while another walks this one.
    ObjectPtr<ISearchDirIterator> copy() const;

private:
    explicit DefaultSearchDirIterator(std::vector<Dir> dirs);

    std::vector<Dir> const m_dirs;
    std::size_t m_position = 0;
};

class EditableSearchDirContainer : public RefCountImpl<IEditableSearchDirContainer> {
public:
    ObjectPtr<ISearchDirIterator> enumerate(search_category_t category) const override;
    bool addDirectory(search_category_t category, char const* name, bool recursive,
                      bool priority) override;
    bool clear(search_category_t category) override;

    /// Null if the category is invalid or was never touched.
    ObjectPtr<FilteredDirList> getDirListForCategory(search_category_t category) const;
    /// Makes the list if there is none; null for an invalid category.
    ObjectPtr<FilteredDirList> getEditableDirListForCategory(search_category_t category);

private:
    std::map<search_category_t, ObjectPtr<FilteredDirList>> m_lists TOOLBELT2_GUARDED_BY(m_lock);
    /// Never held together with the lock of a list.
    mutable LKLock m_lock;
};

} // namespace LK_2_13
