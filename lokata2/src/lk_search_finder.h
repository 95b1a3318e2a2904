#pragma once

#include "lk_search_contracts.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace LK_2_13 {

class ISearchDirectoryContainer {
public:
    /// Keeps whatever comes, in order: an empty name, a name that is there already. Not null.
    virtual void addSearchDirectory(char const* directory, bool recursive) = 0;

protected:
    ~ISearchDirectoryContainer() = default;
};

/// Asked before a walk touches a directory of its list.
class ISearchDirectoryFindCallback {
public:
    /// True ends the whole walk with true. `skipDirectory` comes as false; set it to pass over this
    /// directory.
    virtual bool find(std::string const& directory, bool recursive, std::string const& fileName,
                      ISearchResultsContainer& results, bool& skipDirectory) = 0;

protected:
    ~ISearchDirectoryFindCallback() = default;
};

/// Turns a list of directories and a file name into candidates, and stops at the first one that the
/// container accepts. No name is compared with an entry of a directory: a candidate is a path that
/// is offered, whether it exists is for the container to say, and one path may be offered twice.
/// Operations that find return true if a candidate was accepted. Built, filled and run once, on one
/// thread; logs nothing.
class FilesFinder : public ISearchDirectoryContainer {
public:
    /// `searchStep` goes with every candidate. `callback` may be null and is not owned.
    FilesFinder(unsigned int searchStep, ISearchDirectoryFindCallback* callback);

    void addSearchDirectory(char const* directory, bool recursive) override;
    /// Offers the bare name `fileName` in the directory and then below it, depth first, each
    /// subdirectory with all of its tree before the next. Subdirectories come in the order that the
    /// file system gives; links to directories are followed. A directory that cannot be read is
    /// given up without a word.
    virtual bool findRecursively(std::string const& directory, std::string const& fileName,
                                 ISearchResultsContainer& results);
    /// Offers the name with all its directories below `directory`, then without the first of them,
    /// and so on to the bare name. A root counts as an element that adds nothing, so an absolute
    /// name is offered twice in full.
    virtual bool findIteratively(std::string const& directory, std::string const& fileName,
                                 ISearchResultsContainer& results);
    virtual ~FilesFinder() = default;

    /// Runs the list: the walk over the name's directories in each, and in recursive ones the walk
    /// for the bare name behind it.
    bool find(char const* fileName, ISearchResultsContainer& results);

private:
    struct search_dir {
        std::string name;
        bool recursive;
    };

    unsigned int m_searchStep;
    std::vector<search_dir> m_searchDirs;
    ISearchDirectoryFindCallback* m_callback;
    /// Inode numbers of the directories entered below the running directory of the list. They end
    /// loops and keep a directory that several links reach from being searched twice. The device is
    /// not part of the identity: of two directories on different file systems that share a
    /// number the second is passed over. That is meant, since the directories that a walk enters
    /// decide which file it finds, and an archive of an earlier run must be found again.
    std::unordered_set<unsigned long> m_visitedDirs;
};

} // namespace LK_2_13
