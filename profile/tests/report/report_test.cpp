#include <lokata/profile/read.h>
#include <lokata/profile/report.h>

#include "temp_tree.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

#include <clocale>
#include <regex>
#include <set>
#include <sstream>

using namespace lokata::profile;
using namespace LK_2_13;
using nlohmann::json;
using namespace testing;

namespace {

/// What a hostile recording would call a module: not UTF-8, and markup, script ends, terminal
/// sequences, reversed writing and the marks of the page itself.
std::string const c_hostile =
    "/x/</script><!--<script>\"'&\n\x1b[31m\xff\xe2\x80\xae\\u003c<!--documents-->";

/// Empty if a document is as the schema says, else what is wrong.
std::string violations(std::string const& document) {
    using valijson::adapters::NlohmannJsonAdapter;
    json const rules = json::parse(contentOf(DOCUMENTS "/resolve.schema.json"));
    valijson::Schema schema;
    valijson::SchemaParser().populateSchema(NlohmannJsonAdapter(rules), schema);
    valijson::ValidationResults results;
    valijson::Validator().validate(schema, NlohmannJsonAdapter(json::parse(document)), &results);
    std::string text;
    for (valijson::ValidationResults::Error const& error : results)
        text += error.context.back() + ": " + error.description + "\n";
    return text;
}

FileResolution found(std::string const& path) {
    FileResolution file;
    file.path = path;
    file.step = ssHighPrioritySearchDirs;
    file.identity = {IdentityKind::build_id, "00ff", "00ff"};
    return file;
}

JudgedCandidate candidate(std::string const& path, std::string const& message,
                          Identity const& identity = {}) {
    return {path, vrInvalid, svError, ssArchiveSearchDirs, message, identity};
}

FileResolution rejected(std::vector<JudgedCandidate> candidates) {
    FileResolution file;
    file.identity = {IdentityKind::build_id, "00ff", ""};
    file.rejected = std::move(candidates);
    return file;
}

ModuleResolution module(std::string const& name, ModuleStatus status, std::uint64_t samples) {
    ModuleResolution result;
    result.module.name = name;
    result.module.samples = samples;
    result.status = status;
    return result;
}

/// One module of every status and kind of file, with a hostile text wherever a foreign one fits.
ProfileResolution everything() {
    ProfileResolution all;
    all.input = c_hostile;
    all.profile.format = "perf";
    all.profile.has_samples = true;
    all.profile.unattributed_samples = 5;
    all.profile.host_name = all.profile.kernel_release = all.profile.architecture = c_hostile;
    all.profile.errors = {{4096, c_hostile}};
    all.modules = {module(c_hostile, ModuleStatus::resolved, 70),
                   module("", ModuleStatus::unproven, 10), module("/m", ModuleStatus::missing, 9),
                   module("[vdso]", ModuleStatus::not_a_file, 4),
                   module("/g", ModuleStatus::unsupported, 2)};
    all.modules[0].module.build_id.assign(64, 0xab);
    all.modules[0].binary = all.modules[0].supplementary = found(c_hostile);
    all.modules[0].symbols =
        rejected({candidate(c_hostile, c_hostile, {IdentityKind::none, c_hostile, c_hostile})});
    all.modules[0].split_dwarf =
        SplitResolution{3, 1, found(c_hostile), {{c_hostile, {1, 2}, rejected({})}}, c_hostile};
    all.modules[0].sources_error = c_hostile;
    all.modules[1].binary = found("/usr/lib/a.so");
    all.modules[0].binary->warning = c_hostile;
    all.modules[1].binary->confidence = cfPolicyLow;
    all.modules[2].binary = FileResolution{};
    all.modules[4].module.mount_namespace = 4026531840;
    all.sources = {{c_hostile, c_hostile, found("/s.c")}, {"t.c", "/m", FileResolution{}}};
    all.learned = {{c_hostile, ""}};
    return all;
}

std::string page(std::vector<ProfileResolution> const& resolutions) {
    std::ostringstream out;
    writeHtml(out, resolutions);
    return out.str();
}

std::string between(std::string const& text, std::string const& from, std::string const& to) {
    std::size_t const begin = text.find(from) + from.size();
    return text.substr(begin, text.find(to, begin) - begin);
}

} // namespace

TEST(JsonReport, EveryDocumentIsAsItsSchemaSays) {
    EXPECT_EQ(violations(toJson(ProfileResolution{})), "");
    ProfileResolution one = everything();
    EXPECT_EQ(violations(toJson(one)), "");
    json broken = json::parse(toJson(one));
    broken["modules"][0]["binary"]["path"] = nullptr;
    EXPECT_NE(violations(broken.dump()), "") << "a file that was found has a path";
    one.profile.has_samples = false;
    for (auto const& [kind, word] : c_identityKinds) {
        one.modules[0].binary->identity.kind = kind;
        EXPECT_EQ(violations(toJson(one)), "") << word;
    }
    for (unsigned step = ssArchiveSearchDirs; step <= ssCacheSearchDir; step <<= 1) {
        one.modules[0].binary->step = static_cast<search_step_t>(step);
        EXPECT_EQ(violations(toJson(one)), "") << step;
    }
}

/// The words of an enumeration, as a document's member may have them.
template <class Value, std::size_t n>
std::set<std::string> wordsOf(Word<Value> const (&words)[n], bool orNull = false) {
    std::set<std::string> result;
    for (Word<Value> const& word : words)
        result.emplace(word.text);
    if (orNull)
        result.insert("null");
    return result;
}

TEST(Words, AreThoseOfTheSchemaAndTheDocuments) {
    json const schema = json::parse(contentOf(DOCUMENTS "/resolve.schema.json"));
    auto const allowed = [&](std::string const& member) {
        std::set<std::string> result;
        for (json const& each : schema.at(json::json_pointer(member + "/enum")))
            result.insert(each.is_null() ? "null" : each.get<std::string>());
        return result;
    };
    std::set<std::string> formatWords{"null"};
    for (FormatName const& format : formats())
        formatWords.insert(format.word);
    std::string const definitions = "/definitions/";
    EXPECT_EQ(allowed("/properties/format"), formatWords);
    EXPECT_EQ(allowed(definitions + "identity_kind"), wordsOf(c_identityKinds));
    EXPECT_EQ(allowed(definitions + "module/properties/kind"), wordsOf(c_moduleKinds));
    EXPECT_EQ(allowed(definitions + "module/properties/status"), wordsOf(c_moduleStatuses));
    EXPECT_EQ(allowed(definitions + "module/properties/level"), wordsOf(c_symbolLevels));
    EXPECT_EQ(allowed(definitions + "file/properties/place"), wordsOf(c_places, true));
    EXPECT_EQ(allowed(definitions + "file/properties/step"), wordsOf(c_searchSteps, true));
    EXPECT_EQ(allowed(definitions + "file/properties/confidence"), wordsOf(c_confidences, true));

    std::string const html = page({});
    std::string const document = contentOf(DOCUMENTS "/json.md");
    // With the hyphens as troff wants them.
    std::string const manual = contentOf(DOCUMENTS "/man/lokata.1");
    auto const isIn = [](std::string const& text, std::string const& word) {
        return text.find(word) != std::string::npos;
    };
    for (std::set<std::string> const& words :
         {wordsOf(c_identityKinds), wordsOf(c_moduleKinds), wordsOf(c_moduleStatuses),
          wordsOf(c_symbolLevels), wordsOf(c_places), wordsOf(c_searchSteps),
          wordsOf(c_confidences), wordsOf(c_severities)})
        for (std::string const& word : words)
            EXPECT_TRUE(isIn(document, "`" + word + "`")) << word;
    for (std::set<std::string> const& words : {wordsOf(c_moduleStatuses), wordsOf(c_symbolLevels)})
        for (std::string const& word : words)
            EXPECT_TRUE(isIn(html, "[data-status=\"" + word + "\"]") &&
                        std::regex_search(html, std::regex("\n    \"?" + word + "\"?: \\{ mark: ")))
                << word << " has a colour and a mark";
    formatWords.erase("null");
    for (std::string const& word : formatWords) {
        EXPECT_TRUE(isIn(document, "`" + word + "`")) << word;
        EXPECT_TRUE(isIn(manual, std::regex_replace(word, std::regex("-"), "\\-"))) << word;
    }
}

TEST(JsonReport, TellsWhatWasFoundAndWhatWasRejectedWithExpectedAndActual) {
    ProfileResolution resolution = everything();
    resolution.modules[2].binary =
        rejected({candidate("/opt/m", "rebuilt", {IdentityKind::build_id, "00ff", "0100"})});
    resolution.modules[1].binary->unpacked_from.emplace("/usr/lib/a.so.xz");
    json const document = json::parse(toJson(resolution));
    EXPECT_EQ(document["modules"][1]["binary"],
              json::parse(R"({"path": "/usr/lib/a.so", "unpacked_from": "/usr/lib/a.so.xz",
                  "confidence": "cfPolicyLow",
                  "step": "ssHighPrioritySearchDirs", "place": "search-step", "reason": null,
                  "warning": null,
                  "identity": {"kind": "build-id", "expected": "00ff", "actual": "00ff"},
                  "rejected": [], "elapsed_us": 0})"));
    EXPECT_EQ(document["modules"][2]["binary"],
              json::parse(R"({"path": null, "unpacked_from": null, "confidence": null,
                  "step": null, "place": null,
                  "reason": "/opt/m: rebuilt", "warning": null,
                  "identity": {"kind": "build-id", "expected": "00ff", "actual": null},
                  "rejected": [{"path": "/opt/m", "severity": "svError", "message": "rebuilt",
                                "step": "ssArchiveSearchDirs", "kind": "build-id",
                                "expected": "00ff", "actual": "0100"}], "elapsed_us": 0})"));
    EXPECT_TRUE(document["modules"][3]["binary"].is_null());
}

TEST(JsonReport, CountsSamplesByStatusAndLeavesThemOutWhereNoneWereTaken) {
    ProfileResolution resolution = everything();
    json const with = json::parse(toJson(resolution))["summary"];
    EXPECT_EQ(with["samples"], 100);
    EXPECT_EQ(with["resolved"], json({{"modules", 1}, {"samples", 70}}));
    resolution.profile.has_samples = false;
    json const without = json::parse(toJson(resolution));
    EXPECT_TRUE(without["summary"]["samples"].is_null());
}

TEST(JsonReport, MarksTextsThatAreEscapedAndOnlyThose) {
    ProfileResolution resolution = everything();
    resolution.modules[1].module.name = "/opt/\xc3\xa4 <b>/lib.so";
    json const document = json::parse(toJson(resolution));
    json const& hostile = document["modules"][0];
    EXPECT_EQ(hostile["name"], "/x/</script><!--<script>\"'&\\x0a\\x1b[31m\\xff\\xe2\\x80\\xae"
                               "\\x5cu003c<!--documents-->");
    EXPECT_EQ(hostile["name_escaped"], true);
    EXPECT_EQ(hostile["symbols"]["rejected"][0]["actual_escaped"], true);
    EXPECT_EQ(document["modules"][1]["name"], "/opt/\xc3\xa4 <b>/lib.so");
    EXPECT_FALSE(document["modules"][1].contains("name_escaped"));
    EXPECT_THAT(toJson(resolution), Not(HasSubstr("\n")));
}

TEST(Reasons, AnotherIdentityTellsMoreThanAFileThatIsNotThere) {
    auto const absent = candidate("/a", "\"/a\" does not exist.");
    auto const unreadable = candidate("/b", "no ELF file", {IdentityKind::build_id, "00", ""});
    auto const rebuilt = candidate("/c", "rebuilt", {IdentityKind::build_id, "00", "01"});
    EXPECT_EQ(missingReason(rejected({absent, unreadable, rebuilt, absent})), "/c: rebuilt");
    EXPECT_EQ(missingReason(rejected({absent, unreadable})), "/b: no ELF file");
    EXPECT_EQ(missingReason(rejected({absent})), "\"/a\" does not exist.");
    EXPECT_EQ(mostTellingRejection(rejected({})), nullptr);
    EXPECT_EQ(missingReason(found("/c")), "");
}

TEST(Reasons, SymbolsThatLackPartOfThemselvesAreNotFoundWithoutAWord) {
    ModuleResolution whole = module("/m", ModuleStatus::resolved, 1);
    whole.symbols = whole.supplementary = found("/m.debug");
    whole.split_dwarf = SplitResolution{2, 2, found("/m.dwp"), {}, ""};
    EXPECT_EQ(symbolsReason(whole), "");
    ModuleResolution part = whole;
    part.supplementary = rejected({candidate("/c", "rebuilt")});
    EXPECT_THAT(symbolsReason(part),
                HasSubstr("supplementary file that the symbols need was not found. /c: rebuilt"));
    part = whole;
    part.is_supplementary_unknown = true;
    EXPECT_THAT(symbolsReason(part), StartsWith("Which supplementary file the symbols need"));
    part = whole;
    part.split_dwarf->found_units = 1;
    part.split_dwarf->files = {{"/\x1b.dwo", {1}, rejected({})}};
    EXPECT_THAT(symbolsReason(part),
                AllOf(HasSubstr("1 of 2 units"), HasSubstr("\"/\\x1b.dwo\". No")));
    part = whole;
    part.split_dwarf->error = "cut";
    EXPECT_THAT(symbolsReason(part), HasSubstr("cannot be told: cut."));
}

TEST(HtmlReport, HoldsTheDocumentsUnchangedWhateverTheyName) {
    std::vector<ProfileResolution> const resolutions{everything(), ProfileResolution{}};
    std::string const data = between(page(resolutions), "id=\"documents\">", "</script>");
    EXPECT_THAT(data, Not(HasSubstr("<")));
    EXPECT_EQ(json::parse(data),
              json({json::parse(toJson(resolutions[0])), json::parse(toJson(resolutions[1]))}));
    EXPECT_EQ(json::parse(between(page({}), "id=\"documents\">", "</script>")), json::array());
}

TEST(HtmlReport, HasEveryTextThatItAsksForAndNoWordOfTheCode) {
    for (char const* const language : {"C", "de_DE.UTF-8"}) {
        if (std::setlocale(LC_MESSAGES, language) == nullptr)
            GTEST_SKIP() << language << " is not installed";
        std::string const text = page({});
        std::setlocale(LC_MESSAGES, "C");
        bool const isGerman = std::string(language) != "C";
        EXPECT_THAT(text, HasSubstr(isGerman ? "<html lang=\"de\">" : "<html lang=\"en\">"));
        EXPECT_THAT(text, HasSubstr(isGerman ? ">Quelldateien</h2>" : ">Source files</h2>"));
        json const texts = json::parse(between(text, "id=\"texts\">", "</script>"));
        for (json const& each : texts)
            EXPECT_FALSE(std::regex_search(each.get<std::string>(),
                                           std::regex("\\b(ss|cf|sv)[A-Z]|^%|\\[\\[")))
                << each;
        std::regex const asked("\\bT\\(\"(\\w+)\"[,)]");
        for (std::sregex_iterator each(text.begin(), text.end(), asked), end; each != end; ++each)
            EXPECT_TRUE(texts.contains((*each)[1].str())) << (*each)[1];
        for (auto const& step : c_searchSteps)
            EXPECT_TRUE(texts.contains("Step" + std::string(step.text.substr(2)))) << step.text;
    }
}

TEST(HtmlReport, NeedsNothingButItselfAndTakesNoForeignTag) {
    std::string const text = page({everything()});
    for (char const* const foreign : {"://", "src=", "url(", "@report_", "</script><!--"})
        EXPECT_THAT(text, Not(HasSubstr(foreign)));
    EXPECT_THAT(text, HasSubstr("default-src 'none'"));
}
