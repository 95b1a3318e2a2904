#pragma once

#include "lk_search_contracts.h"

#include <string>

namespace LK_2_13 {

/// True if the last component begins with the text of `VMLINUZ`.
bool isCompressedKernelName(char const* fileName);

/// Puts an unpacked copy in the place of a compressed kernel image that was found valid. Copies are
/// kept beyond the search, for all processes that share the product's temporary directory:
///
///     <temporary directory>/vmlinux_cache/<MD5 of the image>/vmlinux
///
/// `validated` is the verdict on `fileName`. If the copy is valid, its verdict takes that place and
/// `unpackedName` gets its path; otherwise both stay, so that a failed extraction leaves the
/// compressed image as the result. False if the image has no checksum: the candidate is then lost.
///
/// Nothing keeps two searches from writing the same copy at once.
bool substituteKernelImage(IValidatorInternal& validator, char const* fileName, unsigned int step,
                           ObjectPtr<IValidatedFile>& validated, std::string& unpackedName);

} // namespace LK_2_13
