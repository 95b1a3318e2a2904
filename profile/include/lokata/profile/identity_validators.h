#pragma once

/// Validators for searches of the library, which prove binaries and symbol files by what they carry
/// and judge as the resolver does. A rejection names the expected and the actual value in its
/// message.
///
/// A validator keeps what it has read of the files that it judged. It serves one search at a time.
/// Functions and validators throw std::bad_alloc only.

#include <lokata/profile/build_id.h>

#include <lokata2/validator.h>

#include <memory>
#include <string>

namespace lokata::profile {

/// For binaries: valid is a file of that build-id, but for a separate debug file; a packed kernel
/// or module is judged by what it unpacks to. Without a build-id every file is undecided. Never
/// null.
LOKATA_PROFILE_EXPORT std::unique_ptr<LK_2_13::IValidatorCallback>
createBinaryValidator(BuildId const& buildId);

/// For symbol files: valid is a file of that build-id with debug information. Never null.
LOKATA_PROFILE_EXPORT std::unique_ptr<LK_2_13::IValidatorCallback>
createSymbolValidator(BuildId const& buildId);

/// For the symbol files of a binary that is at hand, by its build-id or the checksum in its debug
/// link. Of a binary that has neither, its own debug information is valid, and a file with any is
/// undecided. Null if the binary cannot be read as ELF, and so tells nothing.
LOKATA_PROFILE_EXPORT std::unique_ptr<LK_2_13::IValidatorCallback>
createSymbolValidatorFor(std::string const& binary);

} // namespace lokata::profile
