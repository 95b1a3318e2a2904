#include <lokata2/utils.h>

#include "lk_log.h"
#include "lk_path.h"
#include "lk_text.h"

#include <boost/filesystem/operations.hpp>
#include <optstore2/product_locations.h>

#include <sys/stat.h>

namespace LK_2_13::utils {

/// The first question about every candidate of a search, hence the plain call: any error, not only
/// a missing file, reads as false.
bool fileExists(char const* name) {
    struct stat status {};
    return name != nullptr && ::stat(name, &status) == 0;
}

bool isDirectory(char const* name) {
    struct stat status {};
    return name != nullptr && ::stat(name, &status) == 0 && S_ISDIR(status.st_mode);
}

bool removeFile(char const* name) try {
    return boost::filesystem::remove(orEmpty(name));
} catch (...) {
    return false;
}

bool createDir(char const* name) try {
    return boost::filesystem::create_directory(getCanonicalName(name, false));
} catch (...) {
    return false;
}

int createUniqueTempDir(std::string& directory) {
    constexpr int c_failed = 4;
    constexpr int c_maxTries = 30;
    std::string const parent = optstore2::IProductLocations::get()->getTempDirectory();
    for (int i = 0; i < c_maxTries && !parent.empty(); ++i) {
        boost::system::error_code error;
        std::string const name =
            boost::filesystem::unique_path("lk-%%%%-%%%%-%%%%-%%%%", error).string();
        std::string candidate = paths::join(parent, name);
        if (!error && createDir(candidate.c_str())) {
            directory = std::move(candidate);
            return 0;
        }
    }
    LK_LOG_ERROR("Cannot create temp directory");
    return c_failed;
}

} // namespace LK_2_13::utils
