#include "facts/md5.h"

#include <toolbelt2/digest.h>
#include <toolbelt2/hex.h>

#include <stdexcept>

namespace lokata::profile {

namespace {

constexpr unsigned c_blockSize = 64U << 10;

template <class Feed>
std::string md5Of(Feed const& feed) {
    try {
        toolbelt2::md5_t digest;
        feed(digest);
        return digest.get_digest_base16();
    } catch (std::runtime_error const&) {
        return {}; // libcrypto refused.
    }
}

} // namespace

std::string contentMd5(std::string const& path) {
    return md5Of([&](toolbelt2::md5_t& digest) {
        digest.update_from_file(toolbelt2::path_t(path.c_str()), c_blockSize);
    });
}

std::string textMd5(std::string_view content) {
    return md5Of([&](toolbelt2::md5_t& digest) { digest.update(content.data(), content.size()); });
}

bool isMd5(std::string_view text) {
    auto const bytes = toolbelt2::from_hex(text);
    return bytes && bytes->size() == c_md5Size && toolbelt2::to_hex(*bytes) == text;
}

} // namespace lokata::profile
