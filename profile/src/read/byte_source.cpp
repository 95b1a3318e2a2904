#include "read/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace lokata::profile {

std::string_view MemorySource::bytes(std::uint64_t offset, std::uint64_t count,
                                     std::string&) const {
    return offset < m_content.size() ? m_content.substr(offset, count) : std::string_view();
}

std::string_view FileSource::bytes(std::uint64_t offset, std::uint64_t count,
                                   std::string& buffer) const {
    std::uint64_t const available = offset < m_size ? m_size - offset : 0;
    buffer.resize(static_cast<std::size_t>(std::min(count, available)));
    std::size_t got = 0;
    while (got < buffer.size()) {
        auto const one = ::pread(m_descriptor, buffer.data() + got, buffer.size() - got,
                                 static_cast<off_t>(offset + got));
        if (one == 0 || (one < 0 && errno != EINTR))
            break;
        if (one > 0)
            got += static_cast<std::size_t>(one);
    }
    buffer.resize(got);
    return buffer;
}

ElfHandle FileSource::openElf() const {
    elf_version(EV_CURRENT);
    return {elf_begin(m_descriptor, ELF_C_READ, nullptr), elf_end};
}

} // namespace lokata::profile
