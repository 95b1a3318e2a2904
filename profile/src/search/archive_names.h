#pragma once

/// Which copy an archive holds for which recorded name. The tree of copies knows bare names only,
/// so two files of one bare name would be mixed up where nothing in them tells which is which.
/// Beside the categories an archive has a directory of names, which mirrors them:
///
///     ARCHIVE/sources/a.c/MD5/a.c           a copy
///     ARCHIVE/names/sources/a.c/MD5.json    a recorded name, and which copy was stored for it
///
/// A note is named after the MD5 of its own content. So notes never collide, a plain copy of one
/// archive over another merges both, and a note that is damaged is not read.

#include <lokata/profile/resolution.h>

#include <lokata2/search_env.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace lokata::profile {

/// What is asked for: the same name can stand for another file in another module or profile.
struct RecordedName {
    LK_2_13::search_category_t category = LK_2_13::scBinaryFiles;
    std::string name; ///< In bytes as recorded, but for the mark of a removed file.
    /// Of the module that the file belongs to; empty if none is known.
    BuildId build_id;
    std::string profile; ///< `ProfileResolution::profile_id`.
};

/// What is to be kept in an archive.
struct Note {
    std::vector<std::string> directories; ///< One below the other, the first in the archive.
    std::string file;
    std::string content;
};

/// Says that the copy `file`, a bare name, of that MD5 was stored for a name. The note tells the
/// module by its build-id, or else the profile.
Note noteOf(RecordedName const& name, std::string const& file, std::string const& md5);

/// The copies that archives hold for one recorded name, and for others.
class OwnCopies {
public:
    /// Where the copies for this name lie, those of the nearest archive first. More than one that
    /// differ if nothing tells which is the right one.
    std::vector<std::string> const& paths() const { return m_paths; }

    /// Rejects a copy that nothing has proven and that is there for another name, or of which
    /// nothing tells whether it is the one for this name.
    void check(std::string const& md5, JudgedCandidate& candidate) const;

private:
    friend class ArchiveNames;

    std::vector<std::string> m_paths;
    std::set<std::string> m_own;
    std::set<std::string> m_others; ///< Of all notes for the bare name.
    std::set<std::string> m_held;   ///< With a note or without.
};

/// The MD5s of the copies that archives hold for one name, by the build-id of the module that they
/// were stored for; by the empty one those stored for a profile.
using CopiesByModule = std::map<BuildId, std::set<std::string>>;

/// Reads the notes in the archives of one environment, each directory of them once. For one thread
/// at a time. Notes are foreign data; one that is not what it should be is passed over.
class ArchiveNames {
public:
    /// `environment` may be null. An archive is known by a directory of its category's word.
    explicit ArchiveNames(LK_2_13::ISearchEnv* environment);

    /// `files` are the bare names that a copy may have.
    OwnCopies ownCopies(RecordedName const& asked, std::vector<std::string> const& files);
    CopiesByModule copiesByModule(LK_2_13::search_category_t category, std::string const& name,
                                  std::vector<std::string> const& files);

private:
    struct Noted {
        std::string name; ///< As displayName() gives it.
        BuildId build_id;
        std::string profile;
        std::string md5;
    };
    using Notes = std::vector<Noted>;

    static std::optional<Noted> parse(std::string const& content,
                                      LK_2_13::search_category_t category, std::string const& file);
    Notes const& notes(std::string const& archive, LK_2_13::search_category_t category,
                       std::string const& file);

    std::map<LK_2_13::search_category_t, std::vector<std::string>> m_archives;
    std::map<std::string, Notes> m_notes;
};

} // namespace lokata::profile
