#pragma once

#include <optstore2/sqlite_connection.h>

#include <optstore2/property_storage.h>
#include <toolbelt2/mutex.h>

#include <optional>

namespace optstore2 {

/// IPropertyStorage over one SQLite file with a single table. The file is opened and looked through
/// at the first need and kept open; one that was removed or replaced meanwhile is opened anew, so
/// that nothing is written into a file that no name leads to. A new file appears as a whole store,
/// so that an empty one is a store which was damaged.
class SqlitePropertyStorage : public IPropertyStorage {
public:
    /// `file` is an absolute name. Throws storage_error if a file is there and is not, or
    /// cannot now be seen to be, a store of this kind.
    SqlitePropertyStorage(std::string file, std::chrono::milliseconds busyTimeout);

    toolbelt2::variant_bag_t read(std::string const& name,
                                  toolbelt2::variant_bag_t const& defaultValue) const override;
    void write(std::string const& name, toolbelt2::variant_bag_t const& value) override;

private:
    bool fileExists() const;
    void create() const;
    sqlite_connection_t* connect() const TOOLBELT2_REQUIRES(m_lock);

    std::string const m_file;
    std::chrono::milliseconds const m_busyTimeout;

    /// Guards the connection, and with it each transaction as a whole.
    mutable toolbelt2::mutex_t m_lock;
    mutable std::optional<sqlite_connection_t> m_connection TOOLBELT2_GUARDED_BY(m_lock);
};

} // namespace optstore2
