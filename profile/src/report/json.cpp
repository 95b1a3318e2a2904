#include <lokata/profile/report.h>

#include <nlohmann/json.hpp>
#include <toolbelt2/sink_buffer.h>

#include <ostream>

using nlohmann::ordered_json;

namespace lokata::profile {

namespace {

/// A text made of foreign bytes. Where these cannot stand as they are, a mark beside it says that
/// the text is in the escaped form of displayName().
void putBytes(ordered_json& object, std::string const& key, std::string const& bytes) {
    std::string text = displayName(bytes);
    bool const escaped = text != bytes;
    object[key] = std::move(text);
    if (escaped)
        object[key + "_escaped"] = true;
}

void putBytesOrNull(ordered_json& object, std::string const& key, std::string const& bytes) {
    if (bytes.empty())
        object[key] = nullptr;
    else
        putBytes(object, key, bytes);
}

/// A text for a person, which nobody turns back into bytes.
ordered_json words(std::string const& text) {
    return text.empty() ? ordered_json() : ordered_json(displayName(text));
}

/// For texts that displayName() has passed already; a second pass would escape its backslashes.
ordered_json printable(std::string text) {
    return text.empty() ? ordered_json() : ordered_json(std::move(text));
}

ordered_json numberOrNull(std::uint64_t number) {
    return number == 0 ? ordered_json() : ordered_json(number);
}

void putIdentity(ordered_json& object, Identity const& identity) {
    object["kind"] = wordOf(c_identityKinds, identity.kind);
    putBytesOrNull(object, "expected", identity.expected);
    putBytesOrNull(object, "actual", identity.actual);
}

ordered_json rejectedJson(JudgedCandidate const& candidate) {
    ordered_json object;
    putBytes(object, "path", candidate.path);
    object["severity"] = wordOf(c_severities, candidate.severity);
    object["message"] = words(candidate.message);
    object["step"] = wordOf(c_searchSteps, candidate.step);
    putIdentity(object, candidate.identity);
    return object;
}

ordered_json fileJson(FileResolution const& file) {
    ordered_json object;
    putBytesOrNull(object, "path", file.path);
    putBytesOrNull(object, "unpacked_from", file.unpacked_from ? *file.unpacked_from : "");
    object["confidence"] =
        file.found() ? ordered_json(wordOf(c_confidences, file.confidence)) : nullptr;
    object["step"] = file.found() ? ordered_json(wordOf(c_searchSteps, file.step)) : nullptr;
    object["place"] = file.found() ? ordered_json(wordOf(c_places, file.place)) : nullptr;
    putIdentity(object["identity"], file.identity);
    object["reason"] = printable(missingReason(file));
    object["warning"] = words(file.warning ? *file.warning : "");
    auto& rejected = object["rejected"] = ordered_json::array();
    for (JudgedCandidate const& candidate : file.rejected)
        rejected.push_back(rejectedJson(candidate));
    object["elapsed_us"] = file.elapsed_us;
    return object;
}

ordered_json fileJson(Boxed<FileResolution> const& file) {
    return file ? fileJson(*file) : ordered_json();
}

template <class List, class Convert>
ordered_json arrayOf(List const& list, Convert convert) {
    auto array = ordered_json::array();
    for (auto const& element : list)
        array.push_back(convert(element));
    return array;
}

ordered_json splitJson(Boxed<SplitResolution> const& split) {
    if (!split)
        return {};
    ordered_json object{{"units", split->units}, {"found_units", split->found_units}};
    object["package"] = fileJson(split->package);
    object["files"] = arrayOf(split->files, [](SplitFile const& each) {
        ordered_json file;
        putBytes(file, "name", each.name);
        file["file"] = fileJson(each.file);
        return file;
    });
    return object;
}

ordered_json helpJson(ModuleResolution const& resolution) {
    std::string message = symbolsHelp(resolution);
    if (message.empty())
        return {};
    auto const& package = resolution.package;
    ordered_json object{{"message", std::move(message)}};
    putBytesOrNull(object, "package", package ? package->name : "");
    putBytesOrNull(object, "debug_package", package ? package->debug_name : "");
    return object;
}

ordered_json moduleJson(ModuleResolution const& resolution, bool hasSamples) {
    Module const& module = resolution.module;
    ordered_json object;
    putBytes(object, "name", module.name);
    object["build_id"] = printable(toHex(module.build_id));
    object["debug_id"] = printable(module.debug_id ? toHex(*module.debug_id) : "");
    object["kind"] = wordOf(c_moduleKinds, module.kind);
    object["samples"] = hasSamples ? ordered_json(module.samples) : ordered_json();
    object["caller_samples"] = hasSamples ? ordered_json(module.caller_samples) : ordered_json();
    object["periods"] = module.periods ? ordered_json(*module.periods) : ordered_json();
    object["pid"] = numberOrNull(module.pid);
    object["mount_namespace"] = numberOrNull(module.mount_namespace);
    object["status"] = wordOf(c_moduleStatuses, resolution.status);
    object["reason"] = printable(statusReason(resolution));
    object["level"] = wordOf(c_symbolLevels, resolution.level);
    object["level_proven"] = isLevelProven(resolution);
    object["binary"] = fileJson(resolution.binary);
    object["symbols"] = fileJson(resolution.symbols);
    object["symbols_reason"] = printable(symbolsReason(resolution));
    object["help"] = helpJson(resolution);
    object["supplementary"] = fileJson(resolution.supplementary);
    object["split_dwarf"] = splitJson(resolution.split_dwarf);
    object["sources_reason"] = words(resolution.sources_error ? *resolution.sources_error : "");
    return object;
}

ordered_json summaryJson(ProfileResolution const& resolution) {
    bool const hasSamples = resolution.profile.has_samples;
    std::uint64_t samples = resolution.profile.unattributed_samples;
    ordered_json object{{"modules", resolution.modules.size()}, {"samples", nullptr}};
    auto const totalJson = [&](ModuleTotal const& total) {
        return ordered_json{{"modules", total.modules},
                            {"samples", hasSamples ? ordered_json(total.samples) : ordered_json()}};
    };
    for (auto const& [status, word] : c_moduleStatuses) {
        ModuleTotal const total = totalOf(resolution, status);
        samples += total.samples;
        object[std::string(word)] = totalJson(total);
    }
    for (auto const& [level, word] : c_symbolLevels)
        object["levels"][std::string(word)] = totalJson(totalOf(resolution, level));
    if (hasSamples)
        object["samples"] = samples;
    object["unattributed_samples"] = resolution.profile.unattributed_samples;
    return object;
}

ordered_json sourceJson(SourceResolution const& source) {
    ordered_json object;
    putBytes(object, "name", source.name);
    putBytes(object, "module", source.module);
    object["modules"] = source.modules;
    object["status"] = wordOf(c_sourceStatuses, statusOf(source));
    object["file"] = fileJson(source.file);
    return object;
}

ordered_json eventJson(RecordedEvent const& event) {
    ordered_json object;
    putBytes(object, "name", event.name);
    object["samples"] = event.samples;
    object["period"] = event.period;
    object["unattributed_period"] = event.unattributed_period;
    return object;
}

ordered_json errorJson(ReadError const& error) {
    return {{"offset", error.offset}, {"message", displayName(error.message)}};
}

ordered_json learnedJson(PathSubstitution const& learned) {
    ordered_json object;
    putBytes(object, "from", learned.from);
    putBytes(object, "to", learned.to);
    return object;
}

/// A further member of an open object, one element at a time.
template <class List, class Convert>
void writeArray(std::ostream& out, std::string_view key, List const& list, Convert convert) {
    out << ",\"" << key << "\":[";
    char const* separator = "";
    for (auto const& element : list) {
        out << separator << convert(element).dump();
        separator = ",";
    }
    out << ']';
}

} // namespace

void writeJson(std::ostream& out, ProfileResolution const& resolution) {
    Profile const& profile = resolution.profile;
    ordered_json document;
    document["version"] = c_jsonReportVersion;
    putBytes(document, "input", resolution.input);
    document["format"] = profile.format.empty() ? ordered_json() : ordered_json(profile.format);
    document["host_name"] = words(profile.host_name);
    document["kernel_release"] = words(profile.kernel_release);
    document["architecture"] = words(profile.architecture);
    document["elapsed_us"] = resolution.elapsed_us;
    document["summary"] = summaryJson(resolution);
    std::string beginning = document.dump();
    beginning.pop_back(); // The brace; the lists may be too long to be held whole.
    out << beginning;
    writeArray(out, "events", profile.events, eventJson);
    writeArray(out, "errors", profile.errors, errorJson);
    writeArray(out, "modules", resolution.modules, [&](ModuleResolution const& module) {
        return moduleJson(module, profile.has_samples);
    });
    writeArray(out, "learned_paths", resolution.learned, learnedJson);
    writeArray(out, "sources", resolution.sources, sourceJson);
    out << '}';
}

std::string toJson(ProfileResolution const& resolution) {
    std::string text;
    toolbelt2::write_in_blocks([&text](std::string_view bytes) { text += bytes; },
                               [&](std::ostream& out) { writeJson(out, resolution); });
    return text;
}

} // namespace lokata::profile
