#include <lokata2/utils.h>

#include "lk_path.h"
#include "lk_text.h"

#include <array>
#include <cctype>
#include <climits>
#include <cstring>

#include <pwd.h>
#include <unistd.h>

namespace LK_2_13::utils {

std::string getCanonicalName(char const* name, bool addTrailingSeparator) {
    std::string path(orEmpty(name));
    paths::fixWindowsSeparators(path);
    path = paths::normalName(path);
    return addTrailingSeparator ? paths::join(path, "") : path;
}

int compareCanonicalFileNames(char const* a, char const* b) {
    int const difference = std::strcmp(orEmpty(a), orEmpty(b));
    return (difference > 0) - (difference < 0);
}

std::string getFileNameOnly(char const* name) {
    return std::string(paths::fileName(orEmpty(name)));
}

std::string getFileNameBase(char const* name) {
    return std::string(paths::stem(orEmpty(name)));
}

std::string addSubPart(char const* directory, char const* part) {
    return paths::join(orEmpty(directory), orEmpty(part));
}

std::string toUpper(char const* text) {
    std::string result(orEmpty(text));
    for (char& c : result)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return result;
}

std::string getUserId() {
    std::array<char, LOGIN_NAME_MAX> login{};
    if (getlogin_r(login.data(), login.size()) == 0 && login.front() != '\0')
        return login.data();

    std::array<char, 16384> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->pw_name != nullptr && *found->pw_name != '\0')
        return found->pw_name;
    return "unknown_user";
}

} // namespace LK_2_13::utils
