#include "resolve/searched_name.h"

#include "read/names.h"
#include "search/kernel_places.h"

#include <lokata2/search_types.h>

namespace lokata::profile {

using namespace LK_2_13;

std::string searchedName(Module const& module) {
    switch (module.kind) {
    case ModuleKind::kernel:
    case ModuleKind::guest_kernel:
        return VMLINUX;
    case ModuleKind::kernel_module:
    case ModuleKind::guest_module:
        return kernelModuleFileName(module.name);
    case ModuleKind::file: // Where the reader knew that the file was there, the mark is its name.
        return module.name;
    default:
        return std::string(withoutDeletedMark(module.name));
    }
}

} // namespace lokata::profile
