#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace optstore2 {

/// Texts by key, as one catalogue file holds them.
using messages_t = std::map<std::string, std::string>;

/// Reads a catalogue file. Gives none if there is no such file, with `fault` left alone, and if it
/// cannot be read or is no JSON object of texts, with the reason in `fault`.
std::optional<messages_t> readMessageFile(std::filesystem::path const& file, std::string& fault);

/// Where an installation has its catalogues, in the order of looking: seen from where this library
/// was loaded, so that an installation can be moved, then the directory it was configured for.
/// The same for the life of the process.
std::vector<std::filesystem::path> const& installedMessageDirectories();

} // namespace optstore2
