#pragma once

#include <optstore2/export.h>

#include <toolbelt2/descriptor.h>

#include <chrono>

namespace optstore2 {

/// Makes processes and threads that read a store, change what they read and write it back
/// take turns: whoever holds the lock of a store file is alone among those who use this
/// class. It neither hinders nor is hindered by plain reads and writes of the store.
///
/// The lock lies on "<file>.lock" beside the store, which is created if need be and stays; its
/// content is the number of the process that locked it last. The lock ends with this object, or
/// with the process however that dies.
class OPTSTORE2_EXPORT store_lock_t {
public:
    /// Enough for many to take their turns. Who holds the lock for longer is stopped, or hangs.
    static constexpr std::chrono::milliseconds c_patience{30000};

    /// Waits until the lock of a store file (not null) is free. Not recursive: a thread that holds
    /// it and asks again waits in vain. Throws storage_error if the lock file cannot be created or
    /// locked, or is no plain file, and after `patience`, with the number of the holder.
    explicit store_lock_t(char const* storeFile, std::chrono::milliseconds patience = c_patience);

private:
    void wait(char const* storeFile, std::chrono::milliseconds patience) const;

    toolbelt2::descriptor_t m_descriptor;
};

} // namespace optstore2
