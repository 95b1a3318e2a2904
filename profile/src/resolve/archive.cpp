#include <lokata/profile/archive.h>

#include "facts/elf_facts.h"
#include "read/names.h"
#include "read/reasons.h"
#include "resolve/searched_name.h"
#include "search/file_places.h"

#include <lokata2/utils.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <tuple>

namespace lokata::profile {

namespace fs = std::filesystem;

namespace {

/// Lends files another name: the library archives a file under its own.
class Renamer {
public:
    Renamer() {
        std::error_code error;
        std::string name = (fs::temp_directory_path(error) / "lokata-XXXXXX").string();
        if (!error && ::mkdtemp(name.data()) != nullptr)
            m_directory = name;
    }
    ~Renamer() {
        std::error_code ignored;
        if (!m_directory.empty())
            fs::remove_all(m_directory, ignored);
    }
    Renamer(Renamer const&) = delete;
    Renamer& operator=(Renamer const&) = delete;

    /// A link to the file, good until the next call; empty if it cannot be made.
    std::string lend(std::string const& path, std::string const& name) {
        std::error_code error;
        fs::path const link = fs::path(m_directory) / name;
        fs::remove(link, error);
        fs::create_symlink(fs::absolute(path), link, error);
        return m_directory.empty() || error ? std::string() : link.string();
    }

private:
    std::string m_directory;
};

class Archiver {
public:
    explicit Archiver(std::string const& directory) : m_directory(directory) {
        std::error_code ignored; // shows as a failure of the first file
        fs::create_directories(directory, ignored);
    }

    /// `names` are those that a search may ask for; a file with another name gets the first.
    void add(FileResolution const& file, char const* category,
             std::vector<std::string> const& names) {
        std::string const own = LK_2_13::utils::getFileNameOnly(file.path.c_str());
        bool const isKnown = std::find(names.begin(), names.end(), own) != names.end();
        std::string const& name = isKnown || names.empty() ? own : names.front();
        if (!m_known.emplace(file.path, category, name).second)
            return;
        std::string const source = name == own ? file.path : m_renamer.lend(file.path, name);
        std::string archived;
        switch (LK_2_13::utils::archiveFile(source.c_str(), m_directory.c_str(), category, archived,
                                            false)) {
        case LK_2_13::afOk:
            ++outcome.added;
            break;
        case LK_2_13::afAlreadyArchived:
            ++outcome.kept;
            break;
        case LK_2_13::afDirectoryError:
            fail(ReasonKey::archive_directory, file.path);
            break;
        case LK_2_13::afNoChecksum:
            fail(ReasonKey::archive_unread, file.path);
            break;
        default:
            fail(ReasonKey::archive_copy, file.path);
        }
    }

    ArchiveOutcome outcome;

private:
    void fail(ReasonKey reason, std::string const& path) {
        outcome.errors.push_back(reasonText(reason, {path, m_directory}));
    }

    std::string m_directory;
    Renamer m_renamer;
    std::set<std::tuple<std::string, std::string, std::string>> m_known;
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
        archiver.add(*module.binary, "binaries",
                     bareNames({searchable.empty() ? toHex(buildId) : searchable}));
    if (!isFound(module.symbols))
        return;
    bool const isBinary = isFound(module.binary) && module.symbols->path == module.binary->path;
    ElfFacts const symbols = readElfFacts(module.symbols->path);
    if (!isBinary) {
        std::optional<DebugLink> const link =
            isFound(module.binary) ? readElfFacts(module.binary->path).debug_link : std::nullopt;
        archiver.add(
            *module.symbols, "symbols",
            bareNames(symbolFileNames(name, buildId.empty() ? symbols.build_id : buildId, link)));
    }
    if (isFound(module.supplementary) && symbols.alt_link)
        archiver.add(*module.supplementary, "symbols", {supplementaryFileName(*symbols.alt_link)});
}

} // namespace

ArchiveOutcome archiveFiles(ProfileResolution const& resolution, std::string const& directory) {
    Archiver archiver(directory);
    for (ModuleResolution const& module : resolution.modules)
        archiveModule(module, archiver);
    for (SourceResolution const& source : resolution.sources)
        if (source.file.found())
            archiver.add(source.file, "sources", bareNames({searchableName(source.name)}));
    return std::move(archiver.outcome);
}

} // namespace lokata::profile
