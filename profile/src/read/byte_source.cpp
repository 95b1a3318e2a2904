#include "read/byte_source.h"

#include <toolbelt2/descriptor.h>

#include <algorithm>
#include <system_error>

namespace lokata::profile {

std::string_view MemorySource::bytes(std::uint64_t offset, std::uint64_t count,
                                     std::string&) const {
    return offset < m_content.size() ? m_content.substr(offset, count) : std::string_view();
}

std::string_view FileSource::bytes(std::uint64_t offset, std::uint64_t count,
                                   std::string& buffer) const {
    std::uint64_t const available = offset < m_size ? m_size - offset : 0;
    buffer.resize(static_cast<std::size_t>(std::min(count, available)));
    std::error_code error;
    buffer.resize(toolbelt2::read_at(m_descriptor, offset, buffer.data(), buffer.size(), error));
    return buffer;
}

ElfHandle FileSource::openElf() const {
    elf_version(EV_CURRENT);
    return {elf_begin(m_descriptor, ELF_C_READ, nullptr), elf_end};
}

} // namespace lokata::profile
