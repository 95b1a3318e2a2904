#pragma once

#include <optstore2/export.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace optstore2 {

/// An open SQLite file. For one thread at a time. Every operation throws storage_error with
/// SQLite's reason.
class OPTSTORE2_EXPORT sqlite_connection_t {
public:
    /// Opens a file that is there, by its absolute name.
    sqlite_connection_t(std::string const& file, std::chrono::milliseconds busyTimeout);

    /// A new database in memory.
    sqlite_connection_t();

    /// Makes a commit survive a loss of power. A rollback journal and not a write-ahead log,
    /// because home directories lie on network file systems too; truncated and not removed,
    /// because a removal is only durable once its directory is. This can change the file, so
    /// it has to wait until it is known to be ours.
    void make_durable();

    /// True if the name no longer leads to the file that is open: it was removed or replaced.
    bool has_moved() const;

    /// Makes a commit survive the end of the process at any moment, and no more: for what can be
    /// made anew. Waits like the above.
    void make_crash_safe();

    /// Runs a statement that gives no rows.
    void execute(char const* sql);

    /// The single number that a query gives.
    std::int64_t query_number(char const* sql);

    /// Throws unless all tables are whole, and each index knows as many rows as its table.
    void require_integrity();

    /// The database as the bytes of a file.
    std::string bytes() const;

    std::string const& file() const { return m_file; }

private:
    friend class sqlite_statement_t;
    friend class sqlite_transaction_t;

    struct closer_t {
        void operator()(sqlite3* database) const;
    };

    void open(int flags);
    [[noreturn]] void fail() const;

    std::string m_file;
    std::unique_ptr<sqlite3, closer_t> m_pDatabase;
};

/// A prepared statement with its parameters. What is bound must outlive it.
class OPTSTORE2_EXPORT sqlite_statement_t {
public:
    sqlite_statement_t(sqlite_connection_t& connection, char const* sql);

    /// Binds a text to the parameter of that number, counted from 1.
    void bind(int parameter, std::string const& text);
    void bind(int parameter, std::int64_t number);

    /// Binds bytes.
    void bind_bytes(int parameter, std::string_view bytes);

    /// Goes back before the first row, for other parameters; those bound stay.
    void reset();

    /// Goes to the next row; false behind the last one.
    bool step();

    /// Columns count from 0.
    std::int64_t number(int column) const;

    /// The bytes of a text, alive until the next step; empty for a value of another kind.
    std::string_view text(int column) const;

    /// The same for bytes.
    std::string_view bytes(int column) const;

private:
    struct finalizer_t {
        void operator()(sqlite3_stmt* statement) const;
    };

    std::string_view value(int column, int type) const;

    sqlite_connection_t& m_connection;
    std::unique_ptr<sqlite3_stmt, finalizer_t> m_pStatement;
};

/// A transaction, rolled back unless it was committed.
class OPTSTORE2_EXPORT sqlite_transaction_t {
public:
    /// `forWriting` takes the right to write at once, so that the transaction cannot fail
    /// half-way because another writer came first.
    sqlite_transaction_t(sqlite_connection_t& connection, bool forWriting);
    ~sqlite_transaction_t();

    sqlite_transaction_t(sqlite_transaction_t const&) = delete;
    sqlite_transaction_t& operator=(sqlite_transaction_t const&) = delete;

    void commit();

private:
    sqlite_connection_t& m_connection;
};

} // namespace optstore2
