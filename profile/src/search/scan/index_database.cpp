#include "search/scan/index_database.h"

#include <optstore2/storage_error.h>
#include <toolbelt2/pending_file.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace lokata::profile {

using optstore2::sqlite_connection_t;
using optstore2::storage_error;

namespace {

/// Marks the file among all SQLite files ("LKFI" in ASCII), and tells the shape of its table.
constexpr std::int64_t c_applicationId = 0x4C4B4649;
constexpr std::int64_t c_formatVersion = 1;

constexpr std::int64_t c_forgottenDays = 90;
/// A new search of the table costs as much as so many steps.
constexpr int c_mostPassed = 16;

std::int64_t asNumber(std::uint64_t value) {
    return static_cast<std::int64_t>(value);
}

/// Of all that an entry says, so that one that was damaged is not believed: FNV-1a over numbers.
class RowSum {
public:
    RowSum& add(std::string_view bytes) {
        for (char const byte : bytes)
            add(static_cast<unsigned char>(byte));
        return add(bytes.size());
    }
    RowSum& add(std::uint64_t value) {
        m_sum = (m_sum ^ value) * 0x100000001b3U;
        m_sum ^= m_sum >> 29U;
        return *this;
    }
    std::int64_t value() const { return asNumber(m_sum); }

private:
    std::uint64_t m_sum = 0xcbf29ce484222325U;
};

std::string_view linkName(FileMarks const& marks) {
    return marks.debug_link ? std::string_view(marks.debug_link->name) : std::string_view();
}

std::int64_t linkCrc(FileMarks const& marks) {
    return marks.debug_link ? marks.debug_link->crc : 0;
}

std::int64_t sumOf(FileStamp const& stamp, FileMarks const& marks) {
    return RowSum()
        .add(stamp.device)
        .add(stamp.inode)
        .add(stamp.size)
        .add(static_cast<std::uint64_t>(stamp.modified_ns))
        .add(static_cast<std::uint64_t>(stamp.changed_ns))
        .add(static_cast<std::uint64_t>(marks.kind))
        .add(marks.id)
        .add(linkName(marks))
        .add(static_cast<std::uint64_t>(linkCrc(marks)))
        .value();
}

} // namespace

std::int64_t indexDay() {
    using days = std::chrono::duration<std::int64_t, std::ratio<86'400>>;
    return std::chrono::duration_cast<days>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::unique_ptr<IndexDatabase> IndexDatabase::open(std::string const& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return nullptr;
    if (!S_ISREG(status.st_mode))
        throw storage_error(path, "is not a plain file");
    auto index = std::make_unique<IndexDatabase>(path);
    sqlite_connection_t& connection = index->m_connection;
    if (connection.query_number("PRAGMA application_id") != c_applicationId ||
        connection.query_number("PRAGMA user_version") != c_formatVersion)
        throw storage_error(path, "is no index of this format");
    return index;
}

void IndexDatabase::create(std::string const& path) {
    sqlite_connection_t empty;
    empty.execute("CREATE TABLE file (device INTEGER, inode INTEGER, size INTEGER, "
                  "modified INTEGER, changed INTEGER, met INTEGER, kind INTEGER, id BLOB, "
                  "link BLOB, crc INTEGER, sum INTEGER, PRIMARY KEY (device, inode)) "
                  "WITHOUT ROWID");
    empty.execute(("PRAGMA application_id = " + std::to_string(c_applicationId)).c_str());
    empty.execute(("PRAGMA user_version = " + std::to_string(c_formatVersion)).c_str());
    toolbelt2::pending_file_t file(path, 0600);
    file.write(empty.bytes());
    static_cast<void>(file.commit_as_new());
}

/// The journal goes first, as it would be taken for that of a new file of this name.
void IndexDatabase::remove(std::string const& path) {
    for (std::string const& each : {path + "-journal", path})
        if (::unlink(each.c_str()) != 0 && errno != ENOENT)
            throw storage_error(each, std::generic_category().message(errno));
}

std::uint64_t IndexDatabase::count(bool withIdOnly) {
    return static_cast<std::uint64_t>(
        m_connection.query_number(withIdOnly ? "SELECT count(*) FROM file WHERE length(id) > 0"
                                             : "SELECT count(*) FROM file"));
}

void IndexDatabase::removeOldest(std::size_t most) {
    m_connection.execute(
        ("DELETE FROM file WHERE met < " + std::to_string(indexDay() - c_forgottenDays)).c_str());
    std::uint64_t const known = count(false);
    if (known > most)
        m_connection.execute(("DELETE FROM file WHERE (device, inode) IN (SELECT device, inode "
                              "FROM file ORDER BY met LIMIT " +
                              std::to_string(known - most) + ")")
                                 .c_str());
}

IndexReader::IndexReader(IndexDatabase& index)
    : m_query(index.connection(),
              "SELECT inode, size, modified, changed, met, kind, id, link, crc, sum FROM file "
              "WHERE device = ?1 AND inode >= ?2 ORDER BY inode")
    , m_file(index.connection().file()) {}

bool IndexReader::find(FileStamp const& stamp) {
    if (!m_isOpen || stamp.device != m_device)
        seek(stamp);
    for (int passed = 0; m_hasRow && inode() < stamp.inode; ++passed)
        if (passed < c_mostPassed)
            m_hasRow = m_query.step();
        else
            seek(stamp);
    return m_hasRow && inode() == stamp.inode && m_query.number(1) == asNumber(stamp.size) &&
           m_query.number(2) == stamp.modified_ns && m_query.number(3) == stamp.changed_ns;
}

FileMarks IndexReader::marks(FileStamp const& stamp) const {
    FileMarks marks{kind(), std::string(m_query.bytes(6)), {}};
    if (std::string_view const link = m_query.bytes(7); !link.empty())
        marks.debug_link =
            DebugLink{std::string(link), static_cast<std::uint32_t>(m_query.number(8))};
    if (m_query.number(9) != sumOf(stamp, marks))
        throw storage_error(m_file, "is damaged");
    return marks;
}

void IndexReader::seek(FileStamp const& stamp) {
    m_query.reset();
    m_query.bind(1, asNumber(stamp.device));
    m_query.bind(2, asNumber(stamp.inode));
    m_isOpen = true;
    m_device = stamp.device;
    m_hasRow = m_query.step();
}

IndexWriter::IndexWriter(IndexDatabase& index)
    : m_insert(index.connection(), "INSERT OR REPLACE INTO file VALUES "
                                   "(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11)")
    , m_meet(index.connection(), "UPDATE file SET met = ?1 WHERE device = ?2 AND inode = ?3") {
    m_insert.bind(6, indexDay());
    m_meet.bind(1, indexDay());
}

void IndexWriter::insert(FileStamp const& stamp, FileMarks const& marks) {
    m_insert.bind(1, asNumber(stamp.device));
    m_insert.bind(2, asNumber(stamp.inode));
    m_insert.bind(3, asNumber(stamp.size));
    m_insert.bind(4, stamp.modified_ns);
    m_insert.bind(5, stamp.changed_ns);
    m_insert.bind(7, static_cast<std::int64_t>(marks.kind));
    m_insert.bind_bytes(8, marks.id);
    m_insert.bind_bytes(9, linkName(marks));
    m_insert.bind(10, linkCrc(marks));
    m_insert.bind(11, sumOf(stamp, marks));
    m_insert.step();
    m_insert.reset();
}

void IndexWriter::meet(FileStamp const& stamp) {
    m_meet.bind(2, asNumber(stamp.device));
    m_meet.bind(3, asNumber(stamp.inode));
    m_meet.step();
    m_meet.reset();
}

} // namespace lokata::profile
