#pragma once

#include <lokata/profile/export.h>

#include <string_view>

namespace lokata::profile {

/// The page with its style and script, put together by the build from the files beside this one.
/// The marks <!--modules-->, <!--texts--> and <!--documents--> stand in it once each, in this
/// order.
extern std::string_view const c_pageText;

} // namespace lokata::profile
