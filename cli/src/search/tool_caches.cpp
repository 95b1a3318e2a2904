#include "search/tool_caches.h"

#include <optstore2/user_directories.h>
#include <toolbelt2/descriptor.h>
#include <toolbelt2/path.h>
#include <toolbelt2/text.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lokata::cli {

namespace {

using toolbelt2::join_path;

/// In bytes, of a configuration file; what is longer is left out.
constexpr std::uint64_t c_maxConfig = 1U << 20;

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool isKeyCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_';
}

/// Reads as perf does: names of sections in any case, those of variables as they are, blanks in a
/// value as one.
class PerfConfigReader {
public:
    explicit PerfConfigReader(std::string_view text) : m_text(text) {
        constexpr std::string_view c_byteOrderMark = "\xef\xbb\xbf";
        if (toolbelt2::starts_with(m_text, c_byteOrderMark))
            m_text.remove_prefix(c_byteOrderMark.size());
    }

    std::string buildIdDir() {
        std::string dir;
        std::string section;
        while (!m_text.empty()) {
            char const c = m_text.front();
            if (isSpace(c)) {
                next();
            } else if (c == '#' || c == ';') {
                skipLine();
            } else if (c == '[') {
                if (auto name = readSection())
                    section = std::move(*name);
                else
                    break;
            } else {
                std::string const key = readKey();
                auto const value = key.empty() ? std::nullopt : readValue();
                if (!value)
                    break;
                if (section == "buildid" && key == "dir")
                    dir = *value;
            }
        }
        return dir;
    }

private:
    /// The end of a line at the end of the text.
    char next() {
        if (m_text.empty())
            return '\n';
        bool const isWideEnd = toolbelt2::starts_with(m_text, "\r\n");
        char const c = isWideEnd ? '\n' : m_text.front();
        m_text.remove_prefix(isWideEnd ? 2 : 1);
        return c;
    }

    void skipLine() { m_text.remove_prefix(std::min(m_text.find('\n'), m_text.size())); }

    /// In lower case, with what may follow in quotes.
    std::optional<std::string> readSection() {
        next();
        std::string name;
        bool isQuoted = false;
        for (char c = next(); isQuoted || c != ']'; c = next()) {
            if (c == '\n')
                return std::nullopt;
            if (c == '"')
                isQuoted = !isQuoted;
            name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            if (c == '\\')
                name += next();
        }
        return name;
    }

    std::string readKey() {
        std::size_t size = 0;
        while (size < m_text.size() && isKeyCharacter(m_text[size]))
            ++size;
        std::string key(m_text.substr(0, size));
        m_text.remove_prefix(size);
        return key;
    }

    /// Empty for a variable without one.
    std::optional<std::string> readValue() {
        char c = next();
        while (c == ' ' || c == '\t')
            c = next();
        if (c == '\n')
            return std::string();
        if (c != '=')
            return std::nullopt;
        std::string value;
        bool isQuoted = false;
        bool isSpaced = false;
        for (c = next(); c != '\n'; c = next()) {
            if (isSpace(c) && !isQuoted) {
                isSpaced = !value.empty();
                continue;
            }
            if ((c == '#' || c == ';') && !isQuoted) {
                skipLine();
                continue;
            }
            value.append(isSpaced ? 1 : 0, ' ');
            isSpaced = false;
            if (c == '"')
                isQuoted = !isQuoted;
            else if (c != '\\')
                value += c;
            else if (!readEscaped(value))
                return std::nullopt;
        }
        if (isQuoted)
            return std::nullopt;
        return value;
    }

    bool readEscaped(std::string& value) {
        switch (char const c = next()) {
        case '\n':
            return true;
        case 't':
            value += '\t';
            return true;
        case 'b':
            value += '\b';
            return true;
        case 'n':
            value += '\n';
            return true;
        default:
            value += c;
            return c == '\\' || c == '"';
        }
    }

    std::string_view m_text;
};

enum class Trust { anybody, user_or_root };

/// Of a regular file that can be read and is trusted; empty for another.
std::string configAt(std::string const& path, Trust trust) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    auto const file = toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY | O_NONBLOCK);
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uint64_t>(status.st_size) > c_maxConfig)
        return {};
    if (trust == Trust::user_or_root && status.st_uid != 0 && status.st_uid != ::geteuid())
        return {};
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    std::error_code error;
    text.resize(toolbelt2::read_at(file.get(), 0, text.data(), text.size(), error));
    return text;
}

std::string configuredPerfCache(std::string const& home) {
    if (char const* const only = std::getenv("PERF_CONFIG"))
        return perfBuildIdDir(configAt(only, Trust::anybody));
    std::string dir;
    if (!home.empty())
        dir = perfBuildIdDir(configAt(join_path(home, ".perfconfig"), Trust::user_or_root));
    return dir.empty() ? perfBuildIdDir(configAt("/etc/perfconfig", Trust::anybody)) : dir;
}

} // namespace

std::string perfBuildIdDir(std::string_view config) {
    return PerfConfigReader(config).buildIdDir();
}

std::string perfCacheDirectory() {
    std::string const home = optstore2::homeDirectory();
    std::string dir = configuredPerfCache(home);
    if (dir == "/dev/null")
        return {};
    if (dir.empty())
        dir = "~/.debug";
    if (!toolbelt2::starts_with(dir, "~/"))
        return dir;
    return home.empty() ? "" : join_path(home, std::string_view(dir).substr(2));
}

std::string debuginfodCacheDirectory() {
    if (char const* const path = std::getenv("DEBUGINFOD_CACHE_PATH"); path && *path != '\0')
        return path;
    std::error_code error;
    if (std::string const home = optstore2::homeDirectory(); !home.empty())
        if (std::string old = join_path(home, ".debuginfod_client_cache");
            std::filesystem::exists(old, error))
            return old;
    std::string const cache = optstore2::cacheDirectory();
    return cache.empty() ? "" : join_path(cache, "debuginfod_client");
}

} // namespace lokata::cli
