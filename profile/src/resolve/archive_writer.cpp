#include "resolve/archive_writer.h"

#include "facts/foreign_file.h"
#include "facts/md5.h"
#include "facts/stamp_of.h"
#include "read/reasons.h"
#include "search/archived_copies.h"

#include <lokata/profile/archive.h>

#include <lokata2/utils.h>

#include <toolbelt2/descriptor.h>
#include <toolbelt2/digest.h>
#include <toolbelt2/path.h>
#include <toolbelt2/pending_file.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lokata::profile {

namespace {

/// Ends the copying of a file, with the reason and its further arguments.
struct CopyFailure {
    ReasonKey reason;
    std::string place;
    std::string why;
};

/// Of a pending file.
std::string textOf(std::runtime_error const& error) {
    auto const* const ofSystem = dynamic_cast<std::system_error const*>(&error);
    return ofSystem != nullptr ? ofSystem->code().message() : error.what();
}

/// A directory of the archive that only the archive itself makes: no link stands in its place.
void makeDirectory(std::string const& directory, std::string const& archive) {
    if (::mkdir(directory.c_str(), 0777) == 0)
        return;
    int const error = errno == EEXIST ? ENOTDIR : errno;
    struct stat status {};
    if (error != ENOTDIR || ::lstat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        throw CopyFailure{ReasonKey::archive_directory, archive,
                          std::generic_category().message(error)};
}

template <class Parts>
std::string makeDirectories(std::string directory, std::string const& archive, Parts const& parts) {
    for (std::string_view const part : parts) {
        directory = toolbelt2::join_path(directory, part);
        makeDirectory(directory, archive);
    }
    return directory;
}

/// Copies to the end of the file; gives the MD5 of what was copied.
std::string copyContent(toolbelt2::descriptor_t const& source, toolbelt2::pending_file_t& target) {
    toolbelt2::md5_t digest;
    std::vector<char> buffer(1U << 18);
    for (;;) {
        ssize_t const count = ::read(source.get(), buffer.data(), buffer.size());
        if (count == 0)
            return digest.get_digest_base16();
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw CopyFailure{ReasonKey::archive_unread, {}, {}};
        auto const size = static_cast<std::size_t>(count);
        digest.update(buffer.data(), size);
        target.write(buffer.data(), size);
    }
}

/// What was judged is kept, or nothing. Looked at behind the last reading, when a change before it
/// shows.
void requireUnchanged(std::optional<FileStamp> const& now, std::optional<FileStamp> const& judged) {
    if (judged && now != judged)
        throw CopyFailure{ReasonKey::archive_changed, {}, {}};
}

void writeCopy(std::string const& file, std::string const& md5,
               std::optional<FileStamp> const& judged, std::string const& copy) {
    auto const source = toolbelt2::descriptor_t::open(file.c_str(), O_RDONLY | O_NONBLOCK);
    struct stat status {};
    if (!source || ::fstat(source.get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw CopyFailure{ReasonKey::archive_unread, {}, {}};
    // Without the bits that would make a program of the archive's owner run with foreign rights.
    mode_t const permissions = (status.st_mode & 0777) | S_IRUSR;
    toolbelt2::pending_file_t pending(copy, permissions);
    if (copyContent(source, pending) != md5)
        throw CopyFailure{ReasonKey::archive_changed, {}, {}};
    struct stat after {};
    requireUnchanged(
        ::fstat(source.get(), &after) == 0 ? std::optional(stampOf(after)) : std::nullopt, judged);
    // Some compilers record the time of a source file. Not every file system keeps it.
    timespec const times[]{status.st_atim, status.st_mtim};
    static_cast<void>(::futimens(pending.descriptor(), times));
    pending.commit(toolbelt2::pending_file_t::durability_t::left_to_system);
}

/// Whether a whole copy is there. What stands in the place of one is never followed or opened.
bool isKept(std::string const& copy, std::string const& md5) {
    struct stat status {};
    if (::lstat(copy.c_str(), &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode))
        throw CopyFailure{ReasonKey::archive_taken, copy, {}};
    return contentMd5(copy) == md5;
}

ArchivedFile keep(std::string const& file, std::string const& archive, std::string_view category,
                  std::string const& name, std::optional<FileStamp> const& judged) {
    std::string const md5 = contentMd5(file);
    if (md5.empty())
        throw CopyFailure{ReasonKey::archive_unread, {}, {}};
    requireUnchanged(stampOf(file), judged);
    // The archive and its categories may be links, to where there is room.
    std::string directory = toolbelt2::join_path(archive, category);
    std::error_code ignored; // Shows below.
    std::filesystem::create_directories(directory, ignored);
    directory = makeDirectories(std::move(directory), archive, std::array{name, md5});
    ArchivedFile result;
    result.path = toolbelt2::join_path(directory, name);
    result.added = !isKept(result.path, md5);
    if (result.added)
        writeCopy(file, md5, judged, result.path);
    return result;
}

} // namespace

ArchivedFile archiveFile(std::string const& file, std::string const& directory,
                         LK_2_13::search_category_t category, std::string const& name,
                         std::optional<FileStamp> const& judged) {
    ArchivedFile failed;
    try {
        return keep(file, directory, wordOf(c_archiveCategories, category),
                    name.empty() ? LK_2_13::utils::getFileNameOnly(file.c_str()) : name, judged);
    } catch (CopyFailure const& failure) {
        failed.error = reasonText(failure.reason, {file, failure.place, failure.why});
    } catch (std::runtime_error const& error) { // Of the pending file.
        failed.error = reasonText(ReasonKey::archive_copy, {file, directory, textOf(error)});
    }
    return failed;
}

std::string archiveNote(Note const& note, std::string const& archive) {
    try {
        std::string const path =
            toolbelt2::join_path(makeDirectories(archive, archive, note.directories), note.file);
        ForeignFile const known(path);
        std::string content;
        if (known.error().empty() && known.size() == note.content.size() &&
            known.read(0, known.size(), content) && content == note.content)
            return {};
        toolbelt2::pending_file_t pending(path);
        pending.write(note.content);
        pending.commit(toolbelt2::pending_file_t::durability_t::left_to_system);
        return {};
    } catch (CopyFailure const& failure) {
        return failure.why;
    } catch (std::runtime_error const& error) { // Of the pending file.
        return textOf(error);
    }
}

} // namespace lokata::profile
