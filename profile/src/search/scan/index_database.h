#pragma once

/// The table of a file index in its SQLite file. Every operation throws std::runtime_error for a
/// file that cannot be used. For one thread at a time.

#include "search/scan/file_marks.h"

#include <lokata/profile/file_stamp.h>

#include <optstore2/sqlite_connection.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace lokata::profile {

/// How long others are waited for that read or write.
constexpr std::chrono::milliseconds c_indexPatience{10'000};

/// Days since the epoch.
std::int64_t indexDay();

class IndexDatabase {
public:
    /// Null if there is no file.
    static std::unique_ptr<IndexDatabase> open(std::string const& path);
    /// Makes an empty one, unless another process did meanwhile.
    static void create(std::string const& path);
    static void remove(std::string const& path);

    explicit IndexDatabase(std::string const& path) : m_connection(path, c_indexPatience) {}

    optstore2::sqlite_connection_t& connection() { return m_connection; }

    /// Counts all entries, or those with a build-id or MD5.
    std::uint64_t count(bool withIdOnly);
    /// Those that no scan has met for long, and of too many those that were met before all others.
    void removeOldest(std::size_t most);

private:
    optstore2::sqlite_connection_t m_connection;
};

/// Goes through the entries in the order of their devices and inodes.
class IndexReader {
public:
    explicit IndexReader(IndexDatabase& index);

    /// Whether there is an entry for the file as it is now. Files come in ascending order.
    bool find(FileStamp const& stamp);
    /// The rest is of the file that was found.
    FileKind kind() const { return static_cast<FileKind>(m_query.number(5)); }
    /// The day on which a scan met it, roughly.
    std::int64_t met() const { return m_query.number(4); }
    /// Throws if the entry is damaged.
    FileMarks marks(FileStamp const& stamp) const;

private:
    std::uint64_t inode() const { return static_cast<std::uint64_t>(m_query.number(0)); }
    void seek(FileStamp const& stamp);

    optstore2::sqlite_statement_t m_query;
    std::string m_file;
    bool m_isOpen = false;
    bool m_hasRow = false;
    std::uint64_t m_device = 0;
};

/// Writes entries as met today.
class IndexWriter {
public:
    explicit IndexWriter(IndexDatabase& index);

    void insert(FileStamp const& stamp, FileMarks const& marks);
    void meet(FileStamp const& stamp);

private:
    optstore2::sqlite_statement_t m_insert;
    optstore2::sqlite_statement_t m_meet;
};

} // namespace lokata::profile
