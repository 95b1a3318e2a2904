#include "facts/source_files.h"

#include "facts/line_table_md5.h"
#include "read/reasons.h"

#include <lokata2/utils.h>
#include <toolbelt2/descriptor.h>
#include <toolbelt2/path.h>

#include <map>
#include <memory>
#include <set>
#include <string_view>

#include <dwarf.h>
#include <elfutils/libdw.h>
#include <fcntl.h>
#include <gelf.h>
#include <sys/stat.h>

namespace lokata::profile {

namespace {

struct EndElf {
    void operator()(Elf* elf) const { elf_end(elf); }
};
struct EndDwarf {
    void operator()(Dwarf* dwarf) const { dwarf_end(dwarf); }
};

/// A file with its DWARF. The members close in the right order: DWARF, ELF, descriptor.
struct DwarfFile {
    toolbelt2::descriptor_t file;
    std::unique_ptr<Elf, EndElf> elf;
    std::unique_ptr<Dwarf, EndDwarf> dwarf;

    explicit DwarfFile(std::string const& path)
        : file(toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY | O_NONBLOCK)) {
        struct stat status {};
        if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
            return;
        elf_version(EV_CURRENT);
        elf.reset(elf_begin(file.get(), ELF_C_READ, nullptr));
        if (elf && elf_kind(elf.get()) == ELF_K_ELF)
            dwarf.reset(dwarf_begin_elf(elf.get(), DWARF_C_READ, nullptr));
    }
};

/// The content of .debug_line as libdw uses it: it unpacks a compressed section in place.
std::string_view lineSection(Elf* elf) {
    std::size_t names = 0;
    if (elf_getshdrstrndx(elf, &names) != 0)
        return {};
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
        GElf_Shdr header{};
        if (gelf_getshdr(section, &header) == nullptr)
            return {};
        char const* const name = elf_strptr(elf, names, header.sh_name);
        if (name == nullptr || header.sh_type == SHT_NOBITS)
            continue;
        std::string_view const text = name;
        if (text != ".debug_line" && text != ".zdebug_line")
            continue;
        Elf_Data const* const data = elf_getdata(section, nullptr);
        if (data != nullptr && data->d_buf != nullptr)
            return {static_cast<char const*>(data->d_buf), data->d_size};
    }
    return {};
}

std::string damage() {
    return reasonText(ReasonKey::sources_damaged, {dwarf_errmsg(-1)});
}

class SourceCollector {
public:
    SourceCollector(Elf* elf, Dwarf* dwarf) : m_elf(elf), m_dwarf(dwarf) {
        GElf_Ehdr header{};
        m_bigEndian =
            gelf_getehdr(elf, &header) != nullptr && header.e_ident[EI_DATA] == ELFDATA2MSB;
    }

    SourceFiles collect() {
        SourceFiles result;
        Dwarf_CU* unit = nullptr;
        int status = 0;
        Dwarf_Die die{};
        while ((status = dwarf_get_units(m_dwarf, unit, &unit, nullptr, nullptr, &die, nullptr)) ==
               0)
            addUnit(die, result.error);
        if (status < 0)
            result.error = damage();
        for (auto& [name, identity] : m_files)
            result.files.push_back({name, identity});
        return result;
    }

private:
    void addUnit(Dwarf_Die& die, std::string& error) {
        Dwarf_Attribute attribute{};
        Dwarf_Word table = 0;
        // Units share tables.
        if (dwarf_formudata(dwarf_attr(&die, DW_AT_stmt_list, &attribute), &table) != 0 ||
            !m_tables.insert(table).second)
            return;
        Dwarf_Files* files = nullptr;
        std::size_t count = 0;
        if (dwarf_getsrcfiles(&die, &files, &count) != 0) {
            error = damage();
            return;
        }
        // Asked for only now: libdw has unpacked the section by this time.
        auto const md5 = lineTableMd5(lineSection(m_elf), table, m_bigEndian);
        char const* const directory =
            dwarf_formstring(dwarf_attr(&die, DW_AT_comp_dir, &attribute));
        for (std::size_t i = 0; i < count; ++i) {
            Dwarf_Word time = 0;
            Dwarf_Word size = 0;
            char const* const name = dwarf_filesrc(files, i, &time, &size);
            if (name == nullptr || std::string_view(name) == "???")
                continue;
            add(directory, name,
                {i < md5.size() ? md5[i] : std::nullopt, std::uint64_t{time}, std::uint64_t{size}});
        }
    }

    void add(char const* directory, std::string name, SourceIdentity const& identity) {
        if (name.front() == '<')
            return; // "<built-in>" and its like
        if (name.front() != '/' && directory != nullptr)
            name = toolbelt2::join_path(directory, name);
        SourceIdentity& known = m_files[LK_2_13::utils::getCanonicalName(name.c_str(), false)];
        if (!known.md5)
            known.md5 = identity.md5;
        if (known.modification_time == 0)
            known.modification_time = identity.modification_time;
        if (known.size == 0)
            known.size = identity.size;
    }

    Elf* m_elf;
    Dwarf* m_dwarf;
    bool m_bigEndian = false;
    std::set<Dwarf_Word> m_tables;
    std::map<std::string, SourceIdentity> m_files;
};

} // namespace

SourceFiles readSourceFiles(std::string const& path, std::string const& supplementary) {
    DwarfFile const main(path);
    if (!main.dwarf)
        return {{}, main.elf ? damage() : reasonText(ReasonKey::sources_not_elf)};
    GElf_Ehdr header{};
    if (gelf_getehdr(main.elf.get(), &header) == nullptr || header.e_type == ET_REL)
        return {{}, reasonText(ReasonKey::sources_relocatable)};
    std::optional<DwarfFile> shared;
    if (!supplementary.empty())
        shared.emplace(supplementary);
    if (shared && shared->dwarf)
        dwarf_setalt(main.dwarf.get(), shared->dwarf.get());
    SourceFiles result = SourceCollector(main.elf.get(), main.dwarf.get()).collect();
    dwarf_setalt(main.dwarf.get(), nullptr);
    return result;
}

} // namespace lokata::profile
