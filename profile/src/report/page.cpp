#include <lokata/profile/report.h>

#include "report/page/page_text.h"
#include "report/page/page_texts.h"

#include <nlohmann/json.hpp>
#include <optstore2/message_catalog.h>
#include <toolbelt2/sink_buffer.h>

#include <ostream>
#include <string>
#include <string_view>

namespace lokata::profile {

namespace {

/// Good for text between tags; in attributes, for our own texts.
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

std::string pageText(std::string_view key) {
    return optstore2::messageText(c_pageCatalog, std::string(key), {});
}

/// The markup with the texts that its marks stand for.
void writeMarkup(std::ostream& out, std::string_view text) {
    constexpr std::string_view c_open = "[[";
    constexpr std::string_view c_close = "]]";
    for (std::size_t at = text.find(c_open); at != std::string_view::npos; at = text.find(c_open)) {
        out << text.substr(0, at);
        text.remove_prefix(at + c_open.size());
        std::size_t const end = text.find(c_close);
        out << markup(pageText(text.substr(0, end)));
        text.remove_prefix(end + c_close.size());
    }
    out << text;
}

std::string textsAsJson() {
    nlohmann::json texts;
    for (PageText const& each : c_pageTexts)
        texts[std::string(each.key)] = pageText(each.key);
    return texts.dump();
}

} // namespace

void writeHtml(std::ostream& out, std::vector<ProfileResolution> const& resolutions) {
    std::string_view page = c_pageText;
    auto const writeUpTo = [&](std::string_view mark) {
        std::size_t const at = page.find(mark);
        writeMarkup(out, page.substr(0, at));
        page.remove_prefix(at + mark.size());
    };
    writeUpTo("<!--modules-->");
    for (ProfileResolution const& resolution : resolutions)
        for (ModuleResolution const& module : resolution.modules)
            writeModuleRow(out, module, resolution.profile.has_samples);
    writeUpTo("<!--texts-->");
    writeScriptData(out, textsAsJson());
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
