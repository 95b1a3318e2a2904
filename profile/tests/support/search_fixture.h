#pragma once

#include "support/elf_builder.h"

#include "search/file_places.h"
#include "temp_tree.h"

#include <lokata/profile/archive.h>

#include <gmock/gmock.h>

#include <lokata2/lokata2.h>

namespace lokata::profile::test {

inline BuildId const c_id{1, 2, 3, 4, 5, 6, 7, 8};
inline BuildId const c_otherId{9, 9, 9, 9};

/// "PLACE PATH" of the file that was found; empty if none was.
inline std::string foundAt(FileResolution const& file) {
    return file.found() ? std::string(wordOf(c_places, file.place)) + " " + file.path : "";
}

/// "SEVERITY PATH ACTUAL: MESSAGE" of each candidate that was rejected.
inline std::vector<std::string> rejections(FileResolution const& file) {
    std::vector<std::string> result;
    for (JudgedCandidate const& each : file.rejected)
        result.push_back(std::string(wordOf(c_severities, each.severity)) + " " + each.path + " " +
                         each.identity.actual + ": " + each.message);
    return result;
}

/// A tree to search in, with a debug directory and an environment that so far names nothing.
class SearchFixture : public ::testing::Test {
protected:
    SearchFixture() {
        m_options.debug_dirs = {m_tree.path("debug")};
        m_environment->setSearchDirs(LK_2_13::ObjectPtr<LK_2_13::ISearchDirContainer>(m_dirs));
    }

    void searchIn(char const* directory, bool recursive = true) {
        m_dirs->addDirectory(LK_2_13::scAllFiles, m_tree.dir(directory).c_str(), recursive, false);
    }
    void searchOnlyIn(std::string const& archive) {
        auto const archives = LK_2_13::IEditableSearchDirContainer::create();
        for (auto const& [category, word] : c_archiveCategories)
            archives->addDirectory(category, (archive + "/" + std::string(word)).c_str(), true,
                                   false);
        m_environment->setArchiveDirs(LK_2_13::ObjectPtr<LK_2_13::ISearchDirContainer>(archives));
        m_environment->setSearchDirs(nullptr);
    }
    LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> environment() const { return m_environment; }

    std::string binary(std::string const& name, BuildId const& id) const {
        return ElfBuilder().buildId(id).write(m_tree.file(name));
    }
    std::string symbols(std::string const& name, BuildId const& id) const {
        return ElfBuilder().buildId(id).debugInfo().write(m_tree.file(name));
    }

    TempTree m_tree;
    PlaceOptions m_options;
    LK_2_13::ObjectPtr<LK_2_13::IEditableSearchEnv> m_environment =
        LK_2_13::IEditableSearchEnv::create();
    LK_2_13::ObjectPtr<LK_2_13::IEditableSearchDirContainer> m_dirs =
        LK_2_13::IEditableSearchDirContainer::create();
};

} // namespace lokata::profile::test
