#pragma once

#include <toolbelt2/descriptor.h>
#include <toolbelt2/export.h>
#include <toolbelt2/thread_annotations.h>

#include <cstddef>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace toolbelt2 {

/// A file that appears under its name whole or not at all. It is written beside its target, in the
/// same directory, under a hidden name that nothing else has, and takes the target's name when it
/// is committed; a target that is there already is replaced at once. Without a commit nothing
/// stays. A process that is killed leaves the hidden file behind, as "<directory>/.<name>.<random
/// digits>.part"; one that is ended by a signal need not, see abandon_all().
///
/// A target that is no regular file is refused, a symbolic link among them: the rename would take
/// the place of the link and not of what it leads to.
///
/// Every failure throws std::runtime_error, with a sentence that names the target; it is a
/// std::system_error where the system gave a reason. For one thread at a time; any number of
/// processes and threads may write to one target, and the last to commit wins.
class TOOLBELT2_EXPORT pending_file_t {
public:
    /// What a commit waits for. Without the wait a loss of power can leave a part of the content
    /// under the name: for many files whose readers can tell a part from the whole.
    enum class durability_t { on_disk, left_to_system };

    /// Makes the hidden file, empty. A relative target counts from the working directory, which
    /// must not change until the end of this object. `mode` is that of the file, less the process's
    /// umask.
    explicit pending_file_t(std::string target, mode_t mode = 0666);
    ~pending_file_t();
    pending_file_t(pending_file_t const&) = delete;
    pending_file_t& operator=(pending_file_t const&) = delete;

    std::string const& target() const { return m_target; }

    /// The name of the hidden file, the same for as long as this object lives.
    std::string const& path() const { return m_path; }

    /// The hidden file, open for reading and writing until the commit; stays owned.
    int descriptor() const { return m_descriptor.get(); }

    /// Appends.
    void write(void const* data, std::size_t size);
    void write(std::string_view bytes) { write(bytes.data(), bytes.size()); }

    /// Brings the content to the disk, so that a loss of power cannot leave a part of it under the
    /// name either, closes it, and gives it the target's name. The last call on this object but
    /// for the names, with or without success.
    void commit(durability_t durability = durability_t::on_disk);

    /// The same for a target that is not there yet. False if another writer has made it meanwhile,
    /// which is left as it is.
    [[nodiscard]] bool commit_as_new();

    /// Removes the hidden files of this process, for a process that is about to end. From then on
    /// none is made or committed: a thread that is about to waits for ever. Not for a signal
    /// handler, but for a thread that waits for signals.
    /// Unchecked, as the lock is held on return, which nobody else can name.
    static void abandon_all() TOOLBELT2_NO_THREAD_SAFETY_ANALYSIS;

private:
    void make_hidden_file(mode_t mode);
    void finish_content(durability_t durability);
    [[noreturn]] void fail(int reason) const;
    void require_replaceable_target() const;

    std::string m_target;
    std::string m_path;
    descriptor_t m_descriptor;
    bool m_isCommitted = false;
};

} // namespace toolbelt2
