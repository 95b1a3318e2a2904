#pragma once

#include <lokata2/search_types.h>

namespace LK_2_13 {

/// The remembered answer to one request. Immutable.
class LOKATA2_EXPORT IFileAssociation : public ILKObject {
public:
    /// Null if the answer was that there is no such file.
    virtual char const* resolvedName() const = 0;
};

/// Remembers answers in memory, for each category from a request to a file, or to the fact that
/// there is none. Requests match by identical text; a null text counts as the empty one. The last
/// answer wins. Entries go only by `clear` or with the object. Callable from any thread.
class LOKATA2_EXPORT ISearchHistory : public ILKObject {
public:
    /// A new, empty history.
    static ObjectPtr<ISearchHistory> create();

    /// A null or empty `resolvedName` remembers that there is no such file.
    virtual ObjectPtr<IFileAssociation> addBinFileAssociation(char const* fileName,
                                                              char const* resolvedName) = 0;
    virtual ObjectPtr<IFileAssociation> addSymFileAssociation(char const* fileName,
                                                              char const* binaryName,
                                                              char const* checksum,
                                                              char const* resolvedName) = 0;
    virtual ObjectPtr<IFileAssociation> addSrcFileAssociation(char const* fileName,
                                                              char const* binaryName,
                                                              char const* checksum,
                                                              char const* resolvedName) = 0;
    /// `scAllFiles` empties all three; a value without a meaning empties nothing. Associations that
    /// are held stay valid.
    virtual void clear(search_category_t category) = 0;
    /// Null if nothing is remembered.
    virtual ObjectPtr<IFileAssociation> findBinFileAssociation(char const* fileName) = 0;
    virtual ObjectPtr<IFileAssociation>
    findSymFileAssociation(char const* fileName, char const* binaryName, char const* checksum) = 0;
    virtual ObjectPtr<IFileAssociation>
    findSrcFileAssociation(char const* fileName, char const* binaryName, char const* checksum) = 0;
};

} // namespace LK_2_13
