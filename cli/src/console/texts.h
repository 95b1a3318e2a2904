#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

/// What the program itself says to a person, in the catalogue `lokata_program`; docs/messages.md
/// tells how it is found. The words of options, steps and documents are no such texts.
namespace lokata::cli {

constexpr char const* c_programCatalog = "lokata_program";

/// Each text with its key in the catalogue and the number of its arguments.
#define LOKATA_PROGRAM_TEXTS(TEXT)                                                                 \
    TEXT(decimal_point, "DecimalPoint", 0)                                                         \
    TEXT(or_, "Or", 0)                                                                             \
    TEXT(warning, "Warning", 1)                                                                    \
    TEXT(standard_input, "StandardInput", 0)                                                       \
    TEXT(output_failed, "OutputFailed", 1)                                                         \
    TEXT(unread_to_end, "UnreadToEnd", 0)                                                          \
    TEXT(search_counted, "SearchCounted", 1)                                                       \
    TEXT(searches_counted, "SearchesCounted", 1)                                                   \
    TEXT(wrong_usage, "WrongUsage", 1)                                                             \
    TEXT(unknown_word, "UnknownWord", 1)                                                           \
    TEXT(text_empty, "TextEmpty", 0)                                                               \
    TEXT(not_positive, "NotPositive", 1)                                                           \
    TEXT(archive_target_missing, "ArchiveTargetMissing", 0)                                        \
    TEXT(no_archive_in_contexts, "NoArchiveInContexts", 0)                                         \
    TEXT(binary_of_binary, "BinaryOfBinary", 0)                                                    \
    TEXT(symfs_form, "SymfsForm", 1)                                                               \
    TEXT(substitution_form, "SubstitutionForm", 1)                                                 \
    TEXT(nothing_to_explain, "NothingToExplain", 2)                                                \
    TEXT(no_such_module, "NoSuchModule", 2)                                                        \
    TEXT(unknown_step, "UnknownStep", 1)                                                           \
    TEXT(expected_form, "ExpectedForm", 1)                                                         \
    TEXT(only_sources_have_time, "OnlySourcesHaveTime", 0)                                         \
    TEXT(dir_form, "DirForm", 1)                                                                   \
    TEXT(dir_word, "DirWord", 2)                                                                   \
    TEXT(dir_missing, "DirMissing", 1)                                                             \
    TEXT(dir_flags_missing, "DirFlagsMissing", 1)                                                  \
    TEXT(dir_flags, "DirFlags", 1)                                                                 \
    TEXT(no_home, "NoHome", 0)                                                                     \
    TEXT(store_left_out, "StoreLeftOut", 2)                                                        \
    TEXT(not_written, "NotWritten", 2)                                                             \
    TEXT(store_directory, "StoreDirectory", 2)                                                     \
    TEXT(not_in_store, "NotInStore", 1)                                                            \
    TEXT(not_one_of, "NotOneOf", 2)                                                                \
    TEXT(member_twice, "MemberTwice", 1)                                                           \
    TEXT(no_object, "NoObject", 0)                                                                 \
    TEXT(unknown_member, "UnknownMember", 1)                                                       \
    TEXT(member_no_text, "MemberNoText", 1)                                                        \
    TEXT(null_byte, "NullByte", 1)                                                                 \
    TEXT(open_quote, "OpenQuote", 0)                                                               \
    TEXT(word_too_many, "WordTooMany", 1)                                                          \
    TEXT(line_too_long, "LineTooLong", 1)                                                          \
    TEXT(name_missing, "NameMissing", 0)                                                           \
    TEXT(expected_found, "ExpectedFound", 2)                                                       \
    TEXT(none, "None", 0)                                                                          \
    TEXT(time, "Time", 1)                                                                          \
    TEXT(time_or_before, "TimeOrBefore", 1)                                                        \
    TEXT(bytes, "Bytes", 1)                                                                        \
    TEXT(found, "Found", 0)                                                                        \
    TEXT(proven, "Proven", 0)                                                                      \
    TEXT(rejected, "Rejected", 0)                                                                  \
    TEXT(nothing, "Nothing", 0)                                                                    \
    TEXT(no_file, "NoFile", 0)                                                                     \
    TEXT(unread, "Unread", 0)                                                                      \
    TEXT(nowhere_searched, "NowhereSearched", 1)                                                   \
    TEXT(none_found_in, "NoneFoundIn", 2)                                                          \
    TEXT(none_passed_in, "NonePassedIn", 3)                                                        \
    TEXT(unread_places, "UnreadPlaces", 1)                                                         \
    TEXT(unneeded, "Unneeded", 0)                                                                  \
    TEXT(at_byte, "AtByte", 2)                                                                     \
    TEXT(unknown_format, "UnknownFormat", 1)                                                       \
    TEXT(not_archived, "NotArchived", 1)                                                           \
    TEXT(file_not_archived, "FileNotArchived", 1)                                                  \
    TEXT(status_resolved, "StatusResolved", 0)                                                     \
    TEXT(status_unproven, "StatusUnproven", 0)                                                     \
    TEXT(status_missing, "StatusMissing", 0)                                                       \
    TEXT(status_unsupported, "StatusUnsupported", 0)                                               \
    TEXT(status_not_a_file, "StatusNotAFile", 0)                                                   \
    TEXT(verdict_of_samples, "VerdictOfSamples", 2)                                                \
    TEXT(verdict_of_user_samples, "VerdictOfUserSamples", 2)                                       \
    TEXT(verdict_of_modules, "VerdictOfModules", 2)                                                \
    TEXT(shown_in_part, "ShownInPart", 1)                                                          \
    TEXT(shown_by_names, "ShownByNames", 1)                                                        \
    TEXT(shown_by_exports, "ShownByExports", 1)                                                    \
    TEXT(samples_unproven, "SamplesUnproven", 1)                                                   \
    TEXT(modules_unproven, "ModulesUnproven", 1)                                                   \
    TEXT(count_of, "CountOf", 2)                                                                   \
    TEXT(share_of_samples, "ShareOfSamples", 1)                                                    \
    TEXT(without_file, "WithoutFile", 1)                                                           \
    TEXT(event_number, "EventNumber", 1)                                                           \
    TEXT(title_samples, "TitleSamples", 0)                                                         \
    TEXT(title_module, "TitleModule", 0)                                                           \
    TEXT(title_file, "TitleFile", 0)                                                               \
    TEXT(title_proof, "TitleProof", 0)                                                             \
    TEXT(title_symbols, "TitleSymbols", 0)                                                         \
    TEXT(title_step, "TitleStep", 0)                                                               \
    TEXT(row_symbols, "RowSymbols", 0)                                                             \
    TEXT(row_sources, "RowSources", 0)                                                             \
    TEXT(unlisted_module, "UnlistedModule", 1)                                                     \
    TEXT(unlisted_modules, "UnlistedModules", 1)                                                   \
    TEXT(learned, "Learned", 2)                                                                    \
    TEXT(title_sources_found, "TitleSourcesFound", 0)                                              \
    TEXT(title_sources_proven, "TitleSourcesProven", 0)                                            \
    TEXT(title_sources_refused, "TitleSourcesRefused", 0)                                          \
    TEXT(title_sources_missing, "TitleSourcesMissing", 0)                                          \
    TEXT(title_sources_in, "TitleSourcesIn", 0)                                                    \
    TEXT(in_all, "InAll", 0)                                                                       \
    TEXT(newer_sources, "NewerSources", 1)                                                         \
    TEXT(sources_of_module, "SourcesOfModule", 5)                                                  \
    TEXT(source_proven, "SourceProven", 0)                                                         \
    TEXT(source_unproven, "SourceUnproven", 0)                                                     \
    TEXT(source_refused, "SourceRefused", 0)                                                       \
    TEXT(source_missing, "SourceMissing", 0)                                                       \
    TEXT(module_facts, "ModuleFacts", 5)                                                           \
    TEXT(build_id, "BuildId", 1)                                                                   \
    TEXT(debug_id, "DebugId", 1)                                                                   \
    TEXT(no_build_id, "NoBuildId", 0)                                                              \
    TEXT(file_found, "FileFound", 3)                                                               \
    TEXT(file_missing, "FileMissing", 3)                                                           \
    TEXT(not_looked_for, "NotLookedFor", 1)                                                        \
    TEXT(binary, "Binary", 0)                                                                      \
    TEXT(symbols, "Symbols", 0)                                                                    \
    TEXT(supplementary, "Supplementary", 0)                                                        \
    TEXT(package, "Package", 0)                                                                    \
    TEXT(file, "File", 0)                                                                          \
    TEXT(identity_expected, "IdentityExpected", 1)                                                 \
    TEXT(nothing_recorded, "NothingRecorded", 0)                                                   \
    TEXT(proven_by, "ProvenBy", 1)                                                                 \
    TEXT(unproven, "Unproven", 0)                                                                  \
    TEXT(unpacked_from, "UnpackedFrom", 1)                                                         \
    TEXT(split_units, "SplitUnits", 2)                                                             \
    TEXT(files_indexed, "FilesIndexed", 3)                                                         \
    TEXT(index_status, "IndexStatus", 3)                                                           \
    TEXT(index_missing, "IndexMissing", 0)                                                         \
    TEXT(source_of, "SourceOf", 1)

enum class Text {
#define LOKATA_ENUMERATOR(name, key, arguments) name,
    LOKATA_PROGRAM_TEXTS(LOKATA_ENUMERATOR)
#undef LOKATA_ENUMERATOR
};

/// Puts the language of the user's environment in force for all texts of the process, those of the
/// system among them, which come as UTF-8 then. Numbers and dates stay as they are for programs.
/// Call it before the first thread.
void speakTheUsersLanguage();

/// The text in the language of the process, with {arg1} and so on filled in byte for byte.
std::string textOf(Text text, std::initializer_list<std::string_view> arguments = {});

} // namespace lokata::cli
