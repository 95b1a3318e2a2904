#include "read/byte_source.h"
#include "read/cursor.h"
#include "read/names.h"
#include "read/notes.h"
#include "read/profile_builder.h"
#include "read/readers.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace lokata::profile {

namespace {

constexpr std::uint64_t c_page = 4096;
/// Notes that are read of one segment; a process of 10,000 threads and files has some 40 MiB.
constexpr std::uint64_t c_maxNotes = 256UL << 20;

struct FileRange {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint64_t file_offset = 0; ///< In units of the page size that the note names.
    std::string_view name;
};

struct Segment {
    std::uint64_t end = 0;
    std::uint64_t offset = 0;
    std::uint64_t file_size = 0;
    bool executable = false;
};

class CoreReader {
public:
    CoreReader(ByteSource const& content, ProfileBuilder& builder)
        : m_content(content), m_builder(builder) {}

    void read() {
        auto const elf = m_content.openElf();
        GElf_Ehdr header{};
        if (!elf || gelf_getehdr(elf.get(), &header) == nullptr) {
            m_builder.error(0, "not an ELF file that can be read, or cut off in its header");
            return;
        }
        if (header.e_type != ET_CORE) {
            m_builder.error(0, "an ELF file, but not a core file");
            return;
        }
        m_wide = header.e_ident[EI_CLASS] == ELFCLASS64;
        m_bigEndian = header.e_ident[EI_DATA] == ELFDATA2MSB;
        readHeaders(elf.get(), header);
        addModules();
    }

private:
    void readHeaders(Elf* elf, GElf_Ehdr const& header) {
        std::size_t count = 0;
        if (elf_getphdrnum(elf, &count) != 0) {
            m_builder.error(header.e_phoff, "the table of segments cannot be read");
            return;
        }
        std::vector<GElf_Phdr> notes;
        for (std::size_t i = 0; i < count; ++i) {
            GElf_Phdr one{};
            if (gelf_getphdr(elf, static_cast<int>(i), &one) == nullptr) {
                m_builder.error(header.e_phoff, "the table of segments is cut off");
                break;
            }
            if (one.p_type == PT_NOTE)
                notes.push_back(one);
            else if (one.p_type == PT_LOAD)
                addSegment(one);
        }
        for (std::size_t i = 0; i < std::min(notes.size(), c_maxNoteSegments) && !m_sawFiles; ++i)
            readNotes(notes[i]);
        if (!m_sawFiles)
            m_builder.error(m_content.size(), "no list of mapped files is in the core file");
    }

    void addSegment(GElf_Phdr const& header) {
        auto const available =
            header.p_offset < m_content.size() ? m_content.size() - header.p_offset : 0;
        if (header.p_filesz > available)
            m_builder.errorOnce(header.p_offset, "memory from here on is cut off");
        m_segments[header.p_vaddr] = {header.p_vaddr + header.p_memsz, header.p_offset,
                                      std::min<std::uint64_t>(header.p_filesz, available),
                                      (header.p_flags & PF_X) != 0};
    }

    void readNotes(GElf_Phdr const& header) {
        if (header.p_offset >= m_content.size()) {
            m_builder.error(header.p_offset, "the notes lie past the end of the file");
            return;
        }
        auto const notes = m_content.bytes(
            header.p_offset, std::min<std::uint64_t>(header.p_filesz, c_maxNotes), m_notes);
        if (header.p_filesz > notes.size())
            m_builder.error(header.p_offset, "the notes are cut off");
        eachNote(notes, m_bigEndian, header.p_align,
                 [&](std::uint32_t type, std::string_view owner, std::string_view content) {
                     if (type == NT_FILE && owner.substr(0, 4) == "CORE")
                         readFiles(content, header.p_offset);
                     return m_sawFiles;
                 });
    }

    /// NT_FILE as fs/binfmt_elf.c writes it: the count, the page size, three words a range, and
    /// the names in the same order.
    void readFiles(std::string_view content, std::uint64_t offset) {
        m_sawFiles = true;
        Cursor ranges(content, m_bigEndian);
        auto const count = word(ranges);
        word(ranges);
        auto const rangeSize = m_wide ? 24U : 12U;
        if (count > ranges.remaining() / rangeSize) {
            m_builder.error(offset, "the list of mapped files names more than it holds");
            return;
        }
        Cursor names = ranges;
        names.skipEntries(count, rangeSize);
        for (std::uint64_t i = 0; i < count; ++i) {
            FileRange range;
            range.start = word(ranges);
            range.end = word(ranges);
            range.file_offset = word(ranges);
            range.name = names.text();
            if (!names.ok()) {
                m_builder.error(offset, "the list of mapped files lacks names");
                return;
            }
            m_files.push_back(range);
        }
    }

    std::uint64_t word(Cursor& cursor) const { return m_wide ? cursor.u64() : cursor.u32(); }

    Segment const* segmentAt(std::uint64_t address) const {
        auto const after = m_segments.upper_bound(address);
        if (after == m_segments.begin())
            return nullptr;
        auto const& [start, segment] = *std::prev(after);
        return address < segment.end ? &segment : nullptr;
    }

    /// Only what starts a page is looked at, each once, so that a list of many ranges costs no
    /// more than the file is large.
    std::string const& buildIdAt(std::uint64_t address) {
        static std::string const nothing;
        auto const after = m_segments.upper_bound(address);
        if (address % c_page != 0 || after == m_segments.begin())
            return nothing;
        auto const& [start, segment] = *std::prev(after);
        auto const into = address - start;
        if (into >= segment.file_size)
            return nothing;
        auto const [known, isNew] = m_buildIds.try_emplace(segment.offset + into);
        if (isNew) {
            auto const size = std::min(segment.file_size - into, c_noteWindow);
            known->second = buildIdInImage(m_content.bytes(segment.offset + into, size, m_window));
        }
        return known->second;
    }

    /// Files with a build-id or with an executable range are modules; the others are data. A
    /// debugger leaves unchanged ranges out of the core; a file of several ranges is then taken for
    /// a module, as data files are mapped in one piece.
    void addModules() {
        std::unordered_set<std::string_view> executable;
        std::unordered_set<std::string_view> identified;
        std::unordered_set<std::string_view> seen;
        for (auto const& file : m_files) {
            auto const* const segment = segmentAt(file.start);
            bool const again = !seen.insert(file.name).second;
            if (segment != nullptr ? segment->executable : again || m_segments.empty())
                executable.insert(file.name);
            if (file.file_offset == 0 && !buildIdAt(file.start).empty())
                identified.insert(file.name);
        }
        for (auto const& file : m_files) {
            auto const kind = classifyName(file.name);
            if (identified.count(file.name) == 0) {
                if (executable.count(file.name) != 0)
                    m_builder.module({file.name, kind, {}, 0});
            } else if (file.file_offset == 0 && !buildIdAt(file.start).empty()) {
                m_builder.module({file.name, kind, buildIdAt(file.start), 0});
            }
        }
    }

    ByteSource const& m_content;
    std::string m_notes;  ///< Of the segment with the list of files, whose names are kept.
    std::string m_window; ///< Where a module begins.
    ProfileBuilder& m_builder;
    bool m_wide = false;
    bool m_bigEndian = false;
    bool m_sawFiles = false;
    std::vector<FileRange> m_files;
    std::map<std::uint64_t, Segment> m_segments;
    std::unordered_map<std::uint64_t, std::string> m_buildIds;
};

bool isElf(std::string_view content) {
    return content.substr(0, SELFMAG) == ELFMAG;
}

Profile readCoreParts(ByteSource const& source, ReadOptions const& options) {
    ProfileBuilder builder(options);
    CoreReader(source, builder).read();
    return builder.take();
}

Profile readCore(std::string_view content, ReadOptions const& options) {
    return readCoreParts(MemorySource(content), options);
}

} // namespace

/// The note NT_FILE of an ELF core file, and build-ids out of the dumped pages.
extern FormatReader const c_core{{"core", "a core file"}, isElf, readCore, readCoreParts};

} // namespace lokata::profile
