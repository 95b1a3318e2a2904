#pragma once

#include "lk_search_finder.h"

namespace LK_2_13 {

/// What the search steps do alike for all categories. Where a step walks directories, its
/// candidates carry the step, and the walk asks `find` of this strategy before each directory.
/// Without an environment the steps that need one find nothing. A strategy serves one search on one
/// thread and keeps nothing between its operations: calling one twice repeats its walk.
class BasicFileSearchStrategy : public IFileSearchStrategy, public ISearchDirectoryFindCallback {
public:
    /// `env` may be null; it is not owned and must outlive the strategy. `fileName` is a canonical
    /// name; null counts as empty.
    BasicFileSearchStrategy(ISearchEnv* env, char const* fileName);

    bool findInArchiveDirs(ISearchResultsContainer& results) override;
    bool findInHighPriorityDirs(ISearchResultsContainer& results) override;
    /// Offers a rooted name as it stands, whether it exists or not.
    bool lookUpAbsoluteName(ISearchResultsContainer& results) override;
    /// Nothing to look at.
    bool lookUpAroundBinary(ISearchResultsContainer& results) override;
    bool findInLowPriorityDirs(ISearchResultsContainer& results) override;
    /// Nothing for the name of a guest: the directories of this machine say nothing about it.
    bool findInSystemDirs(ISearchResultsContainer& results) override;
    /// An empty cache directory is logged as an error.
    bool findInCacheDir(ISearchResultsContainer& results) override;
    ISearchEnv* getSearchEnv() const override;
    char const* fileToSearch() override;
    /// From the configurator of the environment, else from the library's own with its defaults.
    ObjectPtr<ISearchStepsIterator>
    getSearchStepsIterator(unsigned long long stepsSelector) override;

    /// Lets every directory be searched.
    bool find(std::string const& directory, bool recursive, std::string const& fileName,
              ISearchResultsContainer& results, bool& skipDirectory) override;
    virtual search_category_t getCategorySpecific() = 0;
    /// Adds the directories of this machine where files of the category belong.
    virtual void fillSystemDirs(ISearchDirectoryContainer& container) = 0;

protected:
    ~BasicFileSearchStrategy() = default;

    /// True if the name was recorded inside a virtual machine, as its marker tells.
    bool isGuestName() const;
    /// Walks the system directories for `name`.
    bool walkSystemDirs(std::string const& name, ISearchResultsContainer& results);
    /// The cache directory of the environment, which is not null; logs and gives null for none.
    char const* cacheDirOrReport() const;

private:
    bool findInPriorityDirs(ISearchResultsContainer& results, bool highPriority);
    /// Walks the directories of one list that have this priority. A guest's name gets a second pass
    /// below a directory that is named after the marker. A null iterator is an empty list.
    bool findInSearchDirs(ISearchResultsContainer& results,
                          ObjectPtr<ISearchDirIterator> const& iterator, bool highPriority);

    ISearchEnv* m_pSearchEnv;
    std::string m_fileName;
};

} // namespace LK_2_13
