#include <toolbelt2/digest.h>

#include <cerrno>
#include <fcntl.h>
#include <openssl/evp.h>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace toolbelt2 {

namespace {

constexpr unsigned int c_defaultBlockSize = 4096;

using md_context_ptr = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

void require(bool done) {
    if (!done)
        throw std::runtime_error("libcrypto refused to compute a digest");
}

class input_file_t {
public:
    explicit input_file_t(char const* name) {
        do {
            m_descriptor = ::open(name, O_RDONLY | O_CLOEXEC | O_NOCTTY);
        } while (m_descriptor < 0 && errno == EINTR);
        if (m_descriptor >= 0)
            ::posix_fadvise(m_descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    }

    input_file_t(input_file_t const&) = delete;
    input_file_t& operator=(input_file_t const&) = delete;

    ~input_file_t() {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }

    bool is_open() const { return m_descriptor >= 0; }

    /// The number of bytes read, 0 at the end of the file, negative on an error.
    ssize_t read(std::vector<unsigned char>& block) const {
        ssize_t count = 0;
        do {
            count = ::read(m_descriptor, block.data(), block.size());
        } while (count < 0 && errno == EINTR);
        return count;
    }

private:
    int m_descriptor = -1;
};

} // namespace

struct digest_t::context_t {
    md_context_ptr m_context{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
};

digest_t::digest_t(char const* algorithm) : m_pContext(std::make_unique<context_t>()) {
    EVP_MD_CTX* const context = m_pContext->m_context.get();
    EVP_MD const* const method = EVP_get_digestbyname(algorithm);
    require(context && method && EVP_DigestInit_ex(context, method, nullptr) == 1);
}

digest_t::~digest_t() = default;

void digest_t::update(void const* data, std::size_t size) {
    require(EVP_DigestUpdate(m_pContext->m_context.get(), data, size) == 1);
}

bool digest_t::update_from_file(path_t const& file, unsigned int blockSize) {
    input_file_t const input(file.c_str());
    if (!input.is_open()) {
        m_failed = true;
        return false;
    }
    std::vector<unsigned char> block(blockSize == 0 ? c_defaultBlockSize : blockSize);
    ssize_t count = 0;
    while ((count = input.read(block)) > 0)
        update(block.data(), static_cast<std::size_t>(count));
    if (count < 0)
        m_failed = true;
    return count == 0;
}

std::string digest_t::get_digest_base16() const {
    if (m_failed)
        return {};
    md_context_ptr const context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    require(context && EVP_MD_CTX_copy_ex(context.get(), m_pContext->m_context.get()) == 1 &&
            EVP_DigestFinal_ex(context.get(), digest, &size) == 1);

    static constexpr char c_digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(std::size_t{2} * size);
    for (unsigned int i = 0; i < size; ++i) {
        text += c_digits[digest[i] >> 4];
        text += c_digits[digest[i] & 0xF];
    }
    return text;
}

md5_t::md5_t() : digest_t("MD5") {}

sha1_t::sha1_t() : digest_t("SHA1") {}

} // namespace toolbelt2
