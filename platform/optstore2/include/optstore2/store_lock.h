#pragma once

#include <optstore2/export.h>

#include <toolbelt2/descriptor.h>

namespace optstore2 {

/// Makes processes and threads that read a store, change what they read and write it back
/// take turns: whoever holds the lock of a store file is alone among those who use this
/// class. It neither hinders nor is hindered by plain reads and writes of the store.
///
/// The lock lies on "<file>.lock" beside the store, which is created if need be and stays.
/// It ends with this object, or with the process however that dies.
class OPTSTORE2_EXPORT store_lock_t {
public:
    /// Waits, without a time-out, until the lock of a store file (not null) is free. Not
    /// recursive: a thread that holds it and asks again waits for ever. Throws storage_error
    /// if the lock file cannot be created or locked.
    explicit store_lock_t(char const* storeFile);

private:
    toolbelt2::descriptor_t m_descriptor;
};

} // namespace optstore2
