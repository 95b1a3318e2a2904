#include <optstore2/sqlite_connection.h>

#include <optstore2/storage_error.h>

#include <sqlite3.h>

#include <system_error>

namespace optstore2 {

void sqlite_connection_t::closer_t::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}

sqlite_connection_t::sqlite_connection_t(std::string const& file,
                                         std::chrono::milliseconds busyTimeout)
    : m_file(file) {
    open(SQLITE_OPEN_READWRITE);
    sqlite3_busy_timeout(m_pDatabase.get(), static_cast<int>(busyTimeout.count()));
}

sqlite_connection_t::sqlite_connection_t() : m_file(":memory:") {
    open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY);
}

void sqlite_connection_t::open(int flags) {
    sqlite3* database = nullptr;
    int const result =
        sqlite3_open_v2(m_file.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    m_pDatabase.reset(database);
    if (result != SQLITE_OK)
        fail();
}

void sqlite_connection_t::fail() const {
    if (!m_pDatabase)
        throw storage_error(m_file, "out of memory");
    std::string reason = sqlite3_errmsg(m_pDatabase.get());
    int const code = sqlite3_extended_errcode(m_pDatabase.get());
    int const kind = code & 0xFF;
    if (kind != SQLITE_IOERR && kind != SQLITE_CANTOPEN)
        throw storage_error(m_file, reason);
    if (int const ofSystem = sqlite3_system_errno(m_pDatabase.get()); ofSystem != 0)
        reason += ": " + std::generic_category().message(ofSystem);
    else if (code == SQLITE_IOERR_WRITE) // Of a commit, which forgets what the system said.
        reason += ": a write failed; is the disk full, or the file too large for a limit?";
    throw storage_error(m_file, reason);
}

void sqlite_connection_t::make_durable() {
    sqlite_statement_t(*this, "PRAGMA journal_mode = TRUNCATE").step();
    execute("PRAGMA synchronous = FULL");
}

void sqlite_connection_t::make_crash_safe() {
    sqlite_statement_t(*this, "PRAGMA journal_mode = TRUNCATE").step();
    execute("PRAGMA synchronous = OFF");
}

bool sqlite_connection_t::has_moved() const {
    int moved = 0;
    sqlite3_file_control(m_pDatabase.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    return moved != 0;
}

void sqlite_connection_t::execute(char const* sql) {
    if (sqlite3_exec(m_pDatabase.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail();
}

std::int64_t sqlite_connection_t::query_number(char const* sql) {
    sqlite_statement_t statement(*this, sql);
    statement.step();
    return statement.number(0);
}

void sqlite_connection_t::require_integrity() {
    sqlite_statement_t statement(*this, "PRAGMA integrity_check(1)");
    statement.step();
    if (statement.text(0) != "ok")
        throw storage_error(m_file, sqlite3_errstr(SQLITE_CORRUPT));
}

std::string sqlite_connection_t::bytes() const {
    sqlite3_int64 size = 0;
    std::unique_ptr<unsigned char, decltype(&sqlite3_free)> const image(
        sqlite3_serialize(m_pDatabase.get(), "main", &size, 0), &sqlite3_free);
    if (!image)
        fail();
    return {reinterpret_cast<char const*>(image.get()), static_cast<std::size_t>(size)};
}

void sqlite_statement_t::finalizer_t::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

sqlite_statement_t::sqlite_statement_t(sqlite_connection_t& connection, char const* sql)
    : m_connection(connection) {
    sqlite3_stmt* statement = nullptr;
    int const result =
        sqlite3_prepare_v2(connection.m_pDatabase.get(), sql, -1, &statement, nullptr);
    m_pStatement.reset(statement);
    if (result != SQLITE_OK)
        connection.fail();
}

void sqlite_statement_t::bind(int parameter, std::string const& text) {
    if (sqlite3_bind_text64(m_pStatement.get(), parameter, text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8) != SQLITE_OK)
        m_connection.fail();
}

void sqlite_statement_t::bind(int parameter, std::int64_t number) {
    if (sqlite3_bind_int64(m_pStatement.get(), parameter, number) != SQLITE_OK)
        m_connection.fail();
}

void sqlite_statement_t::bind_bytes(int parameter, std::string_view bytes) {
    if (sqlite3_bind_blob64(m_pStatement.get(), parameter, bytes.data(), bytes.size(),
                            SQLITE_STATIC) != SQLITE_OK)
        m_connection.fail();
}

void sqlite_statement_t::reset() {
    sqlite3_reset(m_pStatement.get());
}

bool sqlite_statement_t::step() {
    int const result = sqlite3_step(m_pStatement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        m_connection.fail();
    return result == SQLITE_ROW;
}

std::int64_t sqlite_statement_t::number(int column) const {
    return sqlite3_column_int64(m_pStatement.get(), column);
}

std::string_view sqlite_statement_t::value(int column, int type) const {
    if (sqlite3_column_type(m_pStatement.get(), column) != type)
        return {};
    auto const* const bytes =
        static_cast<char const*>(sqlite3_column_blob(m_pStatement.get(), column));
    auto const size = sqlite3_column_bytes(m_pStatement.get(), column);
    return bytes ? std::string_view(bytes, static_cast<std::size_t>(size)) : std::string_view();
}

std::string_view sqlite_statement_t::text(int column) const {
    return value(column, SQLITE_TEXT);
}

std::string_view sqlite_statement_t::bytes(int column) const {
    return value(column, SQLITE_BLOB);
}

sqlite_transaction_t::sqlite_transaction_t(sqlite_connection_t& connection, bool forWriting)
    : m_connection(connection) {
    connection.execute(forWriting ? "BEGIN IMMEDIATE" : "BEGIN");
}

sqlite_transaction_t::~sqlite_transaction_t() {
    sqlite3* const database = m_connection.m_pDatabase.get();
    if (sqlite3_get_autocommit(database) == 0)
        sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
}

void sqlite_transaction_t::commit() {
    m_connection.execute("COMMIT");
}

} // namespace optstore2
