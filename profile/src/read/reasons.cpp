#include "read/reasons.h"

#include <optstore2/message_catalog.h>

#include <algorithm>
#include <iterator>

namespace lokata::profile {

std::string reasonText(ReasonKey key, std::initializer_list<std::string_view> arguments) {
    auto const* const entry =
        std::find_if(std::begin(c_reasons), std::end(c_reasons),
                     [&](ReasonEntry const& each) { return each.key == key; });
    return optstore2::messageText(c_reasonCatalog, std::string(entry->word), arguments);
}

} // namespace lokata::profile
