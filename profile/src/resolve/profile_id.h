#pragma once

#include <lokata/profile/profile.h>

#include <string>

namespace lokata::profile {

/// See `ProfileResolution::profile_id`. Empty if a policy of the machine forbids MD5.
std::string profileId(Profile const& profile);

} // namespace lokata::profile
