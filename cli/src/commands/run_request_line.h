#pragma once

#include "search/search_record.h"

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace lokata::cli {

/// In bytes. Enough for two names of 4096 bytes with every byte escaped.
constexpr std::size_t c_maxRequestLine = 65536;

/// Says what is wrong with a line, but not which line it is.
struct MalformedLine : std::runtime_error {
    explicit MalformedLine(std::string reason)
        : std::runtime_error(reason), text(std::move(reason)) {}

    std::string text; ///< Whole where `what` ends: parts of the line may hold null bytes.
};

/// Reads one line of a file of requests, without its newline. Two forms may be mixed:
///
///     bin NAME
///     sym NAME BINARY [CHECKSUM]
///     src NAME BINARY [CHECKSUM]
///     {"category": "sym", "name": NAME, "binary": BINARY, "checksum": CHECKSUM}
///
/// In the first, words stand between blanks; one with blanks in it stands in double quotes, with a
/// backslash before a quote or a backslash in it. In the second, "binary" and "checksum" may be
/// missing, and no member comes twice. Empty lines and lines that begin with # hold no request.
/// Throws `MalformedLine` if a line has neither form, or is too long. What a checksum says is not
/// looked at.
std::optional<SearchRequest> parseRequestLine(std::string const& line);

} // namespace lokata::cli
