#include "read/elf_image.h"

#include "read/notes.h"

#include <algorithm>

namespace lokata::profile {

/// libelf takes memory as writable; opened for reading only it leaves it alone.
ElfHandle openElf(std::string_view image) {
    elf_version(EV_CURRENT);
    return {elf_memory(const_cast<char*>(image.data()), image.size()), elf_end};
}

std::string buildIdInImage(std::string_view image) {
    auto const elf = openElf(image);
    std::size_t count = 0;
    if (!elf || elf_kind(elf.get()) != ELF_K_ELF || elf_getphdrnum(elf.get(), &count) != 0)
        return {};
    bool const bigEndian = image[EI_DATA] == ELFDATA2MSB;
    std::string found;
    for (std::size_t i = 0; i < std::min(count, c_maxNoteSegments) && found.empty(); ++i) {
        GElf_Phdr header{};
        if (gelf_getphdr(elf.get(), static_cast<int>(i), &header) == nullptr ||
            header.p_type != PT_NOTE || header.p_offset >= image.size())
            continue;
        auto const size = std::min<std::uint64_t>(header.p_filesz, image.size() - header.p_offset);
        found = buildIdInNotes(
            image.substr(static_cast<std::size_t>(header.p_offset), static_cast<std::size_t>(size)),
            bigEndian, header.p_align);
    }
    return found;
}

} // namespace lokata::profile
