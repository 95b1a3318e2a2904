#pragma once

#include <functional>
#include <ostream>
#include <streambuf>
#include <string_view>
#include <utility>
#include <vector>

namespace toolbelt2 {

/// Hands what a stream writes to a function, block by block, so that nobody holds all of it. What
/// is not yet handed on goes with a flush of the stream, and is lost without one. For one thread at
/// a time.
class sink_buffer_t final : public std::streambuf {
public:
    using sink_t = std::function<void(std::string_view)>;

    explicit sink_buffer_t(sink_t sink) : m_sink(std::move(sink)), m_block(c_blockSize) { empty(); }

protected:
    int_type overflow(int_type c) override {
        sync();
        return traits_type::eq_int_type(c, traits_type::eof())
                   ? traits_type::not_eof(c)
                   : sputc(traits_type::to_char_type(c));
    }
    int sync() override {
        std::string_view const bytes(pbase(), static_cast<std::size_t>(pptr() - pbase()));
        empty();
        if (!bytes.empty())
            m_sink(bytes);
        return 0;
    }

private:
    static constexpr std::size_t c_blockSize = 64UL * 1024;

    void empty() { setp(m_block.data(), m_block.data() + m_block.size()); }

    sink_t m_sink;
    std::vector<char> m_block;
};

/// Calls `write(std::ostream&)`; what that writes goes to `sink`. What either throws passes
/// through, and then what is not yet handed on is dropped.
template <class Write>
void write_in_blocks(sink_buffer_t::sink_t sink, Write const& write) {
    sink_buffer_t buffer(std::move(sink));
    std::ostream out(&buffer);
    out.exceptions(std::ios_base::badbit);
    write(out);
    out.flush();
}

} // namespace toolbelt2
