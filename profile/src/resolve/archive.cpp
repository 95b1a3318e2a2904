#include <lokata/profile/archive.h>

#include "facts/elf_facts.h"
#include "read/reasons.h"
#include "resolve/archive_writer.h"
#include "resolve/searched_name.h"
#include "search/archived_copies.h"
#include "search/file_places.h"
#include "search/identity.h"

#include <lokata2/utils.h>

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

class Archiver {
public:
    Archiver(std::string const& directory, std::string const& profile)
        : m_directory(directory), m_profile(profile) {}

    /// `files` are the bare names that a search may ask for; a file with another name gets the
    /// first. `name` is empty for a file that is never accepted without proof: it needs no note.
    void add(FileResolution const& file, search_category_t category, std::string const& name,
             BuildId const& buildId, std::vector<std::string> const& files) {
        std::string const own = utils::getFileNameOnly(file.path.c_str());
        bool const isKnown = std::find(files.begin(), files.end(), own) != files.end();
        std::string const& bare = isKnown || files.empty() ? own : files.front();
        ArchivedFile const& copy = archive(file, category, bare);
        if (copy.path.empty() || name.empty())
            return;
        std::optional<CopyPath> const parts = parseCopyPath(copy.path);
        std::string const fault = archiveNote(
            noteOf({category, name, buildId, m_profile}, bare, parts->md5), m_directory);
        if (!fault.empty())
            outcome.errors.push_back(
                reasonText(ReasonKey::archive_copy, {file.path, m_directory, fault}));
    }

    ElfFactsCache elf;
    ArchiveOutcome outcome;

private:
    /// Once, however many names are recorded for it.
    ArchivedFile const& archive(FileResolution const& file, search_category_t category,
                                std::string const& bare) {
        auto const [known, isNew] = m_known.try_emplace({file.path, category, bare});
        ArchivedFile& copy = known->second;
        if (!isNew)
            return copy;
        copy = archiveFile(file.path, m_directory, category, bare,
                           file.stamp ? std::optional(*file.stamp) : std::nullopt);
        if (copy.path.empty())
            outcome.errors.push_back(copy.error);
        else
            ++(copy.added ? outcome.added : outcome.kept);
        return copy;
    }

    std::string m_directory;
    std::string m_profile;
    std::map<std::tuple<std::string, search_category_t, std::string>, ArchivedFile> m_known;
};

bool isFound(Boxed<FileResolution> const& file) {
    return file && file->found();
}

void archiveSplit(SplitResolution const& split, std::string const& searchable,
                  std::string const& symbols, Archiver& archiver) {
    if (split.package.found())
        archiver.add(split.package, scSymbolFiles, "", {},
                     bareNames({packageFileNames(searchable, symbols).front()}));
    for (SplitFile const& each : split.files)
        if (each.file.found())
            archiver.add(each.file, scSymbolFiles, "", {}, bareNames({searchableName(each.name)}));
}

void archiveModule(ModuleResolution const& module, Archiver& archiver) {
    std::string const name = searchedName(module.module);
    std::string const searchable = searchableName(name);
    BuildId const& buildId = module.module.build_id;
    std::string const binary = isFound(module.binary) ? module.binary->path : "";
    if (!binary.empty())
        archiver.add(*module.binary, scBinaryFiles, name, buildId,
                     bareNames({askedName(searchable, buildId)}));
    // A list of names is no symbol file for anybody else.
    bool const isList =
        isFound(module.symbols) && !archiver.elf.facts(module.symbols->path)->error.empty();
    if (!isFound(module.symbols) || isList)
        return;
    if (module.symbols->path != binary) {
        SymbolOwner const owner = symbolOwner(archiver.elf, binary, buildId);
        archiver.add(*module.symbols, scSymbolFiles, name, owner.build_id,
                     bareNames(symbolFileNames(searchable, owner.build_id, owner.debug_link)));
    }
    auto const symbols = archiver.elf.facts(module.symbols->path);
    if (isFound(module.supplementary) && symbols->alt_link)
        archiver.add(*module.supplementary, scSymbolFiles, symbols->alt_link->name,
                     symbols->alt_link->build_id, {supplementaryFileName(*symbols->alt_link)});
    if (module.split_dwarf)
        archiveSplit(*module.split_dwarf, searchable, module.symbols->path, archiver);
}

} // namespace

ArchiveOutcome archiveFiles(ProfileResolution const& resolution, std::string const& directory) {
    Archiver archiver(directory, resolution.profile_id);
    for (ModuleResolution const& module : resolution.modules)
        archiveModule(module, archiver);
    for (SourceResolution const& source : resolution.sources)
        if (source.file.found())
            for (BuildId const& buildId : source.module_build_ids)
                archiver.add(source.file, scSourceFiles, source.name, buildId,
                             bareNames({searchableName(source.name)}));
    return std::move(archiver.outcome);
}

} // namespace lokata::profile
