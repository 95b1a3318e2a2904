#include "facts/elf_facts.h"

#include "read/cursor.h"
#include "read/reasons.h"

#include <toolbelt2/descriptor.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <gelf.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace lokata::profile {

namespace {

/// Note and link sections are small; a larger one is not read.
constexpr std::uint64_t c_maxSection = 16U << 20;

struct EndElf {
    void operator()(Elf* elf) const { elf_end(elf); }
};
using ElfHandle = std::unique_ptr<Elf, EndElf>;

std::string systemError(int error) {
    return std::generic_category().message(error);
}

/// Does not block on a pipe that took the place of a file.
toolbelt2::descriptor_t openRegular(std::string const& path, std::string& error) {
    auto file = toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY | O_NONBLOCK);
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        error = systemError(errno);
    else if (!S_ISREG(status.st_mode))
        error = reasonText(ReasonKey::not_regular);
    return file;
}

bool readBuildId(Elf_Data* data, BuildId& buildId) {
    GElf_Nhdr header{};
    std::size_t nameAt = 0;
    std::size_t descriptionAt = 0;
    std::size_t next = 0;
    for (std::size_t at = 0; (next = gelf_getnote(data, at, &header, &nameAt, &descriptionAt)) > at;
         at = next) {
        auto const* const bytes = static_cast<std::uint8_t const*>(data->d_buf);
        if (header.n_type != NT_GNU_BUILD_ID || header.n_namesz != sizeof ELF_NOTE_GNU ||
            std::memcmp(bytes + nameAt, ELF_NOTE_GNU, sizeof ELF_NOTE_GNU) != 0)
            continue;
        buildId =
            buildIdOf({reinterpret_cast<char const*>(bytes) + descriptionAt, header.n_descsz});
        if (!buildId.empty())
            return true;
    }
    return false;
}

class FactsReader {
public:
    FactsReader(Elf* elf, ElfFacts& facts) : m_elf(elf), m_facts(facts) {}

    void read() {
        GElf_Ehdr header{};
        if (gelf_getehdr(m_elf, &header) == nullptr)
            return fail();
        m_facts.machine = header.e_machine;
        m_facts.elf_class = header.e_ident[EI_CLASS];
        m_bigEndian = header.e_ident[EI_DATA] == ELFDATA2MSB;
        m_facts.kind = kindOf(header.e_type);

        std::size_t names = 0;
        if (elf_getshdrstrndx(m_elf, &names) != 0)
            return fail();
        for (Elf_Scn* section = nullptr; (section = elf_nextscn(m_elf, section)) != nullptr;)
            readSection(section, names);
        // On some machines a linkage table of a whole file is empty, too.
        m_facts.lacks_code = m_facts.lacks_code && !m_hasCode;
        readSegmentNotes();
    }

private:
    static ElfKind kindOf(unsigned type) {
        switch (type) {
        case ET_EXEC:
        case ET_DYN:
            return ElfKind::program;
        case ET_REL:
            return ElfKind::object;
        case ET_CORE:
            return ElfKind::core;
        default:
            return ElfKind::other;
        }
    }

    void fail() { m_facts.error = reasonText(ReasonKey::elf_damaged, {elf_errmsg(-1)}); }

    void readSection(Elf_Scn* section, std::size_t names) {
        GElf_Shdr header{};
        if (gelf_getshdr(section, &header) == nullptr)
            return fail();
        char const* const text = elf_strptr(m_elf, names, header.sh_name);
        std::string_view const name = text == nullptr ? "" : text;

        if (name == "__ksymtab" && m_facts.kind == ElfKind::program)
            m_facts.kind = ElfKind::kernel;
        if (name == ".modinfo" && m_facts.kind == ElfKind::object)
            m_facts.kind = ElfKind::kernel_module;
        if ((header.sh_flags & SHF_EXECINSTR) != 0)
            (header.sh_type == SHT_NOBITS ? m_facts.lacks_code : m_hasCode) = true;
        if (header.sh_type == SHT_NOBITS || header.sh_size == 0)
            return;
        if (header.sh_type == SHT_NOTE)
            readNotes(section, header);
        else if (header.sh_type == SHT_SYMTAB)
            m_facts.has_symbol_table = true;
        else if (name == ".gnu_debugdata")
            m_facts.has_mini_debug_info = true;
        else if (name == ".gnu_debuglink")
            readDebugLink(content(section, header));
        else if (name == ".gnu_debugaltlink")
            readAltLink(content(section, header));
        else if (isDebugInfo(name))
            m_facts.has_debug_info = true;
    }

    static bool isDebugInfo(std::string_view name) {
        for (std::string_view const known :
             {".debug_info", ".debug_types", ".debug_line", ".zdebug_info", ".zdebug_types",
              ".zdebug_line", ".stab"})
            if (name == known)
                return true;
        return false;
    }

    /// Null for a section that is too large or that the file does not hold.
    static Elf_Data* content(Elf_Scn* section, GElf_Shdr const& header) {
        return header.sh_size > c_maxSection ? nullptr : elf_getdata(section, nullptr);
    }

    void readNotes(Elf_Scn* section, GElf_Shdr const& header) {
        Elf_Data* const data = content(section, header);
        if (m_facts.build_id.empty() && data != nullptr)
            readBuildId(data, m_facts.build_id);
    }

    /// Files without section headers keep their notes reachable through the program headers.
    void readSegmentNotes() {
        std::size_t count = 0;
        if (elf_getphdrnum(m_elf, &count) != 0)
            return fail();
        for (std::size_t i = 0; i < count && m_facts.build_id.empty(); ++i) {
            GElf_Phdr header{};
            if (gelf_getphdr(m_elf, static_cast<int>(i), &header) == nullptr)
                return fail();
            if (header.p_type != PT_NOTE || header.p_filesz > c_maxSection)
                continue;
            Elf_Data* const data = elf_getdata_rawchunk(
                m_elf, static_cast<std::int64_t>(header.p_offset), header.p_filesz,
                header.p_align == 8 ? ELF_T_NHDR8 : ELF_T_NHDR);
            if (data != nullptr)
                readBuildId(data, m_facts.build_id);
        }
    }

    Cursor cursorOver(Elf_Data const* data) const {
        if (data == nullptr || data->d_buf == nullptr)
            return {{}, m_bigEndian};
        return {{static_cast<char const*>(data->d_buf), data->d_size}, m_bigEndian};
    }

    /// A name, null bytes up to a multiple of four, the checksum.
    void readDebugLink(Elf_Data const* data) {
        Cursor cursor = cursorOver(data);
        std::string const name(cursor.text());
        cursor.skip((4 - cursor.offset() % 4) % 4);
        std::uint32_t const crc = cursor.u32();
        if (cursor.ok() && !name.empty())
            m_facts.debug_link = DebugLink{name, crc};
    }

    /// A name with its null byte, the build-id up to the end.
    void readAltLink(Elf_Data const* data) {
        Cursor cursor = cursorOver(data);
        std::string const name(cursor.text());
        std::string_view const buildId = cursor.rest();
        if (!name.empty() && buildId.size() >= c_minBuildId && buildId.size() <= c_maxBuildId)
            m_facts.alt_link = AltLink{name, BuildId(buildId.begin(), buildId.end())};
    }

    Elf* m_elf;
    ElfFacts& m_facts;
    bool m_hasCode = false;
    bool m_bigEndian = false;
};

/// What a file of no ELF content is: kernel modules often lie packed on disk.
std::string otherKind(int fd) {
    struct Packing {
        std::string_view magic;
        char const* name;
    };
    using namespace std::string_view_literals;
    constexpr std::array<Packing, 3> c_packings{{{"\x1f\x8b"sv, "gzip"},
                                                 {"\xfd"
                                                  "7zXZ"sv,
                                                  "xz"},
                                                 {"\x28\xb5\x2f\xfd"sv, "zstd"}}};
    std::array<char, 8> start{};
    ssize_t const count = ::pread(fd, start.data(), start.size(), 0);
    std::string_view const content(start.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    for (Packing const& packing : c_packings)
        if (content.substr(0, packing.magic.size()) == packing.magic)
            return reasonText(ReasonKey::packed, {packing.name});
    return reasonText(ReasonKey::not_elf);
}

} // namespace

ElfFacts readElfFacts(std::string const& path) {
    ElfFacts facts;
    toolbelt2::descriptor_t const file = openRegular(path, facts.error);
    if (!facts.error.empty())
        return facts;
    elf_version(EV_CURRENT);
    // Not mapped: another process may cut the file short at any moment.
    ElfHandle const elf(elf_begin(file.get(), ELF_C_READ, nullptr));
    if (!elf || elf_kind(elf.get()) != ELF_K_ELF) {
        facts.error = otherKind(file.get());
        return facts;
    }
    FactsReader(elf.get(), facts).read();
    return facts;
}

std::optional<std::uint32_t> fileCrc32(std::string const& path) {
    std::string error;
    toolbelt2::descriptor_t const file = openRegular(path, error);
    if (!error.empty())
        return std::nullopt;
    std::vector<unsigned char> buffer(1U << 18);
    uLong crc = ::crc32(0, nullptr, 0);
    for (;;) {
        ssize_t const count = ::read(file.get(), buffer.data(), buffer.size());
        if (count == 0)
            return static_cast<std::uint32_t>(crc);
        if (count > 0)
            crc = ::crc32(crc, buffer.data(), static_cast<uInt>(count));
        else if (errno != EINTR)
            return std::nullopt;
    }
}

std::optional<ElfFactsCache::FileKey> ElfFactsCache::keyOf(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return FileKey{status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                   status.st_mtim.tv_nsec};
}

std::shared_ptr<ElfFacts const> ElfFactsCache::facts(std::string const& path) {
    std::optional<FileKey> const key = keyOf(path);
    if (key) {
        toolbelt2::mutex_guard_t const guard(m_mutex);
        if (auto const known = m_facts.find(*key); known != m_facts.end())
            return known->second;
    }
    auto result = std::make_shared<ElfFacts const>(readElfFacts(path));
    // A file that changed while it was read is not remembered.
    if (key && key == keyOf(path)) {
        toolbelt2::mutex_guard_t const guard(m_mutex);
        m_facts.emplace(*key, result);
    }
    return result;
}

std::optional<std::uint32_t> ElfFactsCache::crc32(std::string const& path) {
    std::optional<FileKey> const key = keyOf(path);
    if (key) {
        toolbelt2::mutex_guard_t const guard(m_mutex);
        if (auto const known = m_crcs.find(*key); known != m_crcs.end())
            return known->second;
    }
    std::optional<std::uint32_t> result = fileCrc32(path);
    if (key && result && key == keyOf(path)) {
        toolbelt2::mutex_guard_t const guard(m_mutex);
        m_crcs.emplace(*key, *result);
    }
    return result;
}

} // namespace lokata::profile
