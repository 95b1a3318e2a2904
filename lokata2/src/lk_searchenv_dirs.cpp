#include "lk_searchenv_dirs.h"

#include <utility>

namespace LK_2_13 {

bool FilteredDirList::add(char const* dir, bool recursive, bool priority) {
    if (dir == nullptr)
        return false;
    std::string key = utils::getCanonicalName(dir, true);

    LKLockWrap const guard(&m_lock);
    if (auto const entry = m_index.find(key); entry != m_index.end()) {
        Dir& known = m_dirs[entry->second];
        known.recursive |= recursive;
        known.priority |= priority;
        return false;
    }
    // All that can run out of memory comes before the index points at the entry: a key without its
    // directory would lead every later addition of it beyond the end.
    decltype(m_index) entered;
    entered.emplace(std::move(key), m_dirs.size());
    m_dirs.push_back({dir, recursive, priority});
    m_index.merge(entered);
    return true;
}

void FilteredDirList::clear() {
    LKLockWrap const guard(&m_lock);
    m_dirs.clear();
    m_index.clear();
}

std::vector<Dir> FilteredDirList::snapshot() const {
    LKLockWrap const guard(&m_lock);
    return m_dirs;
}

DefaultSearchDirIterator::DefaultSearchDirIterator(FilteredDirList const& list)
    : m_dirs(list.snapshot()) {}

DefaultSearchDirIterator::DefaultSearchDirIterator(std::vector<Dir> dirs)
    : m_dirs(std::move(dirs)) {}

void DefaultSearchDirIterator::reset() {
    m_position = 0;
}

bool DefaultSearchDirIterator::next() {
    if (m_position < m_dirs.size())
        ++m_position;
    return m_position < m_dirs.size();
}

bool DefaultSearchDirIterator::getCurrentRecord(char const*& name, bool& recursive,
                                                bool& priority) {
    if (m_position >= m_dirs.size())
        return false;
    Dir const& dir = m_dirs[m_position];
    name = dir.name.c_str();
    recursive = dir.recursive;
    priority = dir.priority;
    return true;
}

ObjectPtr<ISearchDirIterator> DefaultSearchDirIterator::copy() const {
    return new DefaultSearchDirIterator(m_dirs);
}

namespace {

bool isValid(search_category_t category) {
    return category >= scBinaryFiles && category <= scAllFiles;
}

} // namespace

ObjectPtr<IEditableSearchDirContainer> IEditableSearchDirContainer::create() {
    return new EditableSearchDirContainer;
}

/// A category never touched gives null, one that was touched and is empty an iterator without
/// records. That is meant: callers read both as an empty list, savers tell them apart.
ObjectPtr<ISearchDirIterator>
EditableSearchDirContainer::enumerate(search_category_t category) const {
    ObjectPtr<FilteredDirList> const list = getDirListForCategory(category);
    if (!list)
        return nullptr;
    return new DefaultSearchDirIterator(*list);
}

bool EditableSearchDirContainer::addDirectory(search_category_t category, char const* name,
                                              bool recursive, bool priority) {
    ObjectPtr<FilteredDirList> const list = getEditableDirListForCategory(category);
    if (!list)
        return false;
    list->add(name, recursive, priority);
    return true;
}

bool EditableSearchDirContainer::clear(search_category_t category) {
    ObjectPtr<FilteredDirList> const list = getEditableDirListForCategory(category);
    if (!list)
        return false;
    list->clear();
    return true;
}

ObjectPtr<FilteredDirList>
EditableSearchDirContainer::getDirListForCategory(search_category_t category) const {
    LKLockWrap const guard(&m_lock);
    auto const entry = m_lists.find(category);
    return entry != m_lists.end() ? entry->second : nullptr;
}

ObjectPtr<FilteredDirList>
EditableSearchDirContainer::getEditableDirListForCategory(search_category_t category) {
    if (!isValid(category))
        return nullptr;
    LKLockWrap const guard(&m_lock);
    ObjectPtr<FilteredDirList>& list = m_lists[category];
    if (!list)
        list = new FilteredDirList;
    return list;
}

} // namespace LK_2_13
