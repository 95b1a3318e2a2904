#include "lk_searchenv_persistent.h"

#include "lk_searchenv_dirs.h"
#include "lk_text.h"

#include <array>
#include <utility>

namespace LK_2_13 {

namespace {

using toolbelt2::variant_bag_t;
using toolbelt2::variant_t;

char const* const c_storedName = "searchDirs";

constexpr std::array c_categories{scBinaryFiles, scSymbolFiles, scSourceFiles, scAllFiles};

/// The children under a name, or under its older form with a capital if there are none.
toolbelt2::generic_iterator_t<variant_bag_t> childrenOf(variant_bag_t const& bag, char const* name,
                                                        char const* olderName) {
    auto const children = bag.begin_by_name(name);
    return children.at_end() ? bag.begin_by_name(olderName) : children;
}

bool isText(variant_t const* value) {
    return value != nullptr &&
           (value->type() == toolbelt2::vtText || value->type() == toolbelt2::vtLongText);
}

bool isBoolean(variant_t const* value) {
    return value != nullptr && value->type() == toolbelt2::vtBoolean;
}

/// A malformed record is skipped alone.
void loadDirectory(variant_bag_t const& directory, search_category_t category,
                   IEditableSearchDirContainer& target) {
    variant_t const* const name = directory.get("name");
    variant_t const* const recursive = directory.get("recursive");
    variant_t const* const priority = directory.get("priority");
    if (!isText(name) || !isBoolean(recursive) || !isBoolean(priority))
        return;
    target.addDirectory(category, name->as_text().c_str(), recursive->as_uint64() != 0,
                        priority->as_uint64() != 0);
}

void loadCategory(variant_bag_t const& bag, IEditableSearchDirContainer& target) {
    variant_t const* const number = bag.get("category");
    if (number == nullptr || number->type() != toolbelt2::vtUint8)
        return;
    auto const category =
        static_cast<search_category_t>(static_cast<std::uint8_t>(number->as_uint64()));
    for (auto child = childrenOf(bag, "searchDirectory", "SearchDirectory"); !child.at_end();
         child.next())
        loadDirectory(child.get_value(), category, target);
}

} // namespace

namespace internal {

void saveSearchDirsForCategory(ISearchDirContainer const& container, search_category_t category,
                               variant_bag_t& target) {
    ObjectPtr<ISearchDirIterator> const iterator = container.enumerate(category);
    if (!iterator)
        return;
    variant_bag_t bag;
    bag.put("category", static_cast<std::uint8_t>(category));
    forEachDirectory(iterator, [&](char const* name, bool recursive, bool priority) {
        variant_bag_t directory;
        directory.put("name", orEmpty(name));
        directory.put("recursive", recursive);
        directory.put("priority", priority);
        bag.add_variant_bag("searchDirectory", std::move(directory));
    });
    target.add_variant_bag("searchCategory", std::move(bag));
}

} // namespace internal

ObjectPtr<IPersistentSearchDirContainer>
IPersistentSearchDirContainer::create(toolbelt2::sptr_t<optstore2::IPropertyStorage> storage) {
    return new PersistentSearchDirContainer(std::move(storage));
}

PersistentSearchDirContainer::PersistentSearchDirContainer(
    toolbelt2::sptr_t<optstore2::IPropertyStorage> storage)
    : m_dirs(IEditableSearchDirContainer::create()), m_storage(std::move(storage)) {}

ObjectPtr<ISearchDirIterator>
PersistentSearchDirContainer::enumerate(search_category_t category) const {
    reload();
    return m_dirs->enumerate(category);
}

bool PersistentSearchDirContainer::addDirectory(search_category_t category, char const* name,
                                                bool recursive, bool priority) {
    reload();
    bool const result = m_dirs->addDirectory(category, name, recursive, priority);
    save();
    return result;
}

bool PersistentSearchDirContainer::clear(search_category_t category) {
    reload();
    bool const result = m_dirs->clear(category);
    save();
    return result;
}

void PersistentSearchDirContainer::reload() const {
    if (!m_storage)
        return;
    for (search_category_t const category : c_categories)
        m_dirs->clear(category);
    variant_bag_t const stored = m_storage->read(c_storedName, variant_bag_t());
    for (auto child = childrenOf(stored, "searchCategory", "SearchCategory"); !child.at_end();
         child.next())
        loadCategory(child.get_value(), *m_dirs);
}

void PersistentSearchDirContainer::save() {
    if (!m_storage)
        return;
    variant_bag_t bag;
    for (search_category_t const category : c_categories)
        internal::saveSearchDirsForCategory(*m_dirs, category, bag);
    m_storage->write(c_storedName, bag);
}

} // namespace LK_2_13
