#include "search/scan/file_marks.h"

#include "facts/md5.h"
#include "facts/source_files.h"
#include "facts/stamp_of.h"

#include <lokata/profile/kernel_cache.h>

#include <toolbelt2/hex.h>
#include <unpack/kernel_payload.h>
#include <unpack/packed_file.h>

#include <algorithm>
#include <array>

#include <elf.h>
#include <fcntl.h>

namespace lokata::profile {

namespace {

using toolbelt2::descriptor_t;

/// In bytes; the largest modules have a tenth of that.
constexpr std::uint64_t c_maxPackedFile = 64U << 20;
/// As much tells whether a file is packed.
constexpr std::uint64_t c_packingMark = 8;

FileMarks elfMarks(ForeignFile const& file) {
    FileMarks marks;
    std::optional<ElfFacts> facts = readElfMarks(file);
    if (!facts)
        return marks;
    marks.kind = facts->lacks_code     ? FileKind::debug
                 : facts->has_contents ? FileKind::code
                                       : FileKind::supplementary;
    marks.id.assign(facts->build_id.begin(), facts->build_id.end());
    marks.debug_link = std::move(facts->debug_link);
    return marks;
}

/// A file that is packed as a whole. Nothing is written: a tree may hold thousands of modules, and
/// only one of them is wanted.
FileMarks unpackedMarks(ForeignFile const& file) {
    std::string packed;
    if (file.size() > c_maxPackedFile || !file.read(0, file.size(), packed))
        return {};
    unpack::Unpacked const unpacked = unpack::unpackMemory(packed, unpack::c_maxKernel);
    return unpacked.error.empty() ? elfMarks(ForeignFile::ofContent(unpacked.content))
                                  : FileMarks();
}

FileMarks imageMarks(std::string const& path) {
    UnpackedKernel const kernel = unpackedKernel(path);
    if (kernel.path.empty())
        return {};
    ForeignFile const file(kernel.path);
    return file.error().empty() ? elfMarks(file) : FileMarks();
}

FileMarks packedMarks(std::string const& path, ForeignFile const& file) {
    FileMarks marks = elfMarks(file);
    if (marks.kind == FileKind::other) {
        std::string start;
        file.read(0, std::min<std::uint64_t>(file.size(), c_packingMark), start);
        marks = unpack::packingOf(start) ? unpackedMarks(file) : imageMarks(path);
    }
    marks.kind = FileKind::packed;
    return marks;
}

/// What is an ELF file after all stays one.
FileMarks sourceMarks(std::string const& path, ForeignFile const& file) {
    std::string start;
    if (file.size() > c_maxSource ||
        (file.read(0, std::min<std::uint64_t>(file.size(), SELFMAG), start) && start == ELFMAG))
        return elfMarks(file);
    auto const digest = toolbelt2::from_hex(contentMd5(path));
    return {FileKind::source, digest ? std::string(digest->begin(), digest->end()) : "", {}};
}

/// One file after the other, each directory opened once.
class MarksReader {
public:
    MarksReader(TreeListing const& listing, Reading reading)
        : m_listing(listing), m_reading(reading) {}

    /// Empty for a file that cannot be read, or is another one than the listing says.
    std::optional<FileMarks> read(FileNumber number) {
        descriptor_t descriptor = open(number);
        // Does not block on a pipe that took the place of the file meanwhile.
        struct stat status {};
        if (!descriptor)
            return std::nullopt;
        int const raw = descriptor.get();
        ForeignFile const file(std::move(descriptor), m_listing.stamp(number).size);
        FileMarks marks = marksOf(number, file);
        if (::fstat(raw, &status) != 0 || stampOf(status) != m_listing.stamp(number))
            return std::nullopt;
        return marks;
    }

private:
    descriptor_t open(FileNumber number) {
        std::uint32_t const directory = m_listing.directory(number);
        if (!m_directory || m_current != directory) {
            m_directory = descriptor_t::open(m_listing.directories()[directory].path.c_str(),
                                             O_PATH | O_DIRECTORY);
            m_current = directory;
        }
        return descriptor_t(::openat(m_directory.get(), m_listing.name(number).data(),
                                     O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
    }

    FileMarks marksOf(FileNumber number, ForeignFile const& file) const {
        switch (m_reading) {
        case Reading::packed:
            return packedMarks(m_listing.path(number), file);
        case Reading::source:
            return sourceMarks(m_listing.path(number), file);
        default:
            return elfMarks(file);
        }
    }

    TreeListing const& m_listing;
    Reading m_reading;
    descriptor_t m_directory;
    std::uint32_t m_current = 0;
};

} // namespace

bool isAnswerTo(Reading reading, FileKind kind) {
    switch (reading) {
    case Reading::packed:
        return kind == FileKind::packed;
    case Reading::source:
        return kind == FileKind::source;
    default:
        return kind != FileKind::packed;
    }
}

bool isSourceName(std::string_view name) {
    constexpr std::array<std::string_view, 40> c_extensions{
        "C",   "H",   "S",   "adb", "ads", "asm", "c",   "c++",   "cc",  "cl",
        "cpp", "cs",  "cu",  "cuh", "cxx", "d",   "def", "f",     "f03", "f08",
        "f77", "f90", "f95", "for", "go",  "h",   "hh",  "hpp",   "hxx", "inc",
        "inl", "ipp", "l",   "m",   "mm",  "rs",  "s",   "swift", "tcc", "y"};
    std::size_t const dot = name.rfind('.');
    return dot != std::string_view::npos &&
           std::binary_search(c_extensions.begin(), c_extensions.end(), name.substr(dot + 1));
}

void readMarks(TreeListing const& listing, std::vector<FileNumber> const& files, Reading reading,
               TakeMarks const& take) {
    MarksReader reader(listing, reading);
    for (FileNumber const file : files)
        if (std::optional<FileMarks> const marks = reader.read(file))
            take(file, *marks);
}

} // namespace lokata::profile
