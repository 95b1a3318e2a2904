#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace LK_2_13::test {

/// A real directory of one test, open to all readers. Removes itself with all that is in it.
class TempTree {
public:
    TempTree() {
        std::string name = (std::filesystem::temp_directory_path() / "lokata-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no directory for the test: " + name);
        m_root = std::filesystem::canonical(name).string();
        std::filesystem::permissions(m_root, std::filesystem::perms(0755));
    }
    ~TempTree() {
        std::error_code ignored;
        std::filesystem::remove_all(m_root, ignored);
    }
    TempTree(TempTree const&) = delete;
    TempTree& operator=(TempTree const&) = delete;

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
    std::string m_root;
};

inline std::string contentOf(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace LK_2_13::test
