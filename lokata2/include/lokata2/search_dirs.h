#pragma once

#include <lokata2/search_types.h>

namespace LK_2_13 {

/// Walks a list of search directories. Belongs to one thread at a time. The iterators of the
/// library's own lists walk a snapshot and start at the first record.
class LOKATA2_EXPORT ISearchDirIterator : public ILKObject {
public:
    virtual void reset() = 0;
    /// Moves on. True if a record is now current; at the end it stays and gives false.
    virtual bool next() = 0;
    /// The current record, without moving. False at the end, with the arguments untouched. `name`
    /// is the directory as it was added, valid while the iterator lives.
    virtual bool getCurrentRecord(char const*& name, bool& recursive, bool& priority) = 0;
};

/// Calls `visit(name, recursive, priority)` for every record, from the first. A null iterator reads
/// as an empty list.
template <class Visit>
void forEachDirectory(ObjectPtr<ISearchDirIterator> const& iterator, Visit visit) {
    if (!iterator)
        return;
    char const* name = nullptr;
    bool recursive = false;
    bool priority = false;
    for (iterator->reset(); iterator->getCurrentRecord(name, recursive, priority); iterator->next())
        visit(name, recursive, priority);
}

/// Search directories by category. Clients may implement it.
class LOKATA2_EXPORT ISearchDirContainer : public ILKObject {
public:
    /// The directories of one category, in order. Null reads as an empty list.
    virtual ObjectPtr<ISearchDirIterator> enumerate(search_category_t category) const = 0;
};

/// An editable list of search directories for each category. A directory that is added again, also
/// in another spelling, keeps its first spelling and place and takes up the flags that were set.
/// The file system is not asked. All operations may be called from any thread.
class LOKATA2_EXPORT IEditableSearchDirContainer : public ISearchDirContainer {
public:
    static ObjectPtr<IEditableSearchDirContainer> create();

    /// `recursive`: search subdirectories too. `priority`: search in the high priority step rather
    /// than the low priority one. False for an invalid category only; a null name adds nothing.
    virtual bool addDirectory(search_category_t category, char const* name, bool recursive,
                              bool priority) = 0;
    /// False for an invalid category.
    virtual bool clear(search_category_t category) = 0;
};

} // namespace LK_2_13
