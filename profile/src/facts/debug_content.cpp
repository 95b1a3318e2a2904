#include "facts/debug_content.h"

#include "read/cursor.h"
#include "read/reasons.h"

#include <toolbelt2/text.h>
#include <unpack/zstd_stream.h>

#include <algorithm>

#include <dwarf.h>
#include <elf.h>
#include <zlib.h>

namespace lokata::profile {

namespace {

/// As much of a section is looked at, packed and unpacked.
constexpr std::uint64_t c_window = 4096;
constexpr std::uint32_t c_packedByZstd = 2; ///< ELFCOMPRESS_ZSTD, which older headers lack.
constexpr std::string_view c_markOfOld = "ZLIB";

/// The start of what was packed; empty if it cannot be unpacked, or not to `size` bytes.
std::string inflated(std::string packed, std::uint64_t size) {
    std::string out(std::min(size, c_window), '\0');
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    if (inflateInit(&stream) != Z_OK)
        return {};
    int const status = inflate(&stream, Z_SYNC_FLUSH);
    out.resize(stream.total_out);
    inflateEnd(&stream);
    bool const isSound = status == Z_OK || status == Z_BUF_ERROR ||
                         (status == Z_STREAM_END && stream.total_out == size);
    return isSound ? out : std::string();
}

std::string unpackedByZstd(std::string_view packed) {
    using Step = unpack::ZstdStream::Step;
    unpack::ZstdStream stream(std::uint64_t{1} << 24);
    std::string out;
    while (out.size() < c_window) {
        Step const step = stream.next(packed, out);
        if (step == Step::failed)
            return {};
        if (step == Step::done)
            break;
    }
    return out;
}

/// The beginning of a section as it is unpacked.
struct Beginning {
    std::string bytes;
    std::uint64_t size = 0; ///< Of the whole.
};

class DebugContent {
public:
    DebugContent(ForeignFile const& file, ElfTables const& tables)
        : m_file(file), m_tables(tables) {}

    std::string find() {
        for (std::size_t i = 0; i < m_tables.sections.size(); ++i) {
            ElfSection const& section = m_tables.sections[i];
            if (section.type != SHT_NOBITS && section.size != 0 && !isSound(section))
                return reasonText(ReasonKey::elf_section_damaged, {std::to_string(i)});
        }
        return {};
    }

private:
    /// The first of each name alone: compilers put types into thousands of their own.
    bool isSound(ElfSection const& section) {
        std::string_view const name = m_tables.nameOf(section);
        bool const isOfOld = toolbelt2::starts_with(name, ".zdebug_");
        if (!isOfOld && !toolbelt2::starts_with(name, ".debug_"))
            return true;
        std::string_view const kind = name.substr(isOfOld ? 8 : 7);
        bool const isInfo = kind == "info" || kind == "types";
        bool& isKnown = isInfo ? (kind == "info" ? m_hasInfo : m_hasTypes) : m_hasLines;
        bool const hasUnits = (isInfo || kind == "line") && !std::exchange(isKnown, true);
        if (!hasUnits && !isPacked(section))
            return true;
        std::optional<Beginning> const start = beginning(section);
        if (!start || !hasUnits)
            return start.has_value();
        return isInfo ? isUnit(*start) : isLineTable(*start);
    }

    bool isPacked(ElfSection const& section) const {
        return (section.flags & SHF_COMPRESSED) != 0 ||
               toolbelt2::starts_with(m_tables.nameOf(section), ".zdebug_");
    }

    /// Empty for a section that cannot be unpacked.
    std::optional<Beginning> beginning(ElfSection const& section) const {
        Beginning result{{}, section.size};
        if (!m_file.read(section.offset, std::min(section.size, c_window), result.bytes))
            return std::nullopt;
        if (!isPacked(section))
            return result;
        bool const isOfOld = (section.flags & SHF_COMPRESSED) == 0;
        Cursor cursor(result.bytes, isOfOld || m_tables.big_endian);
        std::uint32_t kind = ELFCOMPRESS_ZLIB;
        if (isOfOld) {
            if (cursor.bytes(c_markOfOld.size()) != c_markOfOld)
                return std::nullopt;
            result.size = cursor.u64();
        } else {
            kind = cursor.u32();
            cursor.skip(m_tables.wide ? 4 : 0);
            result.size = m_tables.wide ? cursor.u64() : cursor.u32();
            cursor.skip(m_tables.wide ? 8 : 4);
        }
        if (!cursor.ok() || result.size == 0)
            return std::nullopt;
        std::string_view const packed = cursor.rest();
        if (kind == ELFCOMPRESS_ZLIB)
            result.bytes = inflated(std::string(packed), result.size);
        else if (kind == c_packedByZstd)
            result.bytes = unpackedByZstd(packed);
        else
            result.bytes.clear();
        return result.bytes.empty() ? std::nullopt : std::optional(std::move(result));
    }

    bool isUnit(Beginning const& start) const {
        auto const header =
            readUnitHeader(start.bytes, start.size, m_tables.big_endian, m_tables.type == ET_REL);
        if (!header)
            return false;
        for (ElfSection const& section : m_tables.sections) {
            std::string_view const name = m_tables.nameOf(section);
            if (section.type != SHT_NOBITS && (name == ".debug_abbrev" || name == ".zdebug_abbrev"))
                return hasAbbreviations(section, header->abbreviations);
        }
        return false;
    }

    bool hasAbbreviations(ElfSection const& section, std::uint64_t at) const {
        if (!isPacked(section)) {
            std::string bytes;
            return at < section.size &&
                   m_file.read(section.offset + at, std::min(section.size - at, c_window), bytes) &&
                   isAbbreviationTable(bytes);
        }
        std::optional<Beginning> const start = beginning(section);
        return start && at < start->size &&
               (at >= start->bytes.size() ||
                isAbbreviationTable(std::string_view(start->bytes).substr(at)));
    }

    bool isLineTable(Beginning const& start) const {
        Cursor cursor(start.bytes, m_tables.big_endian);
        std::uint64_t length = cursor.u32();
        if (length == 0xffffffff)
            length = cursor.u64();
        std::uint64_t const lengthEnd = cursor.offset();
        std::uint16_t const version = cursor.u16();
        bool const isLeft = m_tables.type == ET_REL && length == 0;
        return cursor.ok() && version >= 2 && version <= 5 && (isLeft || length >= 2) &&
               length <= start.size - lengthEnd;
    }

    ForeignFile const& m_file;
    ElfTables const& m_tables;
    bool m_hasInfo = false;
    bool m_hasTypes = false;
    bool m_hasLines = false;
};

} // namespace

std::optional<UnitHeader> readUnitHeader(std::string_view bytes, std::uint64_t room, bool bigEndian,
                                         bool isRelocatable) {
    UnitHeader result;
    Cursor cursor(bytes, bigEndian);
    std::uint64_t length = cursor.u32();
    bool const isWide = length == 0xffffffff;
    if (isWide)
        length = cursor.u64();
    std::uint64_t const lengthEnd = cursor.offset();
    auto const offset = [&] { return isWide ? cursor.u64() : cursor.u32(); };
    result.version = cursor.u16();
    if (result.version < 2 || result.version > 5)
        return std::nullopt;
    result.type = result.version == 5 ? cursor.u8() : 0;
    std::uint8_t addressSize = result.version == 5 ? cursor.u8() : 0;
    result.abbreviations = offset();
    if (result.version < 5)
        addressSize = cursor.u8();
    if (result.type == DW_UT_skeleton || result.type == DW_UT_split_compile)
        result.dwo_id = cursor.u64();
    result.size = lengthEnd + length;
    // Where code may shrink while it is linked, lengths are zero until then.
    bool const isLeft = isRelocatable && length == 0;
    bool const isSound = cursor.ok() && addressSize >= 1 && addressSize <= 8 &&
                         (result.version < 5 || result.type != 0) && lengthEnd <= room &&
                         (isLeft || (result.size > cursor.offset() && length <= room - lengthEnd));
    return isSound ? std::optional(result) : std::nullopt;
}

bool isAbbreviationTable(std::string_view bytes) {
    Cursor cursor(bytes, false);
    bool const isDeclared = cursor.leb128() != 0 && cursor.leb128() != 0;
    return isDeclared && cursor.u8() <= DW_CHILDREN_yes && cursor.ok();
}

bool hasSkeletons(std::string_view abbreviations) {
    // No number of those names is written without one of these bytes.
    if (abbreviations.find(0x76) == std::string_view::npos &&
        abbreviations.find(static_cast<char>(0xb0)) == std::string_view::npos)
        return false;
    for (Cursor cursor(abbreviations, false); cursor.remaining() > 0;) {
        if (cursor.leb128() == 0)
            continue;    // the end of those of a unit
        cursor.leb128(); // the tag
        cursor.skip(1);  // whether it has children
        for (std::uint64_t name = 1, form = 1; cursor.ok() && (name != 0 || form != 0);) {
            name = cursor.leb128();
            form = cursor.leb128();
            if (form == DW_FORM_implicit_const)
                cursor.leb128();
            if (name == DW_AT_dwo_name || name == DW_AT_GNU_dwo_name)
                return true;
        }
    }
    return false;
}

std::string debugDamageOf(ForeignFile const& file, ElfTables const& tables) {
    return DebugContent(file, tables).find();
}

} // namespace lokata::profile
