#pragma once

#include <lokata/profile/export.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace lokata::profile {

/// Takes a JSON text (RFC 8259) piece by piece, so that no tree of it is built. What functions
/// return false for is the last that they are told.
class JsonEvents {
public:
    virtual ~JsonEvents() = default;

    /// An object, or else an array.
    virtual bool begin(bool isObject) = 0;
    /// Of the latest that is still open.
    virtual bool end() = 0;
    /// Of the next member of an object. The view is good for the call.
    virtual bool key(std::string_view name) = 0;
    virtual bool text(std::string_view value) = 0;
    /// Fractions are cut off, and what is beyond the limits of the type becomes one of them.
    virtual bool number(std::int64_t value) = 0;
    /// Null, true or false.
    virtual bool other() = 0;
};

/// Where a text stops to be JSON.
struct JsonFault {
    std::size_t offset = 0;
    bool is_cut_off = false; ///< It ends there, and more was to come.
};

/// Empty if all is well or if `events` has seen enough. Nesting takes one bit a level, and none of
/// the stack.
std::optional<JsonFault> readJson(std::string_view content, JsonEvents& events);

} // namespace lokata::profile
