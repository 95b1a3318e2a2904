#include "facts/line_table.h"

#include "read/cursor.h"

#include <toolbelt2/path.h>

#include <algorithm>
#include <string>
#include <vector>

#include <dwarf.h>
#include <limits.h>

namespace lokata::profile {

namespace {

/// Directories or files of one table; a thousand are many.
constexpr std::uint64_t c_maxEntries = 1U << 20;
constexpr std::uint32_t c_longFormat = 0xffffffff;

struct EntryFormat {
    std::uint64_t content;
    std::uint64_t form;
};

/// One directory or file. A name that cannot be told is empty.
struct Entry {
    std::string_view name;
    std::uint64_t directory = 0;
    SourceIdentity identity;
};

class TableReader {
public:
    TableReader(LineTableSections const& sections, std::string_view compilation)
        : m_sections(sections), m_compilation(compilation), m_cursor({}, sections.big_endian) {}

    std::uint64_t read(std::uint64_t offset, std::function<void(SourceFile)> const& take) {
        if (!readHeader(offset))
            return 0;
        std::uint64_t const size = m_cursor.remaining();
        if (!(m_version == 5 ? readEntries(m_directories) && readEntries(m_files) : readLists()))
            return 0;
        for (Entry const& file : m_files)
            if (std::string name = fullName(file); !name.empty())
                take({std::move(name), file.identity});
        return size - m_cursor.remaining();
    }

private:
    bool readHeader(std::uint64_t offset) {
        if (offset >= m_sections.lines.size())
            return false;
        Cursor start(m_sections.lines.substr(static_cast<std::size_t>(offset)),
                     m_sections.big_endian);
        std::uint32_t const shortLength = start.u32();
        m_longFormat = shortLength == c_longFormat;
        m_cursor =
            Cursor(start.bytes(m_longFormat ? start.u64() : shortLength), m_sections.big_endian);
        m_version = m_cursor.u16();
        if (m_version < 2 || m_version > 5)
            return false;
        if (m_version == 5)
            m_cursor.skip(2); // sizes of addresses and of segment selectors
        this->offset();       // length of the header
        // The sizes of instructions and of groups of them, the default, line base and range.
        m_cursor.skip(m_version < 4 ? 4 : 5);
        std::uint8_t const opcodeBase = m_cursor.u8();
        m_cursor.skip(opcodeBase == 0 ? 0 : opcodeBase - 1U);
        return m_cursor.ok();
    }

    std::uint64_t offset() { return m_longFormat ? m_cursor.u64() : m_cursor.u32(); }

    /// False if it has no end.
    bool text(std::string_view& text) {
        std::uint64_t const before = m_cursor.remaining();
        text = m_cursor.text();
        return m_cursor.remaining() + text.size() < before;
    }

    /// Before version 5: lists that end with an empty name. Number 0 is the directory of the
    /// compilation.
    bool readLists() {
        std::string_view name;
        m_directories.emplace_back().name = m_compilation;
        while (text(name) && !name.empty() && m_directories.size() < c_maxEntries)
            m_directories.emplace_back().name = name;
        if (!name.empty())
            return false;
        while (text(name) && !name.empty() && m_files.size() < c_maxEntries) {
            Entry& file = m_files.emplace_back();
            file.name = name;
            file.directory = m_cursor.leb128();
            file.identity.modification_time = m_cursor.leb128();
            file.identity.size = m_cursor.leb128();
        }
        return m_cursor.ok() && name.empty();
    }

    bool readEntries(std::vector<Entry>& entries) {
        std::vector<EntryFormat> formats;
        for (unsigned left = m_cursor.u8(); left > 0; --left) {
            std::uint64_t const content = m_cursor.leb128();
            formats.push_back({content, m_cursor.leb128()});
        }
        std::uint64_t const count = m_cursor.leb128();
        if (!m_cursor.ok() || count > c_maxEntries || (formats.empty() && count != 0))
            return false;
        entries.resize(static_cast<std::size_t>(count));
        return std::all_of(entries.begin(), entries.end(),
                           [&](Entry& entry) { return readEntry(formats, entry); });
    }

    bool readEntry(std::vector<EntryFormat> const& formats, Entry& entry) {
        for (EntryFormat const& format : formats)
            if (format.content == DW_LNCT_path) {
                if (!readName(format.form, entry.name))
                    return false;
            } else if (format.content == DW_LNCT_MD5 && format.form == DW_FORM_data16) {
                readMd5(entry.identity);
            } else {
                std::uint64_t value = 0;
                if (!readNumber(format.form, value))
                    return false;
                if (format.content == DW_LNCT_directory_index)
                    entry.directory = value;
                else if (format.content == DW_LNCT_timestamp)
                    entry.identity.modification_time = value;
                else if (format.content == DW_LNCT_size)
                    entry.identity.size = value;
            }
        return m_cursor.ok();
    }

    void readMd5(SourceIdentity& identity) {
        std::array<std::uint8_t, 16> md5{};
        std::string_view const bytes = m_cursor.bytes(md5.size());
        std::copy(bytes.begin(), bytes.end(), md5.begin());
        // A file without a checksum in a table that has them is all zeros.
        if (std::any_of(md5.begin(), md5.end(), [](std::uint8_t byte) { return byte != 0; }))
            identity.md5 = md5;
    }

    /// The forms that section 6.2.4.1 allows and that need no other table.
    bool readName(std::uint64_t form, std::string_view& name) {
        switch (form) {
        case DW_FORM_string:
            return text(name);
        case DW_FORM_line_strp:
            name = stringAt(m_sections.line_strings, offset());
            return true;
        case DW_FORM_strp:
            name = stringAt(m_sections.strings, offset());
            return true;
        case DW_FORM_strp_sup:
        case DW_FORM_GNU_strp_alt:
            name = stringAt(m_sections.supplementary_strings, offset());
            return true;
        default:
            std::uint64_t number = 0;
            return readNumber(form, number);
        }
    }

    static std::string_view stringAt(std::string_view strings, std::uint64_t at) {
        if (at >= strings.size())
            return {};
        std::string_view const rest = strings.substr(static_cast<std::size_t>(at), PATH_MAX);
        std::size_t const end = rest.find('\0');
        return end == std::string_view::npos ? std::string_view() : rest.substr(0, end);
    }

    /// The forms of numbers that producers use, and those that they use for what is not known here.
    /// False for others: their size is not known.
    bool readNumber(std::uint64_t form, std::uint64_t& value) {
        switch (form) {
        case DW_FORM_udata:
        case DW_FORM_strx:
            value = m_cursor.leb128();
            return true;
        case DW_FORM_data1:
        case DW_FORM_strx1:
            value = m_cursor.u8();
            return true;
        case DW_FORM_data2:
        case DW_FORM_strx2:
            value = m_cursor.u16();
            return true;
        case DW_FORM_data4:
        case DW_FORM_strx4:
            value = m_cursor.u32();
            return true;
        case DW_FORM_data8:
            value = m_cursor.u64();
            return true;
        default:
            return skip(form);
        }
    }

    bool skip(std::uint64_t form) {
        std::string_view ignored;
        switch (form) {
        case DW_FORM_strx3:
            m_cursor.skip(3);
            return true;
        case DW_FORM_data16:
            m_cursor.skip(16);
            return true;
        case DW_FORM_block:
            m_cursor.skip(m_cursor.leb128());
            return true;
        case DW_FORM_block1:
            m_cursor.skip(m_cursor.u8());
            return true;
        case DW_FORM_block2:
            m_cursor.skip(m_cursor.u16());
            return true;
        case DW_FORM_block4:
            m_cursor.skip(m_cursor.u32());
            return true;
        case DW_FORM_string:
        case DW_FORM_line_strp:
        case DW_FORM_strp:
        case DW_FORM_strp_sup:
        case DW_FORM_GNU_strp_alt:
            return readName(form, ignored);
        case DW_FORM_sec_offset:
            offset();
            return true;
        default:
            return false;
        }
    }

    static bool isAbsolute(std::string_view name) { return !name.empty() && name[0] == '/'; }

    /// A relative directory is below that of the compilation, but for number 0, which is that one.
    std::string fullName(Entry const& file) const {
        if (file.name.empty() || isAbsolute(file.name))
            return std::string(file.name);
        std::string_view directory;
        if (file.directory < m_directories.size())
            directory = m_directories[static_cast<std::size_t>(file.directory)].name;
        bool const isCompilation = file.directory == 0 && !isAbsolute(m_compilation);
        std::string_view const above =
            isCompilation || isAbsolute(directory) ? std::string_view() : m_compilation;
        if (above.size() + directory.size() + file.name.size() >= PATH_MAX)
            return {};
        return toolbelt2::join_path(above, toolbelt2::join_path(directory, std::string(file.name)));
    }

    LineTableSections const& m_sections;
    std::string_view m_compilation;
    Cursor m_cursor;
    unsigned m_version = 0;
    bool m_longFormat = false;
    std::vector<Entry> m_directories;
    std::vector<Entry> m_files;
};

} // namespace

std::uint64_t readLineTable(LineTableSections const& sections, std::uint64_t offset,
                            std::string_view compilation,
                            std::function<void(SourceFile)> const& take) {
    return TableReader(sections, compilation).read(offset, take);
}

} // namespace lokata::profile
