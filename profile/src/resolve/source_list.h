#pragma once

#include "facts/elf_facts.h"
#include "facts/source_files.h"
#include "search/archive_names.h"

#include <lokata/profile/resolution.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace lokata::profile {

/// What is to be looked for, for all modules that share the answer.
struct SourceQuestion {
    WantedSource source;            ///< Its binary is that of the first of them.
    std::string module;             ///< The first of them.
    std::vector<BuildId> build_ids; ///< Of all of them; empty where none is known.
    std::size_t entry;              ///< Questions of one entry are about one name and identity.
    /// All modules that name it, by their place in the resolution.
    std::vector<std::uint32_t> modules;
};

/// The source files that a run has yet to look for, each once, with the modules that name it.
class SourceList {
public:
    /// What the symbols of the modules tell, and then what the profile itself names.
    SourceList(ProfileResolution const& resolution, ElfFactsCache& cache);

    /// Why not all files that the symbols of a module name are in the list; empty if all are.
    Boxed<std::string> errorOf(ModuleResolution const& module) const;

    /// Gives what archives hold under the name of a source, by module.
    using CopiesOf = std::function<CopiesByModule(std::string const& name)>;

    /// One for each entry, but where nothing in a file can tell which one is meant and archives
    /// hold different copies for its modules, one for each copy; so no answer depends on which
    /// module names the file first.
    std::vector<SourceQuestion> questions(CopiesOf const& copiesOf) const;

private:
    struct Entry {
        SourceFile file;
        std::vector<std::size_t> askers; ///< No two of one build-id, and one if it has an MD5.
        std::vector<std::size_t> namers; ///< All of them, but each symbol file once.
    };
    struct Asker {
        std::string module;
        std::string binary;
        std::int64_t written = 0; ///< The binary, in seconds since the epoch.
        BuildId build_id;
        std::size_t equal; ///< The first one of that build-id.
        /// The others that the names of this one were read for, from the same symbol file.
        std::vector<std::size_t> sharers;
    };

    void readSymbols(ModuleResolution const& module, std::size_t asker);
    void addAsker(ModuleResolution const& module, BuildId const& buildId);
    void add(SourceFile file, std::size_t asker);
    void addName(std::string const& name, std::size_t asker);
    SourceQuestion questionOf(std::size_t entry, std::vector<std::size_t> const& askers) const;
    std::vector<std::uint32_t> modulesOf(Entry const& entry,
                                         std::vector<std::size_t> const& askers) const;
    std::vector<std::vector<std::size_t>> groupsOf(Entry const& entry,
                                                   CopiesOf const& copiesOf) const;

    std::vector<Asker> m_askers; ///< The modules.
    std::map<BuildId, std::size_t> m_firstAskers;
    std::vector<Entry> m_entries;
    std::map<std::tuple<std::string, decltype(SourceIdentity::md5), std::uint64_t, std::uint64_t>,
             std::size_t>
        m_known;
    std::set<std::string> m_names;
    std::map<std::string, std::string> m_errors;  ///< By the symbol files that were read.
    std::map<std::string, std::size_t> m_readers; ///< By them, too; for which module.
};

} // namespace lokata::profile
