#pragma once

#include <string>
#include <string_view>

/// Each gives one whole stream, with a checksum of its content where its format has one.
std::string gzip(std::string_view content);
std::string xz(std::string_view content);
std::string zstd(std::string_view content);
std::string bzip2(std::string_view content);
std::string lzma(std::string_view content);

/// The streams stop behind the content and have no end.
std::string gzipWithoutEnd(std::string_view content);
std::string zstdWithoutEnd(std::string_view content);
