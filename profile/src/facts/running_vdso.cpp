#include "facts/running_vdso.h"

#include "facts/elf_tables.h"
#include "read/notes.h"

#include <optstore2/product_locations.h>
#include <toolbelt2/path.h>
#include <toolbelt2/pending_file.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include <elf.h>
#include <link.h>
#include <sys/auxv.h>

namespace lokata::profile {

namespace {

/// From its header to its section headers, which stand last. Empty where the kernel has none.
std::string_view runningVdso() {
    auto const* const start = reinterpret_cast<char const*>(::getauxval(AT_SYSINFO_EHDR));
    if (start == nullptr)
        return {};
    ElfW(Ehdr) header{};
    std::memcpy(&header, start, sizeof header);
    return {start, header.e_shoff + std::size_t{header.e_shnum} * header.e_shentsize};
}

BuildId buildIdIn(ForeignFile const& image) {
    auto const tables = readElfTables(image);
    std::string notes;
    for (std::size_t i = 0; tables && i < tables->segments.size(); ++i) {
        ElfSegment const& segment = tables->segments[i];
        if (segment.type == PT_NOTE && image.read(segment.offset, segment.file_size, notes))
            return buildIdOf(buildIdInNotes(notes, tables->big_endian, segment.alignment));
    }
    return {};
}

bool holds(std::string const& path, std::string_view content) {
    ForeignFile const file(path);
    std::string held;
    return file.error().empty() && file.size() == content.size() &&
           file.read(0, file.size(), held) && held == content;
}

} // namespace

std::string copyOfRunningVdso(BuildId const& buildId) {
    std::string_view const image = runningVdso();
    if (buildId.empty() || image.empty() || buildIdIn(ForeignFile::ofContent(image)) != buildId)
        return {};
    std::string const root = optstore2::IProductLocations::get()->getTempDirectory();
    if (root.empty())
        return {};
    std::string copy = toolbelt2::join_path(root, {"vdso", toHex(buildId) + ".so"});
    if (holds(copy, image))
        return copy;
    try {
        std::filesystem::create_directories(toolbelt2::parent_of(copy));
        toolbelt2::pending_file_t file(copy);
        file.write(image);
        file.commit();
        return copy;
    } catch (std::runtime_error const&) {
        return {};
    }
}

} // namespace lokata::profile
