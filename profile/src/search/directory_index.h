#pragma once

/// Spares a run of many searches the walk through the same directory trees for each name.

#include <lokata/profile/export.h>

#include <lokata2/search_dirs.h>
#include <toolbelt2/mutex.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lokata::profile {

/// What lies in the directories of search lists. A directory is read on first need, once, and later
/// changes to it are not seen. Callable from any thread.
class DirectoryIndex {
public:
    DirectoryIndex();
    ~DirectoryIndex();
    DirectoryIndex(DirectoryIndex const&) = delete;
    DirectoryIndex& operator=(DirectoryIndex const&) = delete;

    /// The records of `directories` that can matter for `name`, such that a search over them comes
    /// to the same files in the same order: a directory without a part of the name is left out, and
    /// a recursive one gives way to those directories of its tree that hold the last component, as
    /// flat records, in the order in which the library walks the tree. Records that cannot be
    /// represented in this way stay as they are. A null list stays null.
    LK_2_13::ObjectPtr<LK_2_13::ISearchDirIterator>
    prune(LK_2_13::ObjectPtr<LK_2_13::ISearchDirIterator> const& directories,
          std::string const& name);

private:
    class Tree;

    /// Lives as long as the index, and does not change. Read under the lock, so that others wait
    /// for it: they would need the same one.
    Tree const& tree(std::string const& directory, bool recursive);

    toolbelt2::mutex_t m_mutex;
    std::map<std::pair<std::string, bool>, std::unique_ptr<Tree const>>
        m_trees TOOLBELT2_GUARDED_BY(m_mutex);
};

} // namespace lokata::profile
