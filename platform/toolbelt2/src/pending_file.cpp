#include <toolbelt2/pending_file.h>

#include <toolbelt2/hex.h>
#include <toolbelt2/mutex.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <set>
#include <stdexcept>
#include <sys/random.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace toolbelt2 {

namespace {

constexpr std::string_view c_suffix = ".part";
constexpr std::size_t c_randomBytes = 8;

/// The hidden files that are there, by their names.
struct hidden_files_t {
    mutex_t lock;
    std::set<std::string> names TOOLBELT2_GUARDED_BY(lock);
};

/// Never destroyed: a thread that ends the process may need it beside the end of main().
hidden_files_t& hidden_files() {
    static auto* const s_pFiles = new hidden_files_t;
    return *s_pFiles;
}

/// What the file system of the target allows for a name.
std::size_t longest_name(std::string const& target) {
    std::string const directory = target.substr(0, target.rfind('/') + 1) + ".";
    long const longest = ::pathconf(directory.c_str(), _PC_NAME_MAX);
    return longest < 0 ? NAME_MAX : static_cast<std::size_t>(longest);
}

/// Cut where the whole would be longer than a name may be.
std::string hidden_name(std::string const& target) {
    std::array<unsigned char, c_randomBytes> random{};
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        return {};
    std::size_t const nameAt = target.rfind('/') + 1;
    constexpr std::size_t c_added = 2 + 2 * c_randomBytes + c_suffix.size();
    std::size_t const kept = std::max(longest_name(target), c_added) - c_added;
    return target.substr(0, nameAt) + "." + target.substr(nameAt, kept) + "." + to_hex(random) +
           std::string(c_suffix);
}

} // namespace

pending_file_t::pending_file_t(std::string target, mode_t mode) : m_target(std::move(target)) {
    require_replaceable_target();
    make_hidden_file(mode);
}

void pending_file_t::make_hidden_file(mode_t mode) {
    mutex_guard_t const guard(hidden_files().lock);
    do {
        m_path = hidden_name(m_target);
        m_descriptor =
            descriptor_t::open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    } while (!m_descriptor && errno == EEXIST);
    if (!m_descriptor)
        fail(errno);
    hidden_files().names.insert(m_path);
}

pending_file_t::~pending_file_t() {
    mutex_guard_t const guard(hidden_files().lock);
    if (!m_isCommitted)
        ::unlink(m_path.c_str());
    hidden_files().names.erase(m_path);
}

void pending_file_t::abandon_all() {
    hidden_files().lock.lock(); // For ever.
    for (std::string const& name : hidden_files().names)
        ::unlink(name.c_str());
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
    if (std::error_code const error =
            write_all(m_descriptor.get(), {static_cast<char const*>(data), size}))
        fail(error.value());
}

void pending_file_t::finish_content(durability_t durability) {
    if (durability == durability_t::on_disk && ::fsync(m_descriptor.get()) != 0)
        fail(errno);
    if (std::error_code const error = m_descriptor.close())
        fail(error.value());
}

void pending_file_t::commit(durability_t durability) {
    finish_content(durability);
    mutex_guard_t const guard(hidden_files().lock);
    require_replaceable_target();
    if (std::rename(m_path.c_str(), m_target.c_str()) != 0)
        fail(errno);
    m_isCommitted = true;
}

/// A link and not a rename, which not every file system can do without replacing. Where there are
/// no links, as on FAT, it has to.
bool pending_file_t::commit_as_new() {
    finish_content(durability_t::on_disk);
    mutex_guard_t const guard(hidden_files().lock);
    if (::link(m_path.c_str(), m_target.c_str()) == 0)
        return true; // The other name goes with this object.
    if (errno == EPERM || errno == EOPNOTSUPP)
        m_isCommitted = ::renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_target.c_str(),
                                    RENAME_NOREPLACE) == 0;
    if (!m_isCommitted && errno != EEXIST)
        fail(errno);
    return m_isCommitted;
}

} // namespace toolbelt2
