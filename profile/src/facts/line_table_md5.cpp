#include "facts/line_table_md5.h"

#include "read/cursor.h"

#include <algorithm>

#include <dwarf.h>

namespace lokata::profile {

namespace {

constexpr std::uint32_t c_longFormat = 0xffffffff;

std::uint64_t readLeb128(Cursor& cursor) {
    std::uint64_t value = 0;
    for (unsigned shift = 0; cursor.ok(); shift += 7) {
        std::uint8_t const byte = cursor.u8();
        if (shift < 64)
            value |= std::uint64_t{byte & 0x7fU} << shift;
        if ((byte & 0x80U) == 0)
            break;
    }
    return value;
}

struct EntryFormat {
    std::uint64_t content;
    std::uint64_t form;
};

std::vector<EntryFormat> readFormats(Cursor& cursor) {
    std::vector<EntryFormat> formats;
    for (unsigned left = cursor.u8(); left > 0 && cursor.ok(); --left) {
        std::uint64_t const content = readLeb128(cursor);
        formats.push_back({content, readLeb128(cursor)});
    }
    return formats;
}

/// The forms that section 6.2.4.1 allows, and those that producers use beside them. False for
/// others: their size is not known.
bool skipForm(Cursor& cursor, std::uint64_t form, bool longFormat) {
    switch (form) {
    case DW_FORM_string:
        cursor.text();
        break;
    case DW_FORM_line_strp:
    case DW_FORM_strp:
    case DW_FORM_strp_sup:
    case DW_FORM_sec_offset:
    case DW_FORM_GNU_strp_alt:
        cursor.skip(longFormat ? 8 : 4);
        break;
    case DW_FORM_udata:
    case DW_FORM_strx:
        readLeb128(cursor);
        break;
    case DW_FORM_block:
        cursor.skip(readLeb128(cursor));
        break;
    case DW_FORM_block1:
        cursor.skip(cursor.u8());
        break;
    case DW_FORM_block2:
        cursor.skip(cursor.u16());
        break;
    case DW_FORM_block4:
        cursor.skip(cursor.u32());
        break;
    case DW_FORM_data1:
    case DW_FORM_strx1:
        cursor.skip(1);
        break;
    case DW_FORM_data2:
    case DW_FORM_strx2:
        cursor.skip(2);
        break;
    case DW_FORM_strx3:
        cursor.skip(3);
        break;
    case DW_FORM_data4:
    case DW_FORM_strx4:
        cursor.skip(4);
        break;
    case DW_FORM_data8:
        cursor.skip(8);
        break;
    case DW_FORM_data16:
        cursor.skip(16);
        break;
    default:
        return false;
    }
    return cursor.ok();
}

bool skipEntry(Cursor& cursor, std::vector<EntryFormat> const& formats, bool longFormat) {
    return std::all_of(
        formats.begin(), formats.end(),
        [&](EntryFormat const& format) { return skipForm(cursor, format.form, longFormat); });
}

} // namespace

std::vector<std::optional<std::array<std::uint8_t, 16>>>
lineTableMd5(std::string_view section, std::uint64_t offset, bool bigEndian) {
    if (offset >= section.size())
        return {};
    Cursor start(section.substr(static_cast<std::size_t>(offset)), bigEndian);
    std::uint32_t const shortLength = start.u32();
    bool const longFormat = shortLength == c_longFormat;
    Cursor cursor(start.bytes(longFormat ? start.u64() : shortLength), bigEndian);
    if (cursor.u16() != 5)
        return {};
    cursor.skip(2);                  // sizes of addresses and of segment selectors
    cursor.skip(longFormat ? 8 : 4); // length of the header
    cursor.skip(5);                  // instruction length, operations, default, line base and range
    std::uint8_t const opcodeBase = cursor.u8();
    cursor.skip(opcodeBase == 0 ? 0 : opcodeBase - 1U);

    std::vector<EntryFormat> formats = readFormats(cursor);
    std::uint64_t directories = readLeb128(cursor);
    if (formats.empty())
        directories = 0;
    for (; directories > 0; --directories)
        if (!skipEntry(cursor, formats, longFormat))
            return {};

    formats = readFormats(cursor);
    bool const hasMd5 = std::any_of(formats.begin(), formats.end(), [](EntryFormat const& format) {
        return format.content == DW_LNCT_MD5 && format.form == DW_FORM_data16;
    });
    if (!hasMd5)
        return {};
    std::vector<std::optional<std::array<std::uint8_t, 16>>> result;
    for (std::uint64_t files = readLeb128(cursor); files > 0; --files) {
        std::array<std::uint8_t, 16> md5{};
        for (EntryFormat const& format : formats) {
            if (format.content == DW_LNCT_MD5 && format.form == DW_FORM_data16) {
                std::string_view const bytes = cursor.bytes(md5.size());
                std::copy(bytes.begin(), bytes.end(), md5.begin());
            } else if (!skipForm(cursor, format.form, longFormat)) {
                return {};
            }
        }
        if (!cursor.ok())
            return {};
        // A file without a checksum in a table that has them is all zeros.
        bool const written =
            std::any_of(md5.begin(), md5.end(), [](std::uint8_t byte) { return byte != 0; });
        result.push_back(written ? std::optional(md5) : std::nullopt);
    }
    return result;
}

} // namespace lokata::profile
