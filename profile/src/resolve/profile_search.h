#pragma once

#include "resolve/source_list.h"
#include "search/kernel_places.h"
#include "search/module_search.h"
#include "search/name_lists.h"
#include "search/path_mapping.h"
#include "search/split_search.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// The searches of one profile: what it takes beside what the resolver keeps for all. For one
/// thread.
class ProfileSearch {
public:
    ProfileSearch(LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> const& environment,
                  SearchSupport& support, ProfileResolution const& resolution);
    /// Searches as the other does, on a thread of its own, and knows nothing of what that learned.
    ProfileSearch(ProfileSearch const& other);
    ProfileSearch& operator=(ProfileSearch const&) = delete;
    ~ProfileSearch() = default;

    /// Fills the rest of `result`, of which only the module is set.
    void resolve(ModuleResolution& result);
    void learn(ModuleResolution const& module);
    /// Tries what was learned on what is missing.
    void tryLearned(ModuleResolution& module);
    /// Looks for what is still missing into all files of the search trees.
    void scan(ModuleResolution& module);
    /// When all has been tried: takes what is left for symbols, and tells how far they reach.
    void conclude(ModuleResolution& module);

    CopiesByModule archivedSources(std::string const& name) {
        return m_search.archivedSources(name);
    }
    FileResolution findSource(SourceQuestion const& source) {
        return m_search.findSource(source.source, source.build_ids.front());
    }
    void learn(SourceResolution const& source);
    void tryLearned(SourceQuestion const& source, FileResolution& file);
    void scan(SourceQuestion const& source, FileResolution& file);

    LearnedPaths const& learned() const { return m_learned; }

private:
    std::vector<Candidate> hints(Module const& module, std::string const& name);
    std::optional<LiveFile> liveFileOf(Module const& module) const;
    FileResolution findLive(Module const& module, LiveFile const& live);
    std::optional<DebugLink> debugLinkOf(FileResolution const& binary);
    static void judge(ModuleResolution& module);
    SymbolLevel levelOf(ModuleResolution const& module);
    static bool areSymbolsWhole(ModuleResolution const& module);
    void takeNameList(ModuleResolution& module);
    Boxed<OwningPackage> packageOf(FileResolution const& binary);
    void findSymbols(ModuleResolution& module, std::vector<Candidate> const& hinted);
    void tryLearnedSymbols(ModuleResolution& module);
    void completeSymbols(ModuleResolution& module);
    void scanForBinary(ModuleResolution& module);
    void scanForSymbols(ModuleResolution& module);
    static SplitOwner splitOwnerOf(ModuleResolution const& module);

    std::uint32_t m_process; ///< Of a recording of a running one.
    LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> m_environment;
    SearchSupport& m_support;
    SearchSettings m_settings;
    ModuleSearch m_search;
    std::shared_ptr<KernelPlaces> m_kernel;
    NameLists m_lists;
    LearnedPaths m_learned;
};

} // namespace lokata::profile
