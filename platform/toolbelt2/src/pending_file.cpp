#include <toolbelt2/pending_file.h>

#include <toolbelt2/hex.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <sys/random.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace toolbelt2 {

namespace {

constexpr std::string_view c_suffix = ".part";
constexpr std::size_t c_randomBytes = 8;

/// Cut where the whole would be longer than a name may be.
std::string hidden_name(std::string const& target) {
    std::array<unsigned char, c_randomBytes> random{};
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        return {};
    std::size_t const nameAt = target.rfind('/') + 1;
    constexpr std::size_t c_longest = NAME_MAX - 2 - 2 * c_randomBytes - c_suffix.size();
    return target.substr(0, nameAt) + "." + target.substr(nameAt, c_longest) + "." +
           to_hex(random) + std::string(c_suffix);
}

} // namespace

pending_file_t::pending_file_t(std::string target, mode_t mode) : m_target(std::move(target)) {
    require_replaceable_target();
    do {
        m_path = hidden_name(m_target);
        m_descriptor =
            descriptor_t::open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    } while (!m_descriptor && errno == EEXIST);
    if (!m_descriptor)
        fail(errno);
}

pending_file_t::~pending_file_t() {
    if (!m_isCommitted)
        ::unlink(m_path.c_str());
}

void pending_file_t::fail(int reason) const {
    throw std::system_error(reason, std::generic_category(), m_target + " cannot be written");
}

void pending_file_t::require_replaceable_target() const {
    struct stat status {};
    if (::lstat(m_target.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        throw std::runtime_error(m_target + " is not a regular file");
}

void pending_file_t::write(void const* data, std::size_t size) {
    auto const* bytes = static_cast<char const*>(data);
    while (size > 0) {
        ssize_t const written = ::write(m_descriptor.get(), bytes, size);
        if (written < 0 && errno != EINTR)
            fail(errno);
        auto const step = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
        bytes += step;
        size -= step;
    }
}

void pending_file_t::commit(durability_t durability) {
    if (durability == durability_t::on_disk && ::fsync(m_descriptor.get()) != 0)
        fail(errno);
    if (std::error_code const error = m_descriptor.close())
        fail(error.value());
    require_replaceable_target();
    if (std::rename(m_path.c_str(), m_target.c_str()) != 0)
        fail(errno);
    m_isCommitted = true;
}

} // namespace toolbelt2
