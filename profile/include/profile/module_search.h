#pragma once

/// One search for one file of a profile, with the proof of what it is: the library's search over an
/// environment, with the places of `FilePlaces` as suggestions and the validators of `identity.h`.

#include "profile/directory_index.h"
#include "profile/file_places.h"
#include "profile/identity.h"

#include <lokata2/file_search.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

struct FoundFile {
    std::string path; ///< Canonical.
    LK_2_13::confidence_t confidence = LK_2_13::cfValidated;
    LK_2_13::search_step_t step = LK_2_13::ssAskUser;
    Place place = Place::search_step; ///< What suggested it, if no step found it.
    Identity identity;
};

struct RejectedFile {
    std::string path; ///< Canonical.
    LK_2_13::severity_t severity = LK_2_13::svNone;
    LK_2_13::search_step_t step = LK_2_13::ssAskUser;
    std::string message;
    Identity identity;
};

struct SearchOutcome {
    std::optional<FoundFile> file;
    std::vector<RejectedFile> rejected; ///< In the order of meeting them; one entry a path.
    std::vector<Candidate> suggested;   ///< What was tried beside the steps, also if it is missing.
    std::vector<LK_2_13::search_step_t> steps; ///< Those that ran, in order.
    /// The remap that this find taught, if it is a new one.
    std::optional<PathSubstitution> learned;
    std::chrono::microseconds elapsed{0};
};

/// What the searches of one run share. Callable from any thread; outlives its searches.
struct SearchSupport {
    explicit SearchSupport(PlaceOptions options) : places(std::move(options), learned) {}

    ElfFactsCache elf;
    LearnedPaths learned;
    FilePlaces places;
    DirectoryIndex directories;
};

/// Runs searches, one at a time; threads have one each. The callbacks, steps and directories of the
/// environment keep their meaning: its callbacks are asked first.
///
/// Names are taken as recorded, without marks such as " (deleted)", and come from foreign files:
/// what is not safe to use of them is not used. An outcome without file and without refusals means
/// that no such file exists.
class ModuleSearch {
public:
    /// `environment` may be null. With `useIndex` the search directories are read once for all
    /// searches over `support`; the files found are the same.
    ModuleSearch(LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> const& environment, SearchSupport& support,
                 bool useIndex = true);
    ~ModuleSearch();
    ModuleSearch(ModuleSearch const&) = delete;
    ModuleSearch& operator=(ModuleSearch const&) = delete;

    /// `stepsSelector` goes to the steps configurator of the environment. `hints` are tried before
    /// all other places.
    SearchOutcome findBinary(std::string const& name, BuildId const& buildId,
                             unsigned long long stepsSelector = 0,
                             std::vector<Candidate> const& hints = {});
    /// `binaryPath` is the binary that was found, empty if none; then the recorded `buildId`
    /// stands in for what the binary would tell.
    SearchOutcome findSymbols(std::string const& name, std::string const& binaryPath,
                              BuildId const& buildId, std::vector<Candidate> const& hints = {});
    /// Empty for a symbol file that names no supplementary file.
    std::optional<SearchOutcome> findSupplementary(std::string const& symbolPath);
    SearchOutcome findSource(SourceFile const& source, std::string const& binaryPath);

private:
    class Environment;

    template <class Find>
    void run(SearchOutcome& outcome, std::vector<Candidate> suggestions,
             IdentityValidator& validator, Find const& find, bool runSteps = true);
    void learn(std::string const& name, SearchOutcome& outcome);

    SearchSupport& m_support;
    LK_2_13::ObjectPtr<Environment> m_environment;
    LK_2_13::ObjectPtr<LK_2_13::IFileSearch> m_search;
};

} // namespace lokata::profile
