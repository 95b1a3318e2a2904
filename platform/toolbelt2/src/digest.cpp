#include <toolbelt2/digest.h>

#include <toolbelt2/descriptor.h>
#include <toolbelt2/hex.h>

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

/// The number of bytes read, 0 at the end of the file, negative on an error.
ssize_t read_block(descriptor_t const& file, std::vector<unsigned char>& block) {
    ssize_t count = 0;
    do {
        count = ::read(file.get(), block.data(), block.size());
    } while (count < 0 && errno == EINTR);
    return count;
}

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
    descriptor_t const input = descriptor_t::open(file.c_str(), O_RDONLY | O_NOCTTY);
    if (!input) {
        m_failed = true;
        return false;
    }
    ::posix_fadvise(input.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    std::vector<unsigned char> block(blockSize == 0 ? c_defaultBlockSize : blockSize);
    ssize_t count = 0;
    while ((count = read_block(input, block)) > 0)
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
    return to_hex(digest, size);
}

md5_t::md5_t() : digest_t("MD5") {}

sha1_t::sha1_t() : digest_t("SHA1") {}

} // namespace toolbelt2
