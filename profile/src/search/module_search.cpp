#include "search/module_search.h"

#include "read/names.h"
#include "read/reasons.h"
#include "search/elapsed.h"
#include "search/log.h"
#include "search/search_overlay.h"

#include <lokata2/utils.h>
#include <toolbelt2/hex.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <system_error>
#include <utility>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

char const* textOrNull(std::string const& text) {
    return text.empty() ? nullptr : text.c_str();
}

std::vector<Candidate> joined(std::vector<Candidate> first, std::vector<Candidate> second) {
    std::move(second.begin(), second.end(), std::back_inserter(first));
    return first;
}

Place placeOf(std::string const& path, std::vector<Candidate> const& candidates) {
    for (Candidate const& candidate : candidates)
        if (utils::getCanonicalName(candidate.path.c_str(), false) == path)
            return candidate.place;
    return Place::search_step;
}

/// What led to a candidate, for a person.
std::string_view placeOrStep(std::string const& path, search_step_t step,
                             std::vector<Candidate> const& suggestions) {
    return step == ssAskUser ? wordOf(c_places, placeOf(path, suggestions)) : stepName(step);
}

bool isRejected(std::string const& path, FileResolution const& file) {
    return std::any_of(
        file.rejected.begin(), file.rejected.end(),
        [&](JudgedCandidate const& rejected) { return rejected.path == path; });
}

void takeCopy(UnpackedCopy const& copy, FileResolution& result) {
    result.path = copy.path;
    result.unpacked_from = copy.packed;
    result.stamp.reset();
    if (copy.stamp)
        result.stamp = *copy.stamp;
}

void accept(IValidFile const& file, IdentityValidator const& validator,
            std::vector<Candidate> const& suggestions, FileResolution& result) {
    JudgedCandidate const* const verdict = validator.verdictOn(file.name());
    UnpackedCopy const* const copy = validator.copyOf(file.name());
    result.path = file.name();
    result.confidence = file.confidence();
    result.step = file.searchStep();
    if (result.step == ssAskUser)
        result.place = placeOf(copy == nullptr ? result.path : copy->packed, suggestions);
    result.identity = verdict == nullptr ? Identity() : verdict->identity;
    if (verdict != nullptr && verdict->stamp)
        result.stamp = *verdict->stamp;
    if (copy != nullptr)
        takeCopy(*copy, result);
    if (verdict != nullptr && !verdict->message.empty())
        result.warning = verdict->message;
    LOKATA_PROFILE_LOG(displayName(result.path)
                       << " [" << placeOrStep(result.path, result.step, suggestions) << "] "
                       << (result.confidence == cfValidated
                               ? "proven: " +
                                     std::string(wordOf(c_identityKinds, result.identity.kind)) +
                                     " " + displayName(result.identity.expected)
                               : "unproven: " + reasonText(ReasonKey::unproven)));
}

void addRejected(IInvalidFile const& file, JudgedCandidate const* verdict,
                 std::vector<Candidate> const& suggestions, FileResolution& result) {
    bool const hasMessage = *file.errorMessage() != '\0';
    // The library gives no reason for a directory, which in the place of a suggestion is no
    // finding.
    bool const isDirectory = !hasMessage && verdict == nullptr;
    if (isRejected(file.name(), result) || (isDirectory && file.searchStep() == ssAskUser))
        return;
    JudgedCandidate rejected;
    rejected.path = file.name();
    rejected.result = verdict == nullptr ? vrInvalid : verdict->result;
    if (verdict != nullptr) {
        rejected.identity = verdict->identity;
        rejected.lacks_debug_info = verdict->lacks_debug_info;
        rejected.stamp = verdict->stamp;
    }
    rejected.severity = file.severity();
    rejected.step = file.searchStep();
    rejected.message =
        hasMessage ? file.errorMessage()
                   : reasonText(isDirectory ? ReasonKey::is_directory : ReasonKey::not_proven,
                                {file.name()});
    LOKATA_PROFILE_LOG(displayName(rejected.path)
                       << " [" << placeOrStep(rejected.path, rejected.step, suggestions)
                       << "] rejected: " << displayName(rejected.message));
    result.rejected.push_back(std::move(rejected));
}

/// Candidates of which a search cannot tell whether they are there: it passes over them as over
/// those that are not.
void addUnread(std::vector<Candidate> const& suggestions, FileResolution& result) {
    for (Candidate const& candidate : suggestions) {
        std::string const path = utils::getCanonicalName(candidate.path.c_str(), false);
        std::error_code const error = whyUntold(path);
        if (!error || isRejected(path, result))
            continue;
        JudgedCandidate unread;
        unread.message = reasonText(ReasonKey::place_unread, {path, error.message()});
        unread.path = path;
        unread.result = vrInvalid;
        unread.severity = svError;
        result.rejected.push_back(std::move(unread));
    }
}

/// Those that another candidate was preferred to.
void logUnchosen(std::vector<JudgedCandidate> const& judged, std::size_t first,
                 std::vector<Candidate> const& suggestions, FileResolution const& result) {
    for (std::size_t i = first; i < judged.size(); ++i) {
        JudgedCandidate const& candidate = judged[i];
        bool const isChosen = candidate.path == result.path ||
                              (result.unpacked_from && candidate.path == *result.unpacked_from);
        if (!isChosen && !isRejected(candidate.path, result))
            LOKATA_PROFILE_LOG(displayName(candidate.path)
                               << " [" << wordOf(c_places, placeOf(candidate.path, suggestions))
                               << "] not chosen: "
                               << (candidate.result == vrValid ? "another file was preferred"
                                                               : "nothing in it was compared"));
    }
}

Identity expectedIdentity(BuildId const& buildId) {
    if (buildId.empty())
        return {};
    return {IdentityKind::build_id, toHex(buildId), ""};
}

Identity expectedIdentity(BuildId const& buildId, BinaryClues const& clues) {
    if (!buildId.empty() || !clues.debug_id)
        return expectedIdentity(buildId);
    return {IdentityKind::debug_id, toHex(*clues.debug_id), ""};
}

Identity expectedIdentity(SourceIdentity const& source) {
    if (!source.md5)
        return {};
    return {IdentityKind::source_md5, toolbelt2::to_hex(*source.md5), ""};
}

/// What is left of candidates for a second search. A verdict does not change within a run.
std::vector<Candidate> unjudged(std::vector<Candidate> candidates, FileResolution const& file) {
    candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                    [&](Candidate const& each) {
                                        return isRejected(
                                            utils::getCanonicalName(each.path.c_str(), false),
                                            file);
                                    }),
                     candidates.end());
    return candidates;
}

} // namespace

ModuleSearch::ModuleSearch(ObjectPtr<ISearchEnv> const& environment, SearchSupport& support,
                           SearchSettings const& settings)
    : m_support(support)
    , m_client(environment)
    , m_profile(settings.profile)
    , m_copies(environment.get(), support.digests)
    , m_names(environment.get())
    , m_environment(new OverlaidEnvironment(environment,
                                            settings.use_index ? &support.directories : nullptr,
                                            settings.kernel_release))
    , m_search(IFileSearch::create(ObjectPtr<ISearchEnv>(m_environment))) {}

ModuleSearch::~ModuleSearch() = default;

/// The copies for this name, which the validator then tells from those for others.
std::vector<Candidate> ModuleSearch::findInArchives(search_category_t category,
                                                    std::string const& name, BuildId const& buildId,
                                                    std::vector<std::string> const& files,
                                                    IdentityValidator& validator) {
    OwnCopies own = m_names.ownCopies({category, name, buildId, m_profile}, bareNames(files));
    std::vector<Candidate> result;
    for (std::string const& path : own.paths())
        result.push_back({path, Place::archive_name});
    validator.setOwnCopies(std::move(own));
    return result;
}

/// Most places hold nothing, and a search asks for each of its suggestions several times.
std::vector<Candidate> ModuleSearch::present(std::vector<Candidate> candidates,
                                             FileResolution& result) {
    std::vector<Candidate> found;
    for (Candidate const& candidate : candidates)
        if (m_support.paths.leadsAnywhere(candidate.path))
            found.push_back(candidate);
    if (candidates.empty())
        return found;
    auto& suggested = result.suggested ? *result.suggested : result.suggested.emplace();
    std::move(candidates.begin(), candidates.end(), std::back_inserter(suggested));
    if (result.steps.list().empty())
        result.suggested_before_steps = static_cast<std::uint32_t>(suggested.size());
    return found;
}

template <class Find>
void ModuleSearch::run(FileResolution& result, std::vector<Candidate> suggestions,
                       IdentityValidator& validator, Find const& find, bool runSteps) {
    auto const start = std::chrono::steady_clock::now();
    CallbackRecord& record = m_environment->record;
    record = CallbackRecord();
    record.run_steps = runSteps;
    record.suggestions = std::move(suggestions);
    std::size_t const firstJudged = validator.judged().size();
    validator.setArchives(m_copies);
    validator.setTrees(m_support.places.trees());
    ObjectPtr<IValidFile> const file = find();
    for (ObjectPtr<IInvalidFile> const& rejected : record.rejected)
        addRejected(*rejected, validator.verdictOn(rejected->name()), record.suggestions, result);
    if (file)
        accept(*file, validator, record.suggestions, result);
    else
        addUnread(record.suggestions, result);
    if (isLogOn())
        logUnchosen(validator.judged(), firstJudged, record.suggestions, result);
    for (search_step_t const step : record.steps)
        result.steps.add(step);
    result.elapsed_us += microsecondsSince(start);
}

FileResolution ModuleSearch::findBinary(std::string const& name, BuildId const& buildId,
                                        std::vector<Candidate> const& hints,
                                        BinaryClues const& clues) {
    FileResolution result;
    result.identity = expectedIdentity(buildId, clues);
    std::string const searched = searchableName(name);
    bool const isNamed = !searched.empty() || !buildId.empty();
    if (!isNamed && hints.empty())
        return result;
    // Without anything to ask for, the hints alone are worth a look.
    std::string const asked =
        isNamed ? askedName(searched, buildId) : utils::getFileNameOnly(hints.front().path.c_str());
    BinaryValidator validator(m_support.elf, buildId, clues);
    std::vector<Candidate> const archived =
        findInArchives(scBinaryFiles, name, buildId, {asked}, validator);
    auto const find = [&] { return m_search->findBinFile(asked.c_str(), &validator, nullptr, 0); };
    run(result, present(joined(joined(hints, m_support.places.binary(searched)), archived), result),
        validator, find, isNamed);
    // Copies by build-id come last: a file that lies where somebody put it says more to a person,
    // and a rebuilt namesake shall be met.
    if (!result.found())
        tryBinary(name, buildId, m_support.places.storedBinary(searched, buildId), result, clues);
    return result;
}

void ModuleSearch::tryBinary(std::string const& name, BuildId const& buildId,
                             std::vector<Candidate> candidates, FileResolution& result,
                             BinaryClues const& clues) {
    candidates = present(unjudged(std::move(candidates), result), result);
    if (candidates.empty())
        return;
    BinaryValidator validator(m_support.elf, buildId, clues);
    auto const find = [&] {
        return m_search->findBinFile(askedName(searchableName(name), buildId).c_str(), &validator,
                                     nullptr, 0);
    };
    run(result, std::move(candidates), validator, find, false);
}

FileResolution ModuleSearch::findSymbols(std::string const& name, std::string const& binaryPath,
                                         BuildId const& buildId,
                                         std::vector<Candidate> const& hints) {
    SymbolOwner const owner = symbolOwner(m_support.elf, binaryPath, buildId);
    std::string const checksum = toHex(owner.build_id);
    std::string const searched = searchableName(name);
    std::vector<Candidate> suggestions = joined(
        hints, m_support.places.symbols(searched, binaryPath, owner.build_id, owner.debug_link));

    FileResolution result;
    result.identity = expectedIdentity(buildId);
    SymbolValidator validator(m_support.elf, owner);
    std::vector<std::string> const names = symbolFileNames(
        searched, m_environment->hasDirectories(scSymbolFiles) ? owner.build_id : BuildId(),
        owner.debug_link);
    suggestions = joined(std::move(suggestions),
                         findInArchives(scSymbolFiles, name, owner.build_id, names, validator));
    suggestions = present(std::move(suggestions), result);
    for (std::string const& each : names) {
        run(result, std::exchange(suggestions, {}), validator, [&] {
            return m_search->findSymFile(each.c_str(), textOrNull(binaryPath), textOrNull(checksum),
                                         &validator, nullptr, nullptr);
        });
        if (result.found())
            return result;
    }
    trySymbols(name, binaryPath, buildId, m_support.places.storedSymbols(searched, owner.build_id),
               result);
    return result;
}

void ModuleSearch::trySymbols(std::string const& name, std::string const& binaryPath,
                              BuildId const& buildId, std::vector<Candidate> candidates,
                              FileResolution& result) {
    candidates = present(unjudged(std::move(candidates), result), result);
    if (candidates.empty())
        return;
    SymbolOwner const owner = symbolOwner(m_support.elf, binaryPath, buildId);
    std::string const checksum = toHex(owner.build_id);
    std::string const asked = askedName(searchableName(name), owner.build_id);
    SymbolValidator validator(m_support.elf, owner);
    auto const find = [&] {
        return m_search->findSymFile(asked.c_str(), textOrNull(binaryPath), textOrNull(checksum),
                                     &validator, nullptr, nullptr);
    };
    run(result, std::move(candidates), validator, find, false);
}

std::optional<confidence_t> ModuleSearch::unprovenConfidence(search_category_t category,
                                                             search_step_t step) const {
    CallbackAccessor<IConfidenceLevelPolicyCallback> const accessor(
        *m_environment->confidenceLevelPolicyCallback());
    IConfidenceLevelPolicyCallback* const policy = accessor.get();
    switch (policy == nullptr ? clAccept : policy->getConfidenceLevel(category, step)) {
    case clReject:
        return std::nullopt;
    case clAcceptLow:
        return cfPolicyLow;
    default:
        return cfPolicyHigh;
    }
}

/// Whatever the order of the candidates, names are better than what the dynamic linker needs.
void ModuleSearch::takeSymbolTable(FileResolution& symbols) {
    auto best = symbols.rejected.end();
    for (auto each = symbols.rejected.begin(); each != symbols.rejected.end(); ++each) {
        if (!each->lacks_debug_info)
            continue;
        SymbolTables const tables = m_support.symbolTables(each->path);
        if (tables.has_names || (tables.has_exports && best == symbols.rejected.end()))
            best = each;
        if (tables.has_names)
            break;
    }
    if (best == symbols.rejected.end())
        return;
    symbols.path = best->path;
    symbols.confidence = cfValidated;
    symbols.step = best->step;
    if (best->step == ssAskUser && symbols.suggested)
        symbols.place = placeOf(best->path, *symbols.suggested);
    symbols.identity = best->identity;
    if (best->stamp)
        symbols.stamp = *best->stamp;
    LOKATA_PROFILE_LOG(displayName(symbols.path) << " taken for its symbol table");
    symbols.rejected.erase(best);
}

Boxed<FileResolution> ModuleSearch::findSupplementary(std::string const& symbolPath) {
    auto const facts = m_support.elf.facts(symbolPath);
    if (!facts->alt_link)
        return std::nullopt;
    AltLink const& link = *facts->alt_link;
    SupplementaryValidator validator(m_support.elf, link.build_id);
    return findPart({supplementaryFileName(link)}, symbolPath,
                    m_support.places.supplementary(symbolPath, link),
                    expectedIdentity(link.build_id), validator);
}

void ModuleSearch::trySupplementary(std::string const& symbolPath,
                                    std::vector<Candidate> candidates, FileResolution& result) {
    auto const facts = m_support.elf.facts(symbolPath);
    if (!facts->alt_link)
        return;
    SupplementaryValidator validator(m_support.elf, facts->alt_link->build_id);
    tryPart(supplementaryFileName(*facts->alt_link), symbolPath, std::move(candidates), validator,
            result);
}

FileResolution ModuleSearch::findPart(std::vector<std::string> const& names,
                                      std::string const& owner, std::vector<Candidate> candidates,
                                      Identity expected, IdentityValidator& validator) {
    FileResolution result;
    result.identity = std::move(expected);
    candidates = present(std::move(candidates), result);
    for (std::string const& name : names) {
        run(result, std::exchange(candidates, {}), validator, [&] {
            return m_search->findSymFile(name.c_str(), owner.c_str(),
                                         textOrNull(result.identity.expected), &validator, nullptr,
                                         nullptr);
        });
        if (result.found())
            break;
    }
    return result;
}

void ModuleSearch::tryPart(std::string const& name, std::string const& owner,
                           std::vector<Candidate> candidates, IdentityValidator& validator,
                           FileResolution& result) {
    candidates = present(unjudged(std::move(candidates), result), result);
    if (candidates.empty())
        return;
    auto const find = [&] {
        return m_search->findSymFile(name.c_str(), owner.c_str(),
                                     textOrNull(result.identity.expected), &validator, nullptr,
                                     nullptr);
    };
    run(result, std::move(candidates), validator, find, false);
}

FileResolution ModuleSearch::findSource(WantedSource const& source, BuildId const& module) {
    FileResolution result;
    result.identity = expectedIdentity(source.file.identity);
    std::string const searched = searchableName(source.file.name);
    if (searched.empty())
        return result;
    SourceValidator validator(source.file.identity, source.oldest_binary);
    std::vector<Candidate> const archived =
        findInArchives(scSourceFiles, source.file.name, module, {searched}, validator);
    auto const suggestions = present(joined(m_support.places.source(searched), archived), result);
    run(result, suggestions, validator, [&] {
        return m_search->findSrcFile(searched.c_str(), textOrNull(source.binary),
                                     textOrNull(result.identity.expected), &validator, nullptr);
    });
    if (!result.found())
        trySource(source, m_support.places.storedSource(searched, module), result);
    return result;
}

void ModuleSearch::trySource(WantedSource const& source, std::vector<Candidate> candidates,
                             FileResolution& result) {
    candidates = present(unjudged(std::move(candidates), result), result);
    if (candidates.empty())
        return;
    std::string const checksum = expectedIdentity(source.file.identity).expected;
    SourceValidator validator(source.file.identity, source.oldest_binary);
    auto const find = [&] {
        return m_search->findSrcFile(searchableName(source.file.name).c_str(),
                                     textOrNull(source.binary), textOrNull(checksum), &validator,
                                     nullptr);
    };
    run(result, std::move(candidates), validator, find, false);
}

std::vector<Candidate> ModuleSearch::scannedFiles(BuildId const& buildId, bool withPacked) {
    TreeRoots const trees = elfTrees(m_client.get(), m_support.scan.options());
    return m_support.scan.files(trees, buildId, withPacked);
}

std::vector<Candidate> ModuleSearch::scannedSources(SourceFile const& source) {
    if (!source.identity.md5)
        return {};
    auto const& md5 = *source.identity.md5;
    return m_support.scan.sources(sourceTrees(m_client.get()),
                                  utils::getFileNameOnly(source.name.c_str()),
                                  {reinterpret_cast<char const*>(md5.data()), md5.size()});
}

} // namespace lokata::profile
