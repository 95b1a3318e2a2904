#include <optstore2/user_directories.h>

#include <toolbelt2/path.h>

#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace optstore2 {
namespace {

/// The absolute path that a variable holds; empty for anything else.
std::string pathIn(char const* variable) {
    char const* const value = ::secure_getenv(variable);
    return value != nullptr && *value == '/' ? value : "";
}

std::string inUserDatabase() {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE)
        buffer.resize(buffer.size() * 2);
    bool const isKnown = found != nullptr && found->pw_dir != nullptr && *found->pw_dir == '/';
    return isKnown ? found->pw_dir : "";
}

std::string directory(char const* variable, char const* nameInHome) {
    std::string const named = pathIn(variable);
    std::string const home = named.empty() ? homeDirectory() : "";
    return home.empty() ? named : toolbelt2::join_path(home, nameInHome);
}

} // namespace

std::string homeDirectory() {
    std::string const named = pathIn("HOME");
    return named.empty() ? inUserDatabase() : named;
}

std::string configDirectory() {
    return directory("XDG_CONFIG_HOME", ".config");
}

std::string cacheDirectory() {
    return directory("XDG_CACHE_HOME", ".cache");
}

} // namespace optstore2
