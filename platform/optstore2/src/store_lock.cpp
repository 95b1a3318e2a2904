#include <optstore2/storage_error.h>
#include <optstore2/store_lock.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <system_error>

namespace optstore2 {

namespace {

[[noreturn]] void fail(std::string const& file, int code) {
    throw storage_error(file, "cannot be locked: " + std::generic_category().message(code));
}

} // namespace

store_lock_t::store_lock_t(char const* storeFile)
    : m_descriptor(toolbelt2::descriptor_t::open((std::string(storeFile) + ".lock").c_str(),
                                                 O_RDWR | O_CREAT | O_NOCTTY, 0600)) {
    if (!m_descriptor)
        fail(storeFile, errno);
    while (::flock(m_descriptor.get(), LOCK_EX) != 0)
        if (errno != EINTR)
            fail(storeFile, errno);
}

} // namespace optstore2
