#pragma once

/// Which candidates stand for the kernel or the module that is packed in them, see
/// <lokata/profile/kernel_cache.h>.

#include "facts/elf_facts.h"

#include <string>
#include <string_view>

namespace lokata::profile {

/// By the name "vmlinuz..." or the header of a boot protocol, and a file that is packed as a whole
/// by the name of a module or of an image: others may be anything, and are not unpacked. Callable
/// from any thread.
bool isPackedKernel(std::string const& path, ElfFacts const& facts);

/// Whether the name alone tells a packed kernel or module.
bool isPackedKernelName(std::string_view path);

} // namespace lokata::profile
