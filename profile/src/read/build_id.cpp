#include <lokata/profile/build_id.h>

#include <toolbelt2/hex.h>

#include <algorithm>

namespace lokata::profile {

bool isBuildId(std::string_view bytes) {
    return bytes.size() >= c_minBuildId && bytes.size() <= c_maxBuildId &&
           bytes.find_first_not_of('\0') != std::string_view::npos;
}

BuildId buildIdOf(std::string_view bytes) {
    return isBuildId(bytes) ? BuildId(bytes.begin(), bytes.end()) : BuildId();
}

DebugId debugIdOf(BuildId const& buildId) {
    DebugId result{};
    std::copy_n(buildId.begin(), std::min(buildId.size(), result.size()), result.begin());
    return result;
}

std::string toHex(BuildId const& buildId) {
    return toolbelt2::to_hex(buildId);
}

std::string toHex(DebugId const& debugId) {
    return toolbelt2::to_hex(debugId);
}

BuildId buildIdFromHex(std::string_view text) {
    auto const bytes = toolbelt2::from_hex(text);
    return bytes ? buildIdOf({reinterpret_cast<char const*>(bytes->data()), bytes->size()})
                 : BuildId();
}

} // namespace lokata::profile
