#include "facts/source_files.h"

#include "facts/dwarf_file.h"
#include "facts/line_table.h"
#include "read/reasons.h"

#include <lokata2/utils.h>
#include <toolbelt2/path.h>
#include <toolbelt2/text.h>

#include <map>
#include <set>
#include <string_view>

#include <dwarf.h>
#include <elfutils/libdw.h>

namespace lokata::profile {

namespace {

/// Names of files in all, in bytes. The largest programs have a tenth of that.
constexpr std::uint64_t c_maxNames = 256U << 20;

std::string damage(std::string const& what) {
    return reasonText(ReasonKey::sources_damaged, {what});
}

std::string unusable(std::string const& why) {
    return reasonText(ReasonKey::sources_unusable, {why});
}

/// "<built-in>", "<command-line>" and the like, in whatever directory they are said to be.
bool isNoFile(std::string const& name) {
    std::string_view const base = toolbelt2::last_component(name);
    return toolbelt2::starts_with(base, "<") && toolbelt2::ends_with(base, ">");
}

class SourceCollector {
public:
    SourceCollector(DwarfFile const& file, DwarfFile const* shared)
        : m_file(file)
        , m_sections{file.section(".debug_line"), file.section(".debug_line_str"),
                     file.section(".debug_str"),
                     shared == nullptr ? std::string_view() : shared->section(".debug_str"),
                     file.tables().big_endian} {}

    SourceFiles collect() {
        Dwarf_CU* unit = nullptr;
        int status = 0;
        Dwarf_Die die{};
        while (m_nameBytes <= c_maxNames &&
               (status = dwarf_get_units(m_file.dwarf(), unit, &unit, nullptr, nullptr, &die,
                                         nullptr)) == 0)
            addUnit(die);
        if (status < 0)
            m_error = damage(dwarf_errmsg(-1));
        if (m_nameBytes > c_maxNames)
            m_error = unusable(reasonText(ReasonKey::too_large, {std::to_string(m_nameBytes)}));
        SourceFiles result;
        result.error = std::move(m_error);
        for (auto& [name, identity] : m_files)
            result.files.push_back({name, identity});
        return result;
    }

private:
    void addUnit(Dwarf_Die& die) {
        Dwarf_Attribute attribute{};
        Dwarf_Word table = 0;
        // Units share tables.
        if (dwarf_formudata(dwarf_attr(&die, DW_AT_stmt_list, &attribute), &table) != 0 ||
            !m_tables.insert(table).second)
            return;
        char const* const directory =
            dwarf_formstring(dwarf_attr(&die, DW_AT_comp_dir, &attribute));
        // Tables that overlap would cost more than the file is large.
        std::uint64_t const size =
            m_lineBytes > m_sections.lines.size()
                ? 0
                : readLineTable(m_sections, table, directory == nullptr ? "" : directory,
                                [&](SourceFile const& file) { add(file); });
        if (size == 0)
            m_error = damage(".debug_line+" + std::to_string(table));
        m_lineBytes += size;
    }

    void add(SourceFile const& file) {
        if (isNoFile(file.name))
            return;
        auto const [known, isNew] = m_files.try_emplace(
            LK_2_13::utils::getCanonicalName(file.name.c_str(), false), file.identity);
        if (isNew)
            m_nameBytes += known->first.size();
        SourceIdentity& identity = known->second;
        if (!identity.md5)
            identity.md5 = file.identity.md5;
        if (identity.modification_time == 0)
            identity.modification_time = file.identity.modification_time;
        if (identity.size == 0)
            identity.size = file.identity.size;
    }

    DwarfFile const& m_file;
    LineTableSections m_sections;
    std::set<Dwarf_Word> m_tables;
    std::map<std::string, SourceIdentity> m_files;
    std::uint64_t m_lineBytes = 0;
    std::uint64_t m_nameBytes = 0;
    std::string m_error;
};

} // namespace

SourceFiles readSourceFiles(std::string const& path, std::string const& supplementary) {
    DwarfFile const main(path);
    if (!main.error().empty())
        return {{}, unusable(main.error())};
    if (main.tables().type == ET_REL)
        return {{}, reasonText(ReasonKey::sources_relocatable)};
    std::optional<DwarfFile> shared;
    if (!supplementary.empty())
        shared.emplace(supplementary);
    if (shared)
        dwarf_setalt(main.dwarf(), shared->dwarf());
    SourceFiles result = SourceCollector(main, shared ? &*shared : nullptr).collect();
    dwarf_setalt(main.dwarf(), nullptr);
    return result;
}

} // namespace lokata::profile
