#pragma once

/// Finds files by what they hold, wherever they lie in the search trees and whatever they are
/// called.

#include "search/file_places.h"
#include "search/scan/file_index.h"

#include <lokata2/search_env.h>
#include <toolbelt2/mutex.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lokata::profile {

/// The trees of one kind of search, in order, each once.
using TreeRoots = std::vector<std::string>;

/// Those that hold binaries and symbols: the recursive search directories of the environment, which
/// may be null, then those of the options.
TreeRoots elfTrees(LK_2_13::ISearchEnv* environment, ScanOptions const& options);
/// Those that hold source files.
TreeRoots sourceTrees(LK_2_13::ISearchEnv* environment);

/// Reads trees on first need, once; later changes to them are not seen. All candidates come in the
/// order of the trees and then of their paths, a file that has several names by the first of them.
/// Nothing is found while the options switch it off. Callable from any thread.
class ContentScan {
public:
    explicit ContentScan(ScanOptions options);
    ~ContentScan();
    ContentScan(ContentScan const&) = delete;
    ContentScan& operator=(ContentScan const&) = delete;

    ScanOptions const& options() const { return m_options; }

    /// ELF files of a build-id; `withPacked` adds kernels and modules that hold it when unpacked,
    /// which takes the unpacking of all.
    std::vector<Candidate> files(TreeRoots const& roots, BuildId const& buildId, bool withPacked);

    /// Sources with that MD5, in bytes: those called `bareName`, or if there are none those of any
    /// name that sources have.
    std::vector<Candidate> sources(TreeRoots const& roots, std::string_view bareName,
                                   std::string_view md5);

private:
    class ElfTrees;
    class SourceTrees;

    ScanOptions m_options;
    toolbelt2::mutex_t m_mutex;
    FileIndex m_index TOOLBELT2_GUARDED_BY(m_mutex);
    std::map<TreeRoots, std::unique_ptr<ElfTrees>> m_elf TOOLBELT2_GUARDED_BY(m_mutex);
    std::map<TreeRoots, std::unique_ptr<SourceTrees>> m_sources TOOLBELT2_GUARDED_BY(m_mutex);
};

} // namespace lokata::profile
