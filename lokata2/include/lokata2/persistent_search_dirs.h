#pragma once

#include <lokata2/search_dirs.h>

#include <toolbelt2/sptr.h>

namespace optstore2 {
class IPropertyStorage;
}

namespace LK_2_13 {

/// Search directories that last beyond a run. The store is the source of truth: each operation
/// reads it first, each change writes it back whole. That is not atomic: threads and processes that
/// change one store must take turns, or the later write wins.
///
/// Malformed records are skipped, and vanish with the next change. Exceptions of the store pass
/// through.
class LOKATA2_EXPORT IPersistentSearchDirContainer : public IEditableSearchDirContainer {
public:
    /// With a null store nothing persists.
    static ObjectPtr<IPersistentSearchDirContainer>
    create(toolbelt2::sptr_t<optstore2::IPropertyStorage> storage);
};

} // namespace LK_2_13
