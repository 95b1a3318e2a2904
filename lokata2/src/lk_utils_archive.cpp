#include <lokata2/checksum.h>
#include <lokata2/utils.h>

#include "lk_path.h"

#include <boost/filesystem/operations.hpp>

#include <stdexcept>
#include <string_view>

namespace LK_2_13::utils {

namespace {

/// createDir does not tell a directory that exists from a failure, and another writer may make it
/// between the first question and the attempt.
bool ensureDirectory(std::string const& directory) {
    return isDirectory(directory.c_str()) || createDir(directory.c_str()) ||
           isDirectory(directory.c_str());
}

/// No exception leaves the archive: that of a library which refuses the algorithm means no
/// checksum.
ObjectPtr<IChecksum> md5Of(IChecksumCalculator& calculator, char const* source) {
    try {
        return calculator.calculateChecksum(source, ctMd5);
    } catch (std::runtime_error const&) {
        return {};
    }
}

bool isCopyWhole(IChecksumCalculator& calculator, std::string const& copy,
                 IChecksum const& expected) {
    ObjectPtr<IChecksum> const found = md5Of(calculator, copy.c_str());
    return found && found->isEqualTo(expected);
}

bool copy(char const* source, std::string const& target) {
    namespace fs = boost::filesystem;
    boost::system::error_code error;
    fs::copy_file(source, target, fs::copy_options::overwrite_existing, error);
    if (error)
        return false;
    // A copy would run with the rights of the archive's owner. One that lies where modes cannot be
    // changed is a copy all the same.
    fs::permissions(target, fs::remove_perms | fs::set_uid_on_exe | fs::set_gid_on_exe, error);
    return true;
}

} // namespace

archive_result_t archiveFile(char const* source, char const* root, char const* category,
                             std::string& archivedName, bool removeSource) {
    std::string directory = root;
    if (!ensureDirectory(directory))
        return afDirectoryError;
    if (category != nullptr) {
        directory = paths::join(directory, category);
        if (!ensureDirectory(directory))
            return afDirectoryError;
    }
    std::string_view const name = paths::fileName(source);
    directory = paths::join(directory, name);
    if (!ensureDirectory(directory))
        return afDirectoryError;

    ObjectPtr<IChecksumCalculator> const calculator = IChecksumCalculator::create();
    if (!calculator)
        return afNoCalculator;
    ObjectPtr<IChecksum> const checksum = md5Of(*calculator, source);
    if (!checksum)
        return afNoChecksum;
    directory = paths::join(directory, checksum->value());
    if (!ensureDirectory(directory))
        return afDirectoryError;

    archivedName = paths::join(directory, name);
    // The content is not compared: the checksum in the path stands for it.
    if (fileExists(archivedName.c_str()))
        return afAlreadyArchived;
    if (!copy(source, archivedName)) {
        // A part of a file would read as archived from then on. But if the source went, another
        // writer has archived and removed it, and what lies at the target is the only copy; and
        // another writer's copy may be whole where ours failed.
        if (fileExists(source) && !isCopyWhole(*calculator, archivedName, *checksum))
            removeFile(archivedName.c_str());
        return afCopyFailed;
    }
    if (removeSource)
        removeFile(source);
    return afOk;
}

} // namespace LK_2_13::utils
