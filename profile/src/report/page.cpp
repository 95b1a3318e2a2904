#include <lokata/profile/report.h>

#include "report/page/page_text.h"

#include <toolbelt2/sink_buffer.h>

#include <ostream>
#include <string>
#include <string_view>

namespace lokata::profile {

namespace {

/// Good for text between tags; the page has no foreign text in attributes.
std::string markup(std::string_view text) {
    std::string result;
    for (char const c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

/// A script element ends at the first "</script" and turns over at "<!--", whatever the syntax
/// inside, so no "<" may stand in its data. In JSON it can only stand within a string.
void writeScriptData(std::ostream& out, std::string_view json) {
    for (std::size_t at = json.find('<'); at != std::string_view::npos; at = json.find('<')) {
        out << json.substr(0, at) << "\\u003c";
        json.remove_prefix(at + 1);
    }
    out << json;
}

void writeModuleRow(std::ostream& out, ModuleResolution const& resolution, bool hasSamples) {
    bool const found = resolution.binary && resolution.binary->found();
    out << "<tr><td>";
    if (hasSamples)
        out << resolution.module.samples;
    out << "</td><td>" << wordOf(c_moduleStatuses, resolution.status) << "</td><td>"
        << markup(displayName(resolution.module.name)) << "</td><td>"
        << markup(found ? displayName(resolution.binary->path) : statusReason(resolution))
        << "</td></tr>\n";
}

} // namespace

void writeHtml(std::ostream& out, std::vector<ProfileResolution> const& resolutions) {
    std::string_view page = c_pageText;
    auto const writeUpTo = [&](std::string_view mark) {
        std::size_t const at = page.find(mark);
        out << page.substr(0, at);
        page.remove_prefix(at + mark.size());
    };
    writeUpTo("<!--modules-->");
    for (ProfileResolution const& resolution : resolutions)
        for (ModuleResolution const& module : resolution.modules)
            writeModuleRow(out, module, resolution.profile.has_samples);
    writeUpTo("<!--documents-->");
    char const* separator = "[";
    for (ProfileResolution const& resolution : resolutions) {
        out << separator;
        toolbelt2::write_in_blocks([&out](std::string_view bytes) { writeScriptData(out, bytes); },
                                   [&](std::ostream& data) { writeJson(data, resolution); });
        separator = ",\n";
    }
    out << (resolutions.empty() ? "[]" : "]") << page;
}

} // namespace lokata::profile
