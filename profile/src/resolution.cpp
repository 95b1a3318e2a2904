#include "profile/resolution.h"

namespace lokata::profile {

char const* moduleStatusName(ModuleStatus status) {
    switch (status) {
    case ModuleStatus::resolved:
        return "resolved";
    case ModuleStatus::unproven:
        return "unproven";
    case ModuleStatus::missing:
        return "missing";
    case ModuleStatus::not_a_file:
        return "not-a-file";
    case ModuleStatus::unsupported:
        break;
    }
    return "unsupported";
}

} // namespace lokata::profile
