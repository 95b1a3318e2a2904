#pragma once

#include <brace/i18n.h>
#include <optstore2/export.h>

#include <initializer_list>
#include <string>
#include <string_view>

/// Message catalogues are files `<name>.<language>.json`, each one JSON object of keys and texts.
/// They are looked for in the directory that the client has set, then in the places of the
/// installation, `share/lokata/messages` (a build tree is laid out like an installation); the first
/// place that has the catalogue gives all of it.
///
/// The language is the one that the process has put in force with `setlocale` for `LC_MESSAGES`:
/// a process that has not called it gets English, and the environment is not read here. Under
/// "de_DE.UTF-8" the files of "de_DE", "de" and "en" are taken together, a key from the first that
/// has it.
namespace optstore2 {

/// The catalogue of that name; null if there is none. It never changes, belongs to this library
/// and stays valid to the end of the process, also when another directory or language comes into
/// force. A missing catalogue is looked for again by each call, one that was read is kept. A file
/// that cannot be read, or is not such an object, counts as missing and is reported once on the
/// logger "optstore2". Safe from any thread.
OPTSTORE2_EXPORT BRACE_2_18::i18n::catalog_t const* getMessageCatalog(std::string const& name);

/// The text of that key in the catalogue, with the arguments filled in for {arg1}, {arg2} and so
/// on, byte for byte as they are. Without the catalogue, or without the key in it, the key behind a
/// percent sign and the arguments in brackets, as "%NotFound (a, b)". Safe from any thread.
OPTSTORE2_EXPORT std::string messageText(std::string const& catalog, std::string const& key,
                                         std::initializer_list<std::string_view> arguments = {});

/// Sets the directory that is looked in first. Null goes back to the installation alone; the empty
/// text means no place at all, so that every catalogue is missing. Safe from any thread.
OPTSTORE2_EXPORT void setMessageDirectory(char const* directory);

} // namespace optstore2
