#include "sqlite_property_storage.h"

#include "bag_json.h"

#include <optstore2/storage_error.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace optstore2 {

namespace {

// Marks the file as a property store among all SQLite files ("LKPS" in ASCII), and says which
// shape of its table this program knows.
constexpr std::int64_t c_applicationId = 0x4C4B5053;
constexpr std::int64_t c_formatVersion = 1;

/// True for a store, false for a database that holds nothing yet, as between the creation of
/// a file and the first commit. Throws for anything else. Needs an open transaction, or
/// another process may create the store between two of its looks.
bool is_initialised(sqlite_connection_t& connection) {
    std::int64_t const application = connection.query_number("PRAGMA application_id");
    std::int64_t const version = connection.query_number("PRAGMA user_version");
    if (application == c_applicationId) {
        if (version != c_formatVersion) {
            throw storage_error(connection.file(), "has format version " + std::to_string(version) +
                                                       ", which this program does not know");
        }
        return true;
    }
    if (application != 0 || version != 0 ||
        connection.query_number("SELECT count(*) FROM sqlite_master") != 0)
        throw storage_error(connection.file(), "is the database of another program");
    return false;
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
    connect(false);
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
    // SQLite takes a file of a single byte for an empty database, and would overwrite it.
    if (status.st_size == 1)
        throw storage_error(m_file, "file is not a database");
    return true;
}

sqlite_connection_t* SqlitePropertyStorage::connect(bool create) const {
    if (m_connection && m_connection->has_moved())
        m_connection.reset();
    if (!m_connection) {
        if (!fileExists() && !create)
            return nullptr;
        sqlite_connection_t connection(m_file, create, m_busyTimeout);
        {
            sqlite_transaction_t const transaction(connection, false);
            is_initialised(connection);
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
    sqlite_connection_t* const connection = connect(false);
    if (!connection)
        return defaultValue;
    sqlite_transaction_t const transaction(*connection, false);
    if (!is_initialised(*connection))
        return defaultValue;
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
    sqlite_connection_t* const connection = connect(true);
    sqlite_transaction_t transaction(*connection, true);
    if (!is_initialised(*connection))
        initialise(*connection);
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
