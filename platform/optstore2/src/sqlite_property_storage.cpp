#include "sqlite_property_storage.h"

#include "bag_json.h"

#include <optstore2/storage_error.h>
#include <toolbelt2/pending_file.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace optstore2 {

namespace {

/// Marks the file as a property store among all SQLite files ("LKPS" in ASCII), and says which
/// shape of its table this program knows.
constexpr std::int64_t c_applicationId = 0x4C4B5053;
constexpr std::int64_t c_formatVersion = 1;

/// Needs an open transaction, or another process may change the file between two of its looks.
void require_store(sqlite_connection_t& connection) {
    if (connection.query_number("PRAGMA application_id") != c_applicationId)
        throw storage_error(connection.file(), "is the database of another program");
    std::int64_t const version = connection.query_number("PRAGMA user_version");
    if (version != c_formatVersion)
        throw storage_error(connection.file(), "has format version " + std::to_string(version) +
                                                   ", which this program does not know");
}

void initialise(sqlite_connection_t& connection) {
    connection.execute("CREATE TABLE property (name TEXT PRIMARY KEY, value TEXT NOT NULL)");
    connection.execute(("PRAGMA application_id = " + std::to_string(c_applicationId)).c_str());
    connection.execute(("PRAGMA user_version = " + std::to_string(c_formatVersion)).c_str());
}

} // namespace

SqlitePropertyStorage::SqlitePropertyStorage(std::string file,
                                             std::chrono::milliseconds busyTimeout)
    : m_file(std::move(file)), m_busyTimeout(busyTimeout) {
    connect();
}

bool SqlitePropertyStorage::fileExists() const {
    struct stat status {};
    if (::stat(m_file.c_str(), &status) != 0) {
        if (errno == ENOENT)
            return false;
        throw storage_error(m_file, std::generic_category().message(errno));
    }
    if (!S_ISREG(status.st_mode))
        throw storage_error(m_file, "is not a plain file");
    // SQLite takes these for an empty database, and would overwrite them.
    if (status.st_size <= 1)
        throw storage_error(m_file, "file is empty, so that what it held is lost; remove it to "
                                    "begin a new store");
    return true;
}

/// Another process may do the same meanwhile; then its store stays.
void SqlitePropertyStorage::create() const {
    // SQLite would complete with it what a store that is gone was about to become.
    struct stat journal {};
    std::string const journalFile = m_file + "-journal";
    if (::stat(journalFile.c_str(), &journal) == 0 && journal.st_size > 0 && !fileExists())
        throw storage_error(m_file, "is missing, but not its journal " + journalFile);
    sqlite_connection_t empty;
    initialise(empty);
    try {
        toolbelt2::pending_file_t file(m_file);
        file.write(empty.bytes());
        static_cast<void>(file.commit_as_new());
    } catch (std::system_error const& error) {
        throw storage_error(m_file, "cannot be made: " + error.code().message());
    } catch (std::runtime_error const& error) {
        throw storage_error(m_file, error.what());
    }
}

sqlite_connection_t* SqlitePropertyStorage::connect() const {
    if (m_connection && m_connection->has_moved())
        m_connection.reset();
    if (!m_connection) {
        if (!fileExists())
            return nullptr;
        sqlite_connection_t connection(m_file, m_busyTimeout);
        {
            sqlite_transaction_t const transaction(connection, false);
            require_store(connection);
            connection.require_integrity();
        }
        connection.make_durable();
        m_connection = std::move(connection);
    }
    return &*m_connection;
}

toolbelt2::variant_bag_t
SqlitePropertyStorage::read(std::string const& name,
                            toolbelt2::variant_bag_t const& defaultValue) const {
    toolbelt2::mutex_guard_t const guard(m_lock);
    sqlite_connection_t* const connection = connect();
    if (!connection)
        return defaultValue;
    sqlite_transaction_t const transaction(*connection, false);
    require_store(*connection);
    sqlite_statement_t query(*connection, "SELECT value FROM property WHERE name = ?1");
    query.bind(1, name);
    if (!query.step())
        return defaultValue;
    try {
        return bag_from_json(query.text(0));
    } catch (std::invalid_argument const& error) {
        throw storage_error(m_file, "the value of \"" + name + "\" is damaged: " + error.what());
    }
}

void SqlitePropertyStorage::write(std::string const& name, toolbelt2::variant_bag_t const& value) {
    std::string text;
    try {
        text = bag_to_json(value);
    } catch (std::invalid_argument const& error) {
        throw storage_error(m_file, "\"" + name + "\" cannot be written: " + error.what());
    }
    toolbelt2::mutex_guard_t const guard(m_lock);
    if (!connect())
        create();
    sqlite_connection_t* const connection = connect();
    if (!connection)
        throw storage_error(m_file, "was removed as soon as it was made");
    sqlite_transaction_t transaction(*connection, true);
    require_store(*connection);
    {
        sqlite_statement_t insert(*connection, "INSERT OR REPLACE INTO property VALUES (?1, ?2)");
        insert.bind(1, name);
        insert.bind(2, text);
        insert.step();
    }
    transaction.commit();
}

IPropertyStorage::~IPropertyStorage() = default;

toolbelt2::sptr_t<IPropertyStorage>
IPropertyStorage::openSqlite(char const* file, std::string& error,
                             std::chrono::milliseconds busyTimeout) {
    if (!file || !*file) {
        error = "a property store needs a file name";
        return nullptr;
    }
    try {
        // Absolute, also because SQLite gives names such as ":memory:" or "file:x" a meaning.
        return std::make_shared<SqlitePropertyStorage>(std::filesystem::absolute(file),
                                                       busyTimeout);
    } catch (std::exception const& failure) {
        error = failure.what();
        return nullptr;
    }
}

} // namespace optstore2
