#pragma once

#include <lokata2/search_dirs.h>
#include <lokata2/search_env.h>

#include <toolbelt2/generic_iterator.h>

#include <string>

namespace LK_2_13 {

/// Makes several containers look like one. Each enumeration reads the containers anew and folds
/// their directories: the first place and spelling counts, flags add up. Callable from any thread;
/// containers in a chain must not call back into it.
class LOKATA2_EXPORT ISearchDirChain : public ISearchDirContainer {
public:
    static ObjectPtr<ISearchDirChain> create();

    /// Appends a container. False for null.
    virtual bool addItem(ObjectPtr<ISearchDirContainer> const& container) = 0;
};

/// The search directories of an environment, frozen. `enumerate` gives the stored iterator itself:
/// there is one cursor for each category, shared by all who ask, so `reset` it first and walk it on
/// one thread at a time. A chain that holds a set made from an environment of the library walks
/// cursors of its own. The category must be one of the four values; any other gives null.
class LOKATA2_EXPORT ICapturedSearchDirs : public ISearchDirContainer {
public:
    /// Takes one enumeration of each category now. A null environment makes an empty set. The
    /// environment is not kept.
    static ObjectPtr<ICapturedSearchDirs> create(ObjectPtr<ISearchEnv> env);
};

/// The directories as command-line arguments: "bin", "sym", "src" or "all", then ":" with "r"
/// (recursive) and "p" (high priority) if set, "=" and the name, less one backslash at its end.
/// `iterator` is reset first; null reads as an empty list. An invalid category is reported as an
/// impossible state and gives an empty list.
LOKATA2_EXPORT toolbelt2::generic_iterator_t<std::string>
getSearchDirCommandLine(search_category_t category, ObjectPtr<ISearchDirIterator> const& iterator);

} // namespace LK_2_13
