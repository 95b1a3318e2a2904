#pragma once

/// The reasons that a person reads: why a candidate was rejected, why a module is not resolved, why
/// a file could not be read or archived. Their texts are data, in the catalogue `lokata_profile`;
/// docs/messages.md tells how they are found.

#include <lokata/profile/export.h>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace lokata::profile {

constexpr char const* c_reasonCatalog = "lokata_profile";

enum class ReasonKey {
    // Why a file is no usable ELF file, for the last argument of file_unusable.
    not_regular,
    not_elf,
    packed,      ///< By which program.
    not_stored,  ///< A file that the kernel makes up.
    too_large,   ///< Its size in bytes.
    elf_changed, ///< Cut while it was read.
    elf_header_damaged,
    elf_tables_cut,       ///< Where they end, where the file does.
    elf_section_cut,      ///< Its number, where it ends, where the file does.
    elf_section_damaged,  ///< Its number.
    elf_segment_cut,      ///< Its number, where it ends, where the file does.
    elf_segment_damaged,  ///< Its number.
    module_signature_cut, ///< Where it starts, where the file ends.
    kernel_cache_missing, ///< What stands against the directory for them.
    kernel_image_unread,
    index_dropped, ///< What is wrong with it; a sentence of its own.
    no_name_list,
    // Why an input is no profile.
    input_unopened, ///< What the system says.
    input_unread,   ///< What the system says.
    input_empty,
    input_unknown,
    // Why the sources of a file cannot be told.
    sources_unusable, ///< Why.
    sources_relocatable,
    sources_damaged, ///< What libdw says.
    // Why a candidate was rejected; the first argument is its path.
    file_unusable, ///< Why.
    code_missing,
    debug_info_missing,
    only_symbol_table,
    build_id_mismatch,               ///< Found, recorded.
    build_id_missing,                ///< Recorded.
    debug_id_mismatch,               ///< The first 16 bytes of the build-id found, recorded.
    debug_id_missing,                ///< Recorded.
    mapped_file_mismatch,            ///< Device and inode found, and those of the mapping.
    symbol_build_id_mismatch,        ///< Found, that of the binary.
    symbol_build_id_missing,         ///< That of the binary.
    symbol_build_id_foreign,         ///< Found.
    supplementary_build_id_mismatch, ///< Found, the one that the symbol file names.
    supplementary_build_id_missing,  ///< The one that the symbol file names.
    dwo_id_mismatch,                 ///< Found, that of the skeleton.
    dwo_id_missing,                  ///< That of the skeleton.
    debug_link_mismatch,             ///< Found, that of the debug link.
    checksum_unread,                 ///< Recorded.
    architecture_mismatch,
    source_md5_mismatch,  ///< Found, recorded.
    source_time_mismatch, ///< Found, recorded, in seconds since the epoch.
    source_size_mismatch, ///< Found, recorded, in bytes.
    source_newer,         ///< The binary.
    addresses_hidden,
    foreign_owner,
    copy_damaged, ///< The MD5 found, the one in the path.
    copy_of_other,
    copy_ambiguous, ///< How many copies.
    leads_out,
    is_directory,
    place_unread, ///< What the system says.
    not_proven,
    rejected, ///< For a rejection that came without a reason.
    // Why a module or a source has no file.
    no_such_file,
    unsafe_name,
    unproven,
    kernel_code,
    kernel_program,
    no_file_behind,
    guest_name,
    mount_namespace_name,
    // What of the symbols is missing.
    supplementary_missing,
    supplementary_unknown,
    split_units_missing, ///< How many, of how many, the name of the first file.
    split_units_unread,  ///< Why.
    only_exports,        ///< The file.
    no_names,            ///< The file.
    help_package,        ///< The package of the file, that with its debug information.
    help_build_id,       ///< It.
    // Why a file was not archived: its path, then the archive or the place of the copy, then what
    // the system says.
    archive_directory,
    archive_unread,
    archive_copy,
    archive_changed,
    archive_taken,
};

struct ReasonEntry {
    ReasonKey key;
    std::string_view word; ///< The key in the catalogue.
    std::size_t arguments; ///< How many the text has: {arg1} and so on.
};

constexpr ReasonEntry c_reasons[]{
    {ReasonKey::not_regular, "NotRegular", 0},
    {ReasonKey::not_elf, "NotElf", 0},
    {ReasonKey::packed, "Packed", 1},
    {ReasonKey::not_stored, "NotStored", 0},
    {ReasonKey::too_large, "TooLarge", 1},
    {ReasonKey::elf_changed, "ElfChanged", 0},
    {ReasonKey::elf_header_damaged, "ElfHeaderDamaged", 0},
    {ReasonKey::elf_tables_cut, "ElfTablesCut", 2},
    {ReasonKey::elf_section_cut, "ElfSectionCut", 3},
    {ReasonKey::elf_section_damaged, "ElfSectionDamaged", 1},
    {ReasonKey::elf_segment_cut, "ElfSegmentCut", 3},
    {ReasonKey::elf_segment_damaged, "ElfSegmentDamaged", 1},
    {ReasonKey::module_signature_cut, "ModuleSignatureCut", 2},
    {ReasonKey::kernel_cache_missing, "KernelCacheMissing", 1},
    {ReasonKey::index_dropped, "IndexDropped", 1},
    {ReasonKey::kernel_image_unread, "KernelImageUnread", 0},
    {ReasonKey::no_name_list, "NoNameList", 0},
    {ReasonKey::input_unopened, "InputUnopened", 1},
    {ReasonKey::input_unread, "InputUnread", 1},
    {ReasonKey::input_empty, "InputEmpty", 0},
    {ReasonKey::input_unknown, "InputUnknown", 0},
    {ReasonKey::sources_unusable, "SourcesUnusable", 1},
    {ReasonKey::sources_relocatable, "SourcesRelocatable", 0},
    {ReasonKey::sources_damaged, "SourcesDamaged", 1},
    {ReasonKey::file_unusable, "FileUnusable", 2},
    {ReasonKey::code_missing, "CodeMissing", 1},
    {ReasonKey::debug_info_missing, "DebugInfoMissing", 1},
    {ReasonKey::only_symbol_table, "OnlySymbolTable", 1},
    {ReasonKey::build_id_mismatch, "BuildIdMismatch", 3},
    {ReasonKey::build_id_missing, "BuildIdMissing", 2},
    {ReasonKey::debug_id_mismatch, "DebugIdMismatch", 3},
    {ReasonKey::debug_id_missing, "DebugIdMissing", 2},
    {ReasonKey::mapped_file_mismatch, "MappedFileMismatch", 3},
    {ReasonKey::symbol_build_id_mismatch, "SymbolBuildIdMismatch", 3},
    {ReasonKey::symbol_build_id_missing, "SymbolBuildIdMissing", 2},
    {ReasonKey::symbol_build_id_foreign, "SymbolBuildIdForeign", 2},
    {ReasonKey::supplementary_build_id_mismatch, "SupplementaryBuildIdMismatch", 3},
    {ReasonKey::supplementary_build_id_missing, "SupplementaryBuildIdMissing", 2},
    {ReasonKey::dwo_id_mismatch, "DwoIdMismatch", 3},
    {ReasonKey::dwo_id_missing, "DwoIdMissing", 2},
    {ReasonKey::debug_link_mismatch, "DebugLinkMismatch", 3},
    {ReasonKey::checksum_unread, "ChecksumUnread", 2},
    {ReasonKey::architecture_mismatch, "ArchitectureMismatch", 1},
    {ReasonKey::source_md5_mismatch, "SourceMd5Mismatch", 3},
    {ReasonKey::source_time_mismatch, "SourceTimeMismatch", 3},
    {ReasonKey::source_size_mismatch, "SourceSizeMismatch", 3},
    {ReasonKey::source_newer, "SourceNewer", 2},
    {ReasonKey::addresses_hidden, "AddressesHidden", 1},
    {ReasonKey::foreign_owner, "ForeignOwner", 1},
    {ReasonKey::copy_damaged, "CopyDamaged", 3},
    {ReasonKey::copy_of_other, "CopyOfOther", 1},
    {ReasonKey::copy_ambiguous, "CopyAmbiguous", 2},
    {ReasonKey::leads_out, "LeadsOut", 1},
    {ReasonKey::is_directory, "IsDirectory", 1},
    {ReasonKey::place_unread, "PlaceUnread", 2},
    {ReasonKey::not_proven, "NotProven", 1},
    {ReasonKey::rejected, "Rejected", 1},
    {ReasonKey::no_such_file, "NoSuchFile", 0},
    {ReasonKey::unsafe_name, "UnsafeName", 0},
    {ReasonKey::unproven, "Unproven", 0},
    {ReasonKey::kernel_code, "KernelCode", 0},
    {ReasonKey::kernel_program, "KernelProgram", 0},
    {ReasonKey::no_file_behind, "NoFileBehind", 0},
    {ReasonKey::guest_name, "GuestName", 0},
    {ReasonKey::mount_namespace_name, "MountNamespaceName", 0},
    {ReasonKey::supplementary_missing, "SupplementaryMissing", 0},
    {ReasonKey::supplementary_unknown, "SupplementaryUnknown", 0},
    {ReasonKey::split_units_missing, "SplitUnitsMissing", 3},
    {ReasonKey::split_units_unread, "SplitUnitsUnread", 1},
    {ReasonKey::only_exports, "OnlyExports", 1},
    {ReasonKey::no_names, "NoNames", 1},
    {ReasonKey::help_package, "HelpPackage", 2},
    {ReasonKey::help_build_id, "HelpBuildId", 1},
    {ReasonKey::archive_directory, "ArchiveDirectory", 3},
    {ReasonKey::archive_unread, "ArchiveUnread", 1},
    {ReasonKey::archive_copy, "ArchiveCopy", 3},
    {ReasonKey::archive_changed, "ArchiveChanged", 1},
    {ReasonKey::archive_taken, "ArchiveTaken", 2},
};

/// The text in the language of the process, with the arguments filled in, byte for byte as they
/// are. Without the catalogue, or without the key in it, the word behind a percent sign and the
/// arguments in brackets. Callable from any thread.
std::string reasonText(ReasonKey key, std::initializer_list<std::string_view> arguments = {});

} // namespace lokata::profile
