#pragma once

/// Where the file of a module may lie beside the directories that a search of the library walks:
/// debug trees ordered by build-id, copied trees of another machine, renamed prefixes, the cache
/// that perf keeps, that of clients of debuginfod servers. Nothing here asks whether a place holds
/// a file, but where an empty one means that there is none, and nothing is proven by it.
///
/// Names out of recorded files enter a path only after isSafeName() or isSafeBareName().

#include "facts/elf_facts.h"
#include "search/copied_trees.h"

#include <lokata/profile/places.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// Callable from any thread.
class FilePlaces {
public:
    explicit FilePlaces(PlaceOptions options);

    PlaceOptions const& options() const { return m_options; }
    CopiedTrees const& trees() const { return m_trees; }

    /// Where the name leads: renamed, and in copied trees.
    std::vector<Candidate> binary(std::string const& name) const;
    /// Where the build-id leads, whatever the name: the debug trees and the caches of other tools.
    std::vector<Candidate> storedBinary(std::string const& name, BuildId const& buildId) const;
    /// `name` is the binary as it was recorded, `binaryPath` the binary that was found, empty if
    /// none. For one debug directory the order is that of gdb: the binary itself, the file of its
    /// build-id, then the name of the debug link beside the binary, in .debug below it, and in the
    /// debug directory under the directory of the binary. Other places follow.
    std::vector<Candidate> symbols(std::string const& name, std::string const& binaryPath,
                                   BuildId const& buildId,
                                   std::optional<DebugLink> const& link) const;
    /// The paths at which the recording machine may have had the symbol file of a binary: what the
    /// debug link names, and the binary's own name.
    std::vector<std::string> recordedSymbolPaths(std::string const& name,
                                                 std::optional<DebugLink> const& link) const;
    /// The caches of other tools.
    std::vector<Candidate> storedSymbols(std::string const& name, BuildId const& buildId) const;
    std::vector<Candidate> supplementary(std::string const& symbolPath, AltLink const& link) const;
    /// A package of split DWARF (.dwp). `binaryPath` is empty if the binary was not found.
    std::vector<Candidate> package(std::string const& name, std::string const& binaryPath,
                                   std::string const& symbolPath) const;
    /// A .dwo file: `name` as the symbols have it, `fullName` with the directory of the
    /// compilation.
    std::vector<Candidate> splitUnit(std::string const& name, std::string const& fullName) const;
    std::vector<Candidate> source(std::string const& name) const;
    /// What a cache holds for the module of that build-id. `name` as the module has it.
    std::vector<Candidate> storedSource(std::string const& name, BuildId const& module) const;

private:
    void add(std::string const& path, Place place, std::vector<Candidate>& result) const;
    void addRenamed(std::string const& name, std::vector<Candidate>& result) const;
    void addBuildIdTree(BuildId const& buildId, char const* suffix,
                        std::vector<Candidate>& result) const;
    void addPerfCache(std::string const& name, BuildId const& buildId,
                      std::initializer_list<char const*> files,
                      std::vector<Candidate>& result) const;
    void addDebuginfodCache(BuildId const& buildId, std::string const& file,
                            std::vector<Candidate>& result) const;
    void addDebugLink(std::string const& directory, std::string const& link,
                      std::vector<Candidate>& result) const;

    PlaceOptions m_options;
    CopiedTrees m_trees;
};

/// The names under which a search of the library may meet the symbol file of a binary: that of its
/// debug link, that of its build-id tree, the binary's with ".debug", the binary's own. All but
/// that of the tree have the directory of `name` before them.
std::vector<std::string> symbolFileNames(std::string const& name, BuildId const& buildId,
                                         std::optional<DebugLink> const& link);

/// The name under which a search of the library may meet a supplementary file.
std::string supplementaryFileName(AltLink const& link);

/// The last components of the names, without those that are empty.
std::vector<std::string> bareNames(std::vector<std::string> names);

/// The name that a search of the library asks for: that of searchableName(), or where this is empty
/// the digits of the build-id, as the places that it leads to are still worth a look.
std::string askedName(std::string const& searchable, BuildId const& buildId);

/// The names under which a search of the library may meet a package of split DWARF.
std::vector<std::string> packageFileNames(std::string const& name, std::string const& symbolPath);

/// The recorded name in the form in which a search may use it: normalised, without leading ".."
/// steps. Empty if nothing of it is safe to use.
std::string searchableName(std::string const& name);

} // namespace lokata::profile
