#pragma once

/// MD5 digests, by which compilers, archives and caches know a content. All are lower-case
/// hexadecimal digits, and empty where a policy of the machine forbids the algorithm. Every
/// function may be called from any thread.

#include <lokata/profile/export.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace lokata::profile {

constexpr std::size_t c_md5Size = 16; ///< In bytes.

/// Of the content of a file; empty too if it cannot be read to its end.
std::string contentMd5(std::string const& path);

std::string textMd5(std::string_view content);

/// Whether a text is a digest as the above give it.
bool isMd5(std::string_view text);

} // namespace lokata::profile
