#include "search/checksum_histories.h"

namespace lokata::cli {

using namespace LK_2_13;

void ChecksumHistories::select(std::string const& checksum) {
    History& history = m_histories[checksum];
    if (!history)
        history = ISearchHistory::create();
    m_pSelected = history;
}

ChecksumHistories::Association ChecksumHistories::addBinFileAssociation(char const* fileName,
                                                                        char const* resolvedName) {
    return m_pSelected->addBinFileAssociation(fileName, resolvedName);
}

ChecksumHistories::Association ChecksumHistories::addSymFileAssociation(char const* fileName,
                                                                        char const* binaryName,
                                                                        char const* checksum,
                                                                        char const* resolvedName) {
    return m_pSelected->addSymFileAssociation(fileName, binaryName, checksum, resolvedName);
}

ChecksumHistories::Association ChecksumHistories::addSrcFileAssociation(char const* fileName,
                                                                        char const* binaryName,
                                                                        char const* checksum,
                                                                        char const* resolvedName) {
    return m_pSelected->addSrcFileAssociation(fileName, binaryName, checksum, resolvedName);
}

void ChecksumHistories::clear(search_category_t category) {
    m_pSelected->clear(category);
}

ChecksumHistories::Association ChecksumHistories::findBinFileAssociation(char const* fileName) {
    return m_pSelected->findBinFileAssociation(fileName);
}

ChecksumHistories::Association ChecksumHistories::findSymFileAssociation(char const* fileName,
                                                                         char const* binaryName,
                                                                         char const* checksum) {
    return m_pSelected->findSymFileAssociation(fileName, binaryName, checksum);
}

ChecksumHistories::Association ChecksumHistories::findSrcFileAssociation(char const* fileName,
                                                                         char const* binaryName,
                                                                         char const* checksum) {
    return m_pSelected->findSrcFileAssociation(fileName, binaryName, checksum);
}

} // namespace lokata::cli
