#pragma once

#include <lokata2/search_dir_chain.h>

#include "lk_lock.h"

#include <array>
#include <list>

namespace LK_2_13 {

class SearchDirChain : public RefCountImpl<ISearchDirChain> {
public:
    ObjectPtr<ISearchDirIterator> enumerate(search_category_t category) const override;
    bool addItem(ObjectPtr<ISearchDirContainer> const& container) override;

private:
    /// Never holds null.
    std::list<ObjectPtr<ISearchDirContainer>> m_items TOOLBELT2_GUARDED_BY(m_lock);
    /// Held while the items are enumerated, too: it comes before their locks.
    mutable LKLock m_lock;
};

class CapturedSearchDirs : public RefCountImpl<ICapturedSearchDirs> {
public:
    explicit CapturedSearchDirs(ObjectPtr<ISearchEnv> const& env);

    /// The stored iterator itself, with its shared cursor; null also for an invalid category.
    ObjectPtr<ISearchDirIterator> enumerate(search_category_t category) const override;

    /// The same records with a cursor of their own, and without touching the shared one. This is
    /// what a chain walks, so that searches on several threads may run under one capture. An
    /// iterator that a client's own environment supplied cannot be copied: it is given out as
    /// `enumerate` does, and stays bound to one thread at a time.
    ObjectPtr<ISearchDirIterator> enumerateApart(search_category_t category) const;

private:
    /// By the value of the category less 1.
    std::array<ObjectPtr<ISearchDirIterator>, 4> m_iterators;
};

} // namespace LK_2_13
