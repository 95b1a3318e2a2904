#pragma once

#include <lokata2/search_history.h>

#include "lk_lock.h"

#include <map>
#include <string>

namespace LK_2_13 {

class FileAssociation : public RefCountImpl<IFileAssociation> {
public:
    explicit FileAssociation(char const* resolvedName);
    char const* resolvedName() const override;

private:
    std::string m_resolvedName;
};

class SearchHistory : public RefCountImpl<ISearchHistory> {
public:
    ObjectPtr<IFileAssociation> addBinFileAssociation(char const* fileName,
                                                      char const* resolvedName) override;
    ObjectPtr<IFileAssociation> addSymFileAssociation(char const* fileName, char const* binaryName,
                                                      char const* checksum,
                                                      char const* resolvedName) override;
    ObjectPtr<IFileAssociation> addSrcFileAssociation(char const* fileName, char const* binaryName,
                                                      char const* checksum,
                                                      char const* resolvedName) override;
    void clear(search_category_t category) override;
    ObjectPtr<IFileAssociation> findBinFileAssociation(char const* fileName) override;
    ObjectPtr<IFileAssociation> findSymFileAssociation(char const* fileName, char const* binaryName,
                                                       char const* checksum) override;
    ObjectPtr<IFileAssociation> findSrcFileAssociation(char const* fileName, char const* binaryName,
                                                       char const* checksum) override;

private:
    /// One request. Matches by identical text, field after field.
    class AssociationKey {
    public:
        AssociationKey(char const* fileName, char const* binaryName, char const* checksum);
        bool operator<(AssociationKey const& other) const;

    private:
        std::string m_fileName;
        std::string m_binaryName;
        std::string m_checksum;
    };
    using associations_t = std::map<AssociationKey, ObjectPtr<IFileAssociation>>;

    static ObjectPtr<IFileAssociation> putAssociation(associations_t& associations,
                                                      AssociationKey const& key,
                                                      char const* resolvedName);
    static ObjectPtr<IFileAssociation> findAssociation(associations_t const& associations,
                                                       AssociationKey const& key);

    associations_t m_binAssociations TOOLBELT2_GUARDED_BY(m_lock);
    associations_t m_symAssociations TOOLBELT2_GUARDED_BY(m_lock);
    associations_t m_srcAssociations TOOLBELT2_GUARDED_BY(m_lock);
    LKSpinSharedLock m_lock;
};

} // namespace LK_2_13
