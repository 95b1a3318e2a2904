#include <lokata/profile/archive.h>

#include "facts/elf_facts.h"
#include "read/names.h"
#include "resolve/searched_name.h"
#include "search/file_places.h"

#include <lokata2/utils.h>

#include <algorithm>
#include <set>
#include <tuple>

namespace lokata::profile {

namespace {

class Archiver {
public:
    explicit Archiver(std::string const& directory) : m_directory(directory) {}

    /// `names` are those that a search may ask for; a file with another name gets the first.
    void add(FileResolution const& file, LK_2_13::search_category_t category,
             std::vector<std::string> const& names) {
        std::string const own = LK_2_13::utils::getFileNameOnly(file.path.c_str());
        bool const isKnown = std::find(names.begin(), names.end(), own) != names.end();
        std::string const& name = isKnown || names.empty() ? own : names.front();
        if (!m_known.emplace(file.path, category, name).second)
            return;
        ArchivedFile archived = archiveFile(file.path, m_directory, category, name);
        if (archived.path.empty())
            outcome.errors.push_back(std::move(archived.error));
        else
            ++(archived.added ? outcome.added : outcome.kept);
    }

    ArchiveOutcome outcome;

private:
    std::string m_directory;
    std::set<std::tuple<std::string, LK_2_13::search_category_t, std::string>> m_known;
};

std::vector<std::string> bareNames(std::vector<std::string> names) {
    for (std::string& name : names)
        name = LK_2_13::utils::getFileNameOnly(name.c_str());
    return names;
}

bool isFound(std::optional<FileResolution> const& file) {
    return file && file->found();
}

void archiveModule(ModuleResolution const& module, Archiver& archiver) {
    std::string const name = searchedName(module.module);
    std::string const searchable = searchableName(name);
    BuildId const& buildId = module.module.build_id;
    if (isFound(module.binary))
        archiver.add(*module.binary, LK_2_13::scBinaryFiles,
                     bareNames({searchable.empty() ? toHex(buildId) : searchable}));
    if (!isFound(module.symbols))
        return;
    bool const isBinary = isFound(module.binary) && module.symbols->path == module.binary->path;
    ElfFacts const symbols = readElfFacts(module.symbols->path);
    if (!isBinary) {
        std::optional<DebugLink> const link =
            isFound(module.binary) ? readElfFacts(module.binary->path).debug_link : std::nullopt;
        archiver.add(
            *module.symbols, LK_2_13::scSymbolFiles,
            bareNames(symbolFileNames(name, buildId.empty() ? symbols.build_id : buildId, link)));
    }
    if (isFound(module.supplementary) && symbols.alt_link)
        archiver.add(*module.supplementary, LK_2_13::scSymbolFiles,
                     {supplementaryFileName(*symbols.alt_link)});
}

} // namespace

ArchiveOutcome archiveFiles(ProfileResolution const& resolution, std::string const& directory) {
    Archiver archiver(directory);
    for (ModuleResolution const& module : resolution.modules)
        archiveModule(module, archiver);
    for (SourceResolution const& source : resolution.sources)
        if (source.file.found())
            archiver.add(source.file, LK_2_13::scSourceFiles,
                         bareNames({searchableName(source.name)}));
    return std::move(archiver.outcome);
}

} // namespace lokata::profile
