#pragma once

/// The SQLite file of <lokata/profile/file_index.h>.

#include "search/scan/file_marks.h"

#include <lokata/profile/file_index.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace lokata::profile {

/// For one thread at a time. Nothing fails: what cannot be read is not known, and what cannot be
/// written is read again by the next run; a text for a person then goes to `warn`.
class FileIndex {
public:
    using Warn = std::function<void(std::string const& text)>;

    static constexpr std::size_t c_mostEntries = 500'000;

    /// An empty path stands for no index.
    FileIndex(std::string path, Warn warn, std::size_t mostEntries = c_mostEntries);
    /// Writes what is left.
    ~FileIndex();
    FileIndex(FileIndex const&) = delete;
    FileIndex& operator=(FileIndex const&) = delete;

    /// Gives the marks of files of a listing: as they were kept, where nothing has changed since,
    /// else as they are read now, and keeps these. Returns how many were read.
    std::uint64_t marks(TreeListing const& listing, std::vector<FileNumber> const& files,
                        Reading reading, TakeMarks const& take);

    /// Writes what is to be kept. Done from time to time as well.
    void flush() { flush(true); }

private:
    struct Entry {
        FileStamp stamp;
        FileMarks marks;
    };

    void guarded(std::function<void()> const& access);
    /// Returns the files that are not known, in their order.
    std::vector<FileNumber> recall(TreeListing const& listing, std::vector<FileNumber> const& files,
                                   Reading reading, TakeMarks const& take);
    void keep(FileStamp const& stamp, FileMarks const& marks, std::int64_t readAt);
    void flush(bool isLast);
    void write(bool isLast);

    std::string m_path;
    Warn m_warn;
    std::size_t m_mostEntries;
    std::vector<Entry> m_pending; ///< To be written.
    std::vector<FileStamp> m_met; ///< Known since long, and to be marked as met today.
};

} // namespace lokata::profile
