#pragma once

#include <toolbelt2/temporary_directory.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

/// A real directory of one test, open to all readers. Removes itself with all that is in it.
class TempTree {
public:
    TempTree() { std::filesystem::permissions(m_root, std::filesystem::perms(0755)); }

    std::string const& root() const { return m_root; }

    /// The absolute path of a name below the root; makes nothing.
    std::string path(std::string_view name) const { return m_root + "/" + std::string(name); }

    /// Makes a directory with its parents; gives its absolute path.
    std::string dir(std::string_view name) const {
        std::filesystem::create_directories(path(name));
        return path(name);
    }

    /// Writes a file, making its parents; gives its absolute path.
    std::string file(std::string_view name, std::string_view content = "") const {
        std::string result = path(name);
        std::filesystem::create_directories(std::filesystem::path(result).parent_path());
        std::ofstream(result, std::ios::binary) << content;
        return result;
    }

    /// Makes a symbolic link, making its parents; gives its absolute path.
    std::string link(std::string_view name, std::string_view target) const {
        std::string result = path(name);
        std::filesystem::create_directories(std::filesystem::path(result).parent_path());
        std::filesystem::create_symlink(target, result);
        return result;
    }

private:
    toolbelt2::temporary_directory_t m_directory{"lokata-test-"};
    std::string m_root = std::filesystem::canonical(m_directory.path()).string();
};

inline std::string contentOf(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
