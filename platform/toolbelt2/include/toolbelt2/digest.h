#pragma once

#include <toolbelt2/export.h>
#include <toolbelt2/path.h>

#include <cstddef>
#include <memory>
#include <string>

namespace toolbelt2 {

/// What md5_t and sha1_t have in common: a message is fed in pieces, and its digest can be
/// asked for at any time. One object belongs to one thread at a time; different objects do
/// not meet. Every operation throws std::runtime_error if libcrypto refuses, as it does
/// where a policy of the machine forbids the algorithm.
class TOOLBELT2_EXPORT digest_t {
public:
    digest_t(digest_t const&) = delete;
    digest_t& operator=(digest_t const&) = delete;

    /// Feeds `size` bytes.
    void update(void const* data, std::size_t size);

    /// Feeds a whole file, read in blocks of `blockSize` bytes (0 reads in blocks of 4096),
    /// in constant memory. False if the file cannot be opened or read to its end, as a
    /// directory cannot. What was read until then cannot be taken back, so from there on
    /// this object has no digest. Waits, as a reader does, on a pipe that has no writer.
    bool update_from_file(path_t const& file, unsigned int blockSize);

    /// The digest of all that was fed so far, in lowercase hexadecimal digits; more can be
    /// fed afterwards. Empty after a failed update_from_file: the digest of a part of a
    /// file is never given out.
    std::string get_digest_base16() const;

protected:
    /// Starts an empty message; `algorithm` is a digest name of libcrypto.
    explicit digest_t(char const* algorithm);
    ~digest_t();

private:
    struct context_t;

    std::unique_ptr<context_t> m_pContext;
    bool m_failed = false;
};

/// MD5 (RFC 1321).
class TOOLBELT2_EXPORT md5_t : public digest_t {
public:
    md5_t();
};

/// SHA-1 (FIPS 180-1).
class TOOLBELT2_EXPORT sha1_t : public digest_t {
public:
    sha1_t();
};

} // namespace toolbelt2
