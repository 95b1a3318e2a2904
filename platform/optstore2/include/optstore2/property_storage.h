#pragma once

#include <optstore2/export.h>

#include <toolbelt2/sptr.h>
#include <toolbelt2/variant_bag.h>

#include <chrono>
#include <string>

namespace optstore2 {

/// Values that last beyond a run: one bag under each name. What is read or written is the
/// whole bag of a name, and each operation is atomic on its own; a read followed by a write
/// is not, see store_lock_t. Any thread may call.
class OPTSTORE2_EXPORT IPropertyStorage {
public:
    /// How long an operation waits for another process that is writing.
    static constexpr std::chrono::milliseconds DEFAULT_BUSY_TIMEOUT{5000};

    IPropertyStorage() = default;
    IPropertyStorage(IPropertyStorage const&) = delete;
    IPropertyStorage& operator=(IPropertyStorage const&) = delete;
    virtual ~IPropertyStorage();

    /// The bag stored under a name, or the default if there is none. Throws storage_error if
    /// that cannot be told: a store that is locked or damaged never reads as an empty one,
    /// or the next write would make it so.
    virtual toolbelt2::variant_bag_t read(std::string const& name,
                                          toolbelt2::variant_bag_t const& defaultValue) const = 0;

    /// Replaces the bag under a name. On return it is on disk, and survives a crash and a
    /// loss of power. Throws storage_error if it could not be written; then the store holds
    /// what it held before.
    virtual void write(std::string const& name, toolbelt2::variant_bag_t const& value) = 0;

    /// A store in one SQLite file, which any number of processes may have open. A missing
    /// file is an empty store, created whole by the first write; its directory must exist by then.
    /// A file without content is not missing but damaged. All of a store is checked as it is
    /// opened. Null, with the reason in `error`, if the file is locked for longer than the
    /// time-out, damaged, or not a store of this kind; such a file is left as it is.
    ///
    /// A relative name is taken from the current directory of this moment. A store must not
    /// be used on the other side of a fork.
    static toolbelt2::sptr_t<IPropertyStorage>
    openSqlite(char const* file, std::string& error,
               std::chrono::milliseconds busyTimeout = DEFAULT_BUSY_TIMEOUT);
};

} // namespace optstore2
