#include <lokata/profile/resolver.h>

#include "read/hashed_indices.h"
#include "read/profile_builder.h"
#include "resolve/parallel.h"
#include "resolve/profile_id.h"
#include "resolve/profile_search.h"
#include "search/elapsed.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <map>
#include <memory>
#include <utility>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

/// A module that is the same file as one before it, whatever else was recorded of the two.
struct Repeat {
    std::size_t index;
    std::size_t equal; ///< The first of that file.
};

/// In the order of the modules.
std::vector<Repeat> repeatsOf(std::vector<ModuleResolution> const& modules) {
    std::vector<Repeat> result;
    HashedIndices known;
    for (std::size_t i = 0; i < modules.size(); ++i) {
        ModuleKey const key = keyOf(modules[i].module);
        std::size_t const hash = hashOf(key);
        std::uint32_t const equal = known.find(
            hash, [&](std::uint32_t index) { return keyOf(modules[index].module) == key; });
        if (equal == HashedIndices::c_none)
            known.add(hash, i);
        else
            result.push_back({i, equal});
    }
    return result;
}

/// Puts together what is one file for several questions about one name.
void mergeEqual(std::vector<SourceQuestion> const& questions,
                std::vector<SourceResolution>& answers) {
    std::vector<SourceResolution> merged;
    std::map<std::pair<std::size_t, std::string>, std::size_t> known;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        SourceResolution& answer = answers[i];
        if (answer.file.found()) {
            auto const [equal, isNew] =
                known.emplace(std::pair(questions[i].entry, answer.file.path), merged.size());
            if (!isNew) {
                auto& ids = merged[equal->second].module_build_ids;
                ids.insert(ids.end(), answer.module_build_ids.begin(),
                           answer.module_build_ids.end());
                auto& modules = merged[equal->second].modules;
                std::vector<std::uint32_t> const former = std::exchange(modules, {});
                std::set_union(former.begin(), former.end(), answer.modules.begin(),
                               answer.modules.end(), std::back_inserter(modules));
                continue;
            }
        }
        merged.push_back(std::move(answer));
    }
    answers = std::move(merged);
}

} // namespace

class __attribute__((visibility("hidden"))) Resolver::Impl {
public:
    Impl(ObjectPtr<ISearchEnv> const& environment, PlaceOptions places)
        : m_environment(environment), m_support(std::move(places)) {}

    void setThreads(std::size_t threads) { m_threads = threads; }

    ProfileResolution resolve(Profile profile, std::string input, Progress const& progress);
    void findSources(ProfileResolution& resolution, Progress const& progress);

private:
    template <class Work>
    std::size_t searchAll(std::size_t count, ProfileSearch& search, Progress const& progress,
                          bool& isCancelled, Work const& work);

    ObjectPtr<ISearchEnv> m_environment;
    SearchSupport m_support;
    std::size_t m_threads = 1;
};

namespace {

/// No name is held twice, and the list of the profile is gone before the searches begin.
void takeModules(ProfileResolution& resolution) {
    std::vector<Module> modules = std::exchange(resolution.profile.modules, {});
    resolution.modules.resize(modules.size());
    for (std::size_t i = 0; i < modules.size(); ++i)
        resolution.modules[i].module = std::move(modules[i]);
}

} // namespace

/// Does `work` for each index with a search like `search`. Gives how many from the first on are
/// done.
template <class Work>
std::size_t Resolver::Impl::searchAll(std::size_t count, ProfileSearch& search,
                                      Progress const& progress, bool& isCancelled,
                                      Work const& work) {
    auto const makeWorker = [&]() -> Worker {
        if (m_threads < 2)
            return [&](std::size_t i) { work(search, i); };
        return [&, own = std::make_shared<ProfileSearch>(search)](std::size_t i) { work(*own, i); };
    };
    auto const tell = [&](std::size_t done, std::size_t total) {
        isCancelled = progress && !progress(done, total);
        return !isCancelled;
    };
    return doInParallel(count, m_threads, makeWorker, tell);
}

ProfileResolution Resolver::Impl::resolve(Profile profile, std::string input,
                                          Progress const& progress) {
    auto const start = std::chrono::steady_clock::now();
    ProfileResolution result;
    result.input = std::move(input);
    result.profile_id = profileId(profile);
    result.profile = std::move(profile);
    takeModules(result);
    std::vector<Repeat> const repeats = repeatsOf(result.modules);

    ProfileSearch search(m_environment, m_support, result);
    std::vector<bool> isRepeat(result.modules.size());
    for (Repeat const& each : repeats)
        isRepeat[each.index] = true;
    std::size_t const done = searchAll(result.modules.size(), search, progress, result.cancelled,
                                       [&](ProfileSearch& each, std::size_t i) {
                                           if (!isRepeat[i])
                                               each.resolve(result.modules[i]);
                                       });
    result.modules.resize(done);
    // What was found teaches only when all have been asked, so that no answer depends on the order
    // of the modules.
    if (m_support.places.options().learn_paths && !result.cancelled) {
        for (ModuleResolution const& module : result.modules)
            search.learn(module);
        for (ModuleResolution& module : result.modules) {
            if (search.learned().empty())
                break;
            search.tryLearned(module);
        }
    }
    for (ModuleResolution& module : result.modules) {
        if (!result.cancelled)
            search.scan(module);
        search.conclude(module);
    }
    auto const end =
        std::lower_bound(repeats.begin(), repeats.end(), done,
                         [](Repeat const& each, std::size_t index) { return each.index < index; });
    std::for_each(repeats.begin(), end, [&](Repeat const& each) {
        ModuleResolution& module = result.modules[each.index];
        Module own = std::move(module.module);
        module = result.modules[each.equal];
        module.module = std::move(own);
    });
    result.learned = search.learned().substitutions();
    result.elapsed_us = microsecondsSince(start);
    return result;
}

void Resolver::Impl::findSources(ProfileResolution& resolution, Progress const& progress) {
    auto const start = std::chrono::steady_clock::now();
    ProfileSearch search(m_environment, m_support, resolution);
    SourceList const list(resolution, m_support.elf);
    for (ModuleResolution& module : resolution.modules)
        module.sources_error = list.errorOf(module);
    auto const questions =
        list.questions([&](std::string const& name) { return search.archivedSources(name); });
    resolution.sources.clear();
    resolution.sources.resize(questions.size());
    std::size_t const done =
        searchAll(questions.size(), search, progress, resolution.cancelled,
                  [&](ProfileSearch& each, std::size_t i) {
                      SourceQuestion const& question = questions[i];
                      resolution.sources[i] = {question.source.file.name, question.module,
                                               each.findSource(question), question.build_ids,
                                               question.modules};
                  });
    resolution.sources.resize(done);
    if (m_support.places.options().learn_paths && !resolution.cancelled) {
        for (ModuleResolution const& module : resolution.modules)
            search.learn(module);
        for (SourceResolution const& source : resolution.sources)
            search.learn(source);
        for (std::size_t i = 0; i < resolution.sources.size(); ++i)
            search.tryLearned(questions[i], resolution.sources[i].file);
        resolution.learned = search.learned().substitutions();
    }
    for (std::size_t i = 0; i < resolution.sources.size() && !resolution.cancelled; ++i)
        search.scan(questions[i], resolution.sources[i].file);
    mergeEqual(questions, resolution.sources);
    resolution.elapsed_us += microsecondsSince(start);
}

Resolver::Resolver(ObjectPtr<ISearchEnv> const& environment, PlaceOptions places)
    : m_impl(std::make_unique<Impl>(environment, std::move(places))) {}

Resolver::~Resolver() = default;
Resolver::Resolver(Resolver&& other) noexcept = default;
Resolver& Resolver::operator=(Resolver&& other) noexcept = default;

ProfileResolution Resolver::resolve(Profile profile, std::string input, Progress const& progress) {
    return m_impl->resolve(std::move(profile), std::move(input), progress);
}

void Resolver::setThreads(std::size_t threads) {
    m_impl->setThreads(threads);
}

void Resolver::findSources(ProfileResolution& resolution, Progress const& progress) {
    m_impl->findSources(resolution, progress);
}

} // namespace lokata::profile
