#include "read/firefox/json_events.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <string>

namespace lokata::profile {

namespace {

using Limits = std::numeric_limits<std::int64_t>;

std::int64_t clamped(double value) {
    constexpr double c_beyond = 9223372036854775808.0; // 2^63
    if (!(value > -c_beyond))
        return Limits::min();
    return value < c_beyond ? static_cast<std::int64_t>(value) : Limits::max();
}

/// The names are those that the parser calls.
class Adapter {
public:
    explicit Adapter(JsonEvents& events) : m_events(events) {}

    // NOLINTBEGIN(readability-identifier-naming)
    bool null() { return m_events.other(); }
    bool boolean(bool /*value*/) { return m_events.other(); }
    bool number_integer(std::int64_t value) { return m_events.number(value); }
    bool number_unsigned(std::uint64_t value) {
        auto const most = static_cast<std::uint64_t>(Limits::max());
        return m_events.number(static_cast<std::int64_t>(std::min(value, most)));
    }
    bool number_float(double value, std::string const& /*digits*/) {
        return m_events.number(clamped(value));
    }
    bool string(std::string const& value) { return m_events.text(value); }
    bool binary(nlohmann::json::binary_t const& /*value*/) { return m_events.other(); }
    bool start_object(std::size_t /*size*/) { return m_events.begin(true); }
    bool end_object() { return m_events.end(); }
    bool start_array(std::size_t /*size*/) { return m_events.begin(false); }
    bool end_array() { return m_events.end(); }
    bool key(std::string const& name) { return m_events.key(name); }
    bool parse_error(std::size_t position, std::string const& /*token*/,
                     nlohmann::detail::exception const& /*fault*/) {
        m_faultAt = position;
        return false;
    }
    // NOLINTEND(readability-identifier-naming)

    /// How many bytes had been read, the end of the text counting as one.
    std::optional<std::size_t> faultAt() const { return m_faultAt; }

private:
    JsonEvents& m_events;
    std::optional<std::size_t> m_faultAt;
};

} // namespace

std::optional<JsonFault> readJson(std::string_view content, JsonEvents& events) {
    Adapter adapter(events);
    nlohmann::json::sax_parse(content.data(), content.data() + content.size(), &adapter);
    if (!adapter.faultAt())
        return std::nullopt;
    return JsonFault{std::min(*adapter.faultAt(), content.size()),
                     *adapter.faultAt() > content.size()};
}

} // namespace lokata::profile
