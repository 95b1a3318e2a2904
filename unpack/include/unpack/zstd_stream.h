#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace lokata::unpack {

class StreamDecoder;

/// Unpacks one zstd stream that arrives in pieces and need not end, as perf writes it into
/// compressed records. For one thread at a time; throws nothing but `std::bad_alloc`.
class ZstdStream {
public:
    /// `limit`: bytes that may come out in all.
    explicit ZstdStream(std::uint64_t limit);
    ~ZstdStream();
    ZstdStream(ZstdStream const&) = delete;
    ZstdStream& operator=(ZstdStream const&) = delete;

    enum class Step {
        more,  ///< Call again with what is left of the piece, which may be nothing.
        done,  ///< All that the piece holds has come out.
        failed ///< See `error`; so does every later call.
    };

    /// Unpacks from the front of `piece`, and appends to `out` what comes out, at most a block.
    Step next(std::string_view& piece, std::string& out);

    /// What is wrong with the stream, to stand behind a name of it, as "is damaged"; empty before
    /// a call failed.
    std::string const& error() const { return m_error; }

private:
    std::unique_ptr<StreamDecoder> m_decoder;
    std::uint64_t m_left;
    std::string m_error;
};

} // namespace lokata::unpack
