#include "lk_search_history.h"

#include "lk_text.h"

#include <tuple>

namespace LK_2_13 {

ObjectPtr<ISearchHistory> ISearchHistory::create() {
    return new SearchHistory;
}

FileAssociation::FileAssociation(char const* resolvedName)
    : m_resolvedName(orEmpty(resolvedName)) {}

char const* FileAssociation::resolvedName() const {
    return m_resolvedName.empty() ? nullptr : m_resolvedName.c_str();
}

SearchHistory::AssociationKey::AssociationKey(char const* fileName, char const* binaryName,
                                              char const* checksum)
    : m_fileName(orEmpty(fileName))
    , m_binaryName(orEmpty(binaryName))
    , m_checksum(orEmpty(checksum)) {}

bool SearchHistory::AssociationKey::operator<(AssociationKey const& other) const {
    return std::tie(m_fileName, m_binaryName, m_checksum) <
           std::tie(other.m_fileName, other.m_binaryName, other.m_checksum);
}

ObjectPtr<IFileAssociation> SearchHistory::putAssociation(associations_t& associations,
                                                          AssociationKey const& key,
                                                          char const* resolvedName) {
    ObjectPtr<IFileAssociation> association(new FileAssociation(resolvedName));
    associations[key] = association;
    return association;
}

ObjectPtr<IFileAssociation> SearchHistory::findAssociation(associations_t const& associations,
                                                           AssociationKey const& key) {
    auto const entry = associations.find(key);
    return entry == associations.end() ? ObjectPtr<IFileAssociation>() : entry->second;
}

ObjectPtr<IFileAssociation> SearchHistory::addBinFileAssociation(char const* fileName,
                                                                 char const* resolvedName) {
    LKLockWrap const guard(&m_lock);
    return putAssociation(m_binAssociations, {fileName, nullptr, nullptr}, resolvedName);
}

ObjectPtr<IFileAssociation> SearchHistory::addSymFileAssociation(char const* fileName,
                                                                 char const* binaryName,
                                                                 char const* checksum,
                                                                 char const* resolvedName) {
    LKLockWrap const guard(&m_lock);
    return putAssociation(m_symAssociations, {fileName, binaryName, checksum}, resolvedName);
}

ObjectPtr<IFileAssociation> SearchHistory::addSrcFileAssociation(char const* fileName,
                                                                 char const* binaryName,
                                                                 char const* checksum,
                                                                 char const* resolvedName) {
    LKLockWrap const guard(&m_lock);
    return putAssociation(m_srcAssociations, {fileName, binaryName, checksum}, resolvedName);
}

void SearchHistory::clear(search_category_t category) {
    LKLockWrap const guard(&m_lock);
    bool const all = category == scAllFiles;
    if (all || category == scBinaryFiles)
        m_binAssociations.clear();
    if (all || category == scSymbolFiles)
        m_symAssociations.clear();
    if (all || category == scSourceFiles)
        m_srcAssociations.clear();
}

ObjectPtr<IFileAssociation> SearchHistory::findBinFileAssociation(char const* fileName) {
    LKSpinSharedLockWrap const guard(&m_lock);
    return findAssociation(m_binAssociations, {fileName, nullptr, nullptr});
}

ObjectPtr<IFileAssociation> SearchHistory::findSymFileAssociation(char const* fileName,
                                                                  char const* binaryName,
                                                                  char const* checksum) {
    LKSpinSharedLockWrap const guard(&m_lock);
    return findAssociation(m_symAssociations, {fileName, binaryName, checksum});
}

ObjectPtr<IFileAssociation> SearchHistory::findSrcFileAssociation(char const* fileName,
                                                                  char const* binaryName,
                                                                  char const* checksum) {
    LKSpinSharedLockWrap const guard(&m_lock);
    return findAssociation(m_srcAssociations, {fileName, binaryName, checksum});
}

} // namespace LK_2_13
