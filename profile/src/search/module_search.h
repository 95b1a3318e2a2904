#pragma once

/// One search for one file of a profile, with the proof of what it is: the library's search over an
/// environment, with the places of `FilePlaces` as suggestions and the validators of `identity.h`.

#include "facts/package_owners.h"
#include "facts/present_paths.h"
#include "facts/symbol_tables.h"
#include "search/directory_index.h"
#include "search/file_places.h"
#include "search/identity.h"
#include "search/scan/content_scan.h"

#include <lokata/profile/resolution.h>

#include <lokata2/file_search.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// What the searches of one run share. Callable from any thread; must outlive its searches.
struct SearchSupport {
    explicit SearchSupport(PlaceOptions options)
        : places(std::move(options))
        , packages(places.options().sysroot,
                   places.trees().resolve(places.options().sysroot + "/var/lib/dpkg/info"))
        , scan(places.options().scan) {}

    ElfFactsCache elf;
    SplitContentsCache split;
    ContentDigests digests;
    FilePlaces places;
    DirectoryIndex directories;
    PresentPaths paths;
    PackageOwners packages;
    ContentScan scan;

    SymbolTables symbolTables(std::string const& path) {
        return symbolTables(path, *elf.facts(path));
    }
    SymbolTables symbolTables(std::string const& path, ElfFacts const& facts) {
        SymbolTables tables = facts.symbol_tables;
        if (!tables.has_names && facts.has_packed_table)
            tables.has_names = m_packedNames.get(path, hasPackedNames);
        return tables;
    }

private:
    FileMemo<bool> m_packedNames;
};

struct SearchSettings {
    /// Reads the search directories once for all searches over one support; the files found are
    /// the same without.
    bool use_index = true;
    /// As uname -r gives it; stands in where the environment tells none.
    std::string kernel_release;
    std::string profile{}; ///< See `RecordedName::profile`.
};

class OverlaidEnvironment;

/// Runs searches, one at a time; threads have one each. The callbacks, steps and directories of the
/// environment keep their meaning: its callbacks are asked first.
///
/// Names are taken as recorded, without marks such as " (deleted)", and come from foreign files:
/// what is not safe to use of them is not used. A result without file and without rejections means
/// that no such file exists.
class ModuleSearch {
public:
    /// `environment` may be null.
    ModuleSearch(LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> const& environment, SearchSupport& support,
                 SearchSettings const& settings = {});
    ~ModuleSearch();
    ModuleSearch(ModuleSearch const&) = delete;
    ModuleSearch& operator=(ModuleSearch const&) = delete;

    /// `hints` are tried before all other places.
    FileResolution findBinary(std::string const& name, BuildId const& buildId,
                              std::vector<Candidate> const& hints = {},
                              BinaryClues const& clues = {});
    /// `binaryPath` is the binary that was found, empty if none; then the recorded `buildId`
    /// stands in for what the binary would tell.
    FileResolution findSymbols(std::string const& name, std::string const& binaryPath,
                               BuildId const& buildId, std::vector<Candidate> const& hints = {});
    /// With what confidence the environment's policy accepts what nothing proves, of that place and
    /// category; empty if it rejects it.
    std::optional<LK_2_13::confidence_t> unprovenConfidence(LK_2_13::search_category_t category,
                                                            LK_2_13::search_step_t step) const;
    /// Takes the best of the files that were rejected for nothing but the lack of debug
    /// information, if one has a symbol table.
    void takeSymbolTable(FileResolution& symbols);
    /// Empty for a symbol file that names no supplementary file.
    Boxed<FileResolution> findSupplementary(std::string const& symbolPath);
    /// A file that symbols are incomplete without, looked for as symbol files are. `owner` is the
    /// file that it belongs to, `names` are tried in turn, `expected` is what the validator
    /// compares.
    FileResolution findPart(std::vector<std::string> const& names, std::string const& owner,
                            std::vector<Candidate> candidates, Identity expected,
                            IdentityValidator& validator);
    /// `module` is the build-id of the module that names the source; empty if it has none.
    FileResolution findSource(WantedSource const& source, BuildId const& module = {});
    CopiesByModule archivedSources(std::string const& name) {
        return m_names.copiesByModule(LK_2_13::scSourceFiles, name,
                                      bareNames({searchableName(name)}));
    }

    /// What the search trees hold of a build-id, or of the MD5 of a source. `withPacked`: kernels
    /// and modules too that are packed.
    std::vector<Candidate> scannedFiles(BuildId const& buildId, bool withPacked);
    std::vector<Candidate> scannedSources(SourceFile const& source);

    /// Looks at nothing but `candidates`, and puts what came of it behind what `result` says of the
    /// search that found nothing.
    void tryBinary(std::string const& name, BuildId const& buildId,
                   std::vector<Candidate> candidates, FileResolution& result,
                   BinaryClues const& clues = {});
    void trySymbols(std::string const& name, std::string const& binaryPath, BuildId const& buildId,
                    std::vector<Candidate> candidates, FileResolution& result);
    /// `result` is what findSupplementary() gave for that file.
    void trySupplementary(std::string const& symbolPath, std::vector<Candidate> candidates,
                          FileResolution& result);
    void tryPart(std::string const& name, std::string const& owner,
                 std::vector<Candidate> candidates, IdentityValidator& validator,
                 FileResolution& result);
    void trySource(WantedSource const& source, std::vector<Candidate> candidates,
                   FileResolution& result);

private:
    /// Takes them down in `result` as tried, and gives those that lead to anything.
    std::vector<Candidate> present(std::vector<Candidate> candidates, FileResolution& result);

    /// `suggestions` are present.
    template <class Find>
    void run(FileResolution& result, std::vector<Candidate> suggestions,
             IdentityValidator& validator, Find const& find, bool runSteps = true);

    std::vector<Candidate> findInArchives(LK_2_13::search_category_t category,
                                          std::string const& name, BuildId const& buildId,
                                          std::vector<std::string> const& files,
                                          IdentityValidator& validator);

    SearchSupport& m_support;
    LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> m_client; ///< May be null.
    std::string m_profile;
    ArchivedCopies m_copies;
    ArchiveNames m_names;
    LK_2_13::ObjectPtr<OverlaidEnvironment> m_environment;
    LK_2_13::ObjectPtr<LK_2_13::IFileSearch> m_search;
};

} // namespace lokata::profile
