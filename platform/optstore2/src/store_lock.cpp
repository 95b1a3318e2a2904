#include <optstore2/storage_error.h>
#include <optstore2/store_lock.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace optstore2 {

namespace {

constexpr std::chrono::milliseconds c_pause{5};
/// A number and a newline. Nothing longer is a lock file of this program, or it would be lost here.
constexpr std::size_t c_longestContent = 24;

[[noreturn]] void fail(std::string const& file, std::string const& reason) {
    throw storage_error(file, "cannot be locked: " + reason);
}

[[noreturn]] void fail(std::string const& file, int code) {
    fail(file, std::generic_category().message(code));
}

/// Links are not followed: where others may write, they could lead to any file of the user.
toolbelt2::descriptor_t openLockFile(std::string const& storeFile) {
    auto file = toolbelt2::descriptor_t::open(
        (storeFile + ".lock").c_str(), O_RDWR | O_CREAT | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK, 0600);
    if (!file)
        fail(storeFile,
             errno == ELOOP ? "its lock file is a link" : std::generic_category().message(errno));
    struct stat status {};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink > 1 ||
        static_cast<std::size_t>(status.st_size) > c_longestContent)
        fail(storeFile, "its lock file is some other file");
    return file;
}

/// As the holder wrote it, for a person.
std::string holderOf(toolbelt2::descriptor_t const& file) {
    std::array<char, c_longestContent> content{};
    ssize_t const size = ::pread(file.get(), content.data(), content.size(), 0);
    std::string const text(content.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    std::string const number = text.substr(0, text.find('\n'));
    bool const isNumber =
        !number.empty() && number.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? "process " + number : "another process";
}

} // namespace

store_lock_t::store_lock_t(char const* storeFile, std::chrono::milliseconds patience)
    : m_descriptor(openLockFile(storeFile)) {
    wait(storeFile, patience);
    // Only a message needs it, so that a full disk does no harm.
    std::string const holder = std::to_string(::getpid()) + "\n";
    if (::ftruncate(m_descriptor.get(), 0) == 0)
        static_cast<void>(::pwrite(m_descriptor.get(), holder.data(), holder.size(), 0) == 0);
}

void store_lock_t::wait(char const* storeFile, std::chrono::milliseconds patience) const {
    using namespace std::chrono;
    auto const start = steady_clock::now();
    while (::flock(m_descriptor.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EINTR && errno != EWOULDBLOCK)
            fail(storeFile, errno);
        if (steady_clock::now() - start >= patience)
            fail(storeFile, holderOf(m_descriptor) + " has held the lock for " +
                                std::to_string(duration_cast<seconds>(patience).count()) +
                                " seconds; if it is stopped or hangs, end it");
        std::this_thread::sleep_for(c_pause);
    }
}

} // namespace optstore2
