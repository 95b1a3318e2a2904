#include "lk_searchenv_chain.h"

#include "lk_searchenv_dirs.h"

namespace LK_2_13 {

namespace {

ObjectPtr<ISearchDirIterator> enumerateForChain(ISearchDirContainer const& item,
                                                search_category_t category) {
    if (auto const* const captured = dynamic_cast<CapturedSearchDirs const*>(&item))
        return captured->enumerateApart(category);
    return item.enumerate(category);
}

} // namespace

ObjectPtr<ISearchDirChain> ISearchDirChain::create() {
    return new SearchDirChain;
}

bool SearchDirChain::addItem(ObjectPtr<ISearchDirContainer> const& container) {
    if (!container)
        return false;
    LKLockWrap const guard(&m_lock);
    m_items.push_back(container);
    return true;
}

ObjectPtr<ISearchDirIterator> SearchDirChain::enumerate(search_category_t category) const {
    LKLockWrap const guard(&m_lock);
    ObjectPtr<IEditableSearchDirContainer> const merger = IEditableSearchDirContainer::create();
    for (ObjectPtr<ISearchDirContainer> const& item : m_items) {
        forEachDirectory(
            enumerateForChain(*item, category),
            [&](char const* name, bool recursive, bool priority) {
                merger->addDirectory(category, name, recursive, priority);
            });
    }
    return merger->enumerate(category);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is that of the interface
ObjectPtr<ICapturedSearchDirs> ICapturedSearchDirs::create(ObjectPtr<ISearchEnv> env) {
    return new CapturedSearchDirs(env);
}

CapturedSearchDirs::CapturedSearchDirs(ObjectPtr<ISearchEnv> const& env) {
    if (!env)
        return;
    for (search_category_t const category :
         {scSourceFiles, scSymbolFiles, scBinaryFiles, scAllFiles})
        m_iterators[category - 1] = env->searchDirs(category);
}

ObjectPtr<ISearchDirIterator> CapturedSearchDirs::enumerate(search_category_t category) const {
    // The subtraction is unsigned: a category of 0 falls out as well.
    std::size_t const place = category - 1U;
    return place < m_iterators.size() ? m_iterators[place] : nullptr;
}

ObjectPtr<ISearchDirIterator> CapturedSearchDirs::enumerateApart(search_category_t category) const {
    ObjectPtr<ISearchDirIterator> shared = enumerate(category);
    if (auto const* const own = dynamic_cast<DefaultSearchDirIterator const*>(shared.get()))
        return own->copy();
    return shared;
}

} // namespace LK_2_13
