#include "search/archive_names.h"

#include "facts/foreign_file.h"
#include "facts/md5.h"
#include "read/reasons.h"
#include "search/archived_copies.h"

#include <lokata/profile/archive.h>

#include <toolbelt2/directory_entries.h>
#include <toolbelt2/hex.h>
#include <toolbelt2/path.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace lokata::profile {

using namespace LK_2_13;
using toolbelt2::join_path;

namespace {

constexpr std::string_view c_namesDirectory = "names";
constexpr std::string_view c_noteSuffix = ".json";
constexpr int c_noteVersion = 1;
/// A name of 4096 bytes, all of them escaped, with room to spare.
constexpr std::uint64_t c_maxNote = 1U << 15;

/// The text of a member; empty if it is another kind of value, or missing.
std::string textOf(nlohmann::json const& object, char const* member) {
    auto const found = object.find(member);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

std::optional<std::string> readNote(std::string const& path, std::string_view fileName) {
    if (fileName.size() != 2 * c_md5Size + c_noteSuffix.size() ||
        fileName.substr(2 * c_md5Size) != c_noteSuffix)
        return std::nullopt;
    ForeignFile const file(path);
    std::string content;
    if (!file.error().empty() || file.size() > c_maxNote || !file.read(0, file.size(), content) ||
        textMd5(content) != fileName.substr(0, 2 * c_md5Size))
        return std::nullopt;
    return content;
}

/// True if a note tells of the very module, or of the very profile where no module is known by a
/// build-id.
template <class Noted>
bool isOwn(Noted const& noted, RecordedName const& asked) {
    if (!noted.build_id.empty())
        return noted.build_id == asked.build_id;
    return !noted.profile.empty() && noted.profile == asked.profile;
}

} // namespace

Note noteOf(RecordedName const& name, std::string const& file, std::string const& md5) {
    std::string_view const category = wordOf(c_archiveCategories, name.category);
    nlohmann::ordered_json note{{"version", c_noteVersion},
                                {"category", category},
                                {"name", displayName(name.name)},
                                {"build_id", nullptr},
                                {"profile", nullptr},
                                {"file", displayName(file)},
                                {"md5", md5}};
    if (!name.build_id.empty())
        note["build_id"] = toHex(name.build_id);
    else
        note["profile"] = name.profile;
    std::string content = note.dump() + "\n";
    return {{std::string(c_namesDirectory), std::string(category), file},
            textMd5(content) + std::string(c_noteSuffix),
            std::move(content)};
}

std::optional<ArchiveNames::Noted> ArchiveNames::parse(std::string const& content,
                                                       search_category_t category,
                                                       std::string const& file) {
    nlohmann::json const note = nlohmann::json::parse(content, nullptr, false);
    if (!note.is_object() || note.value("version", nlohmann::json()) != c_noteVersion ||
        textOf(note, "category") != wordOf(c_archiveCategories, category) ||
        textOf(note, "file") != displayName(file))
        return std::nullopt;
    auto const buildId = toolbelt2::from_hex(textOf(note, "build_id"));
    Noted result{textOf(note, "name"), buildId.value_or(BuildId()), textOf(note, "profile"),
                 textOf(note, "md5")};
    if (result.name.empty() || !isMd5(result.md5))
        return std::nullopt;
    return result;
}

void OwnCopies::check(std::string const& md5, JudgedCandidate& candidate) const {
    if (candidate.result != vrUndecided)
        return;
    bool const isNamed = m_own.count(md5) != 0;
    bool const isOfOther = !isNamed && (!m_own.empty() || m_others.count(md5) != 0);
    auto const count = isNamed ? m_own.size() : m_held.size();
    if (!isOfOther && count <= 1)
        return;
    candidate.result = vrInvalid;
    candidate.severity = svWarning;
    candidate.message =
        isOfOther ? reasonText(ReasonKey::copy_of_other, {candidate.path})
                  : reasonText(ReasonKey::copy_ambiguous, {candidate.path, std::to_string(count)});
}

ArchiveNames::ArchiveNames(ISearchEnv* environment) {
    if (environment == nullptr)
        return;
    for (search_category_t const category : {scBinaryFiles, scSymbolFiles, scSourceFiles})
        forEachDirectory(environment->archiveDirs(category), [&](char const* name, bool, bool) {
            std::string_view const directory = toolbelt2::without_slashes_at_end(name);
            std::string_view const word = wordOf(c_archiveCategories, category);
            if (toolbelt2::last_component(directory) != word)
                return;
            std::size_t const parent = directory.size() - word.size();
            m_archives[category].emplace_back(parent == 0 ? "." : directory.substr(0, parent));
        });
}

ArchiveNames::Notes const& ArchiveNames::notes(std::string const& archive,
                                               search_category_t category,
                                               std::string const& file) {
    std::string const directory =
        join_path(archive, {c_namesDirectory, wordOf(c_archiveCategories, category), file});
    auto const [known, isNew] = m_notes.try_emplace(directory);
    if (!isNew)
        return known->second;
    std::vector<std::string> names;
    toolbelt2::read_directory(directory.c_str(), false,
                              [&](char const* name) { names.emplace_back(name); });
    std::sort(names.begin(), names.end());
    for (std::string const& name : names)
        if (auto const content = readNote(join_path(directory, name), name))
            if (auto note = parse(*content, category, file))
                known->second.push_back(std::move(*note));
    return known->second;
}

OwnCopies ArchiveNames::ownCopies(RecordedName const& asked,
                                  std::vector<std::string> const& files) {
    OwnCopies result;
    std::vector<std::string> const& archives = m_archives[asked.category];
    if (archives.empty())
        return result;
    std::string const name = displayName(asked.name);
    std::string_view const category = wordOf(c_archiveCategories, asked.category);
    for (std::string const& archive : archives)
        for (std::string const& file : files) {
            toolbelt2::read_directory(join_path(archive, {category, file}).c_str(), false,
                                      [&](char const* md5) {
                                          if (isMd5(md5))
                                              result.m_held.insert(md5);
                                      });
            for (Noted const& note : notes(archive, asked.category, file)) {
                result.m_others.insert(note.md5);
                std::string path = join_path(archive, {category, file, note.md5, file});
                if (note.name != name || !isOwn(note, asked) ||
                    std::find(result.m_paths.begin(), result.m_paths.end(), path) !=
                        result.m_paths.end())
                    continue;
                result.m_own.insert(note.md5);
                result.m_paths.push_back(std::move(path));
            }
        }
    return result;
}

CopiesByModule ArchiveNames::copiesByModule(search_category_t category, std::string const& name,
                                            std::vector<std::string> const& files) {
    CopiesByModule result;
    std::string const shown = displayName(name);
    for (std::string const& archive : m_archives[category])
        for (std::string const& file : files)
            for (Noted const& note : notes(archive, category, file))
                if (note.name == shown)
                    result[note.build_id].insert(note.md5);
    return result;
}

} // namespace lokata::profile
