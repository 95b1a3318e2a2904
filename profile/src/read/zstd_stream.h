#pragma once

#include <lokata/profile/export.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <zstd.h>

namespace lokata::profile {

/// Decompresses one zstd stream that arrives in pieces.
class ZstdStream {
public:
    /// `limit`: bytes that may come out in all.
    explicit ZstdStream(std::uint64_t limit);

    /// Appends what comes out of `piece` to `out`, at most a block at a time: call again with
    /// what is left of `piece` while that is not empty. False when the stream is damaged or the
    /// limit is reached; every later call then fails too.
    bool next(std::string_view& piece, std::string& out);

    std::string const& error() const { return m_error; }

private:
    std::unique_ptr<ZSTD_DStream, std::size_t (*)(ZSTD_DStream*)> m_stream;
    std::uint64_t m_left;
    std::string m_error;
};

} // namespace lokata::profile
