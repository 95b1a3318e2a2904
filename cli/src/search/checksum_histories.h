#pragma once

#include <lokata2/search_history.h>

#include <map>
#include <string>

namespace lokata::cli {

/// One history of the library for each checksum, as one: the library remembers a binary by its name
/// alone, and a request for another content of that name must not get the remembered file. For one
/// thread.
class ChecksumHistories : public LK_2_13::RefCountImpl<LK_2_13::ISearchHistory> {
public:
    using Association = LK_2_13::ObjectPtr<LK_2_13::IFileAssociation>;

    /// From here on all operations work on the history of this checksum.
    void select(std::string const& checksum);

    Association addBinFileAssociation(char const* fileName, char const* resolvedName) override;
    Association addSymFileAssociation(char const* fileName, char const* binaryName,
                                      char const* checksum, char const* resolvedName) override;
    Association addSrcFileAssociation(char const* fileName, char const* binaryName,
                                      char const* checksum, char const* resolvedName) override;
    void clear(LK_2_13::search_category_t category) override;
    Association findBinFileAssociation(char const* fileName) override;
    Association findSymFileAssociation(char const* fileName, char const* binaryName,
                                       char const* checksum) override;
    Association findSrcFileAssociation(char const* fileName, char const* binaryName,
                                       char const* checksum) override;

private:
    using History = LK_2_13::ObjectPtr<LK_2_13::ISearchHistory>;

    std::map<std::string, History> m_histories;
    History m_pSelected = LK_2_13::ISearchHistory::create();
};

} // namespace lokata::cli
