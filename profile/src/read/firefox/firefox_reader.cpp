#include "read/firefox/firefox_tables.h"
#include "read/readers.h"
#include "read/text_lines.h"

#include <toolbelt2/text.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace lokata::profile {

namespace {

constexpr std::uint32_t c_noModule = ProfileBuilder::c_none;

/// 0 for texts that are none, as the names of functions of scripts.
std::uint64_t addressOf(std::string_view location) {
    bool const isAddress = toolbelt2::starts_with(location, "0x");
    return isAddress ? hexNumberOf(location).value_or(0) : 0;
}

/// Not the address of a page, nor of a file in a repository such as "hg:HOST:PATH:REVISION".
bool isPath(std::string_view file) {
    auto const colon = file.find(':');
    return colon == std::string_view::npos || colon < 2 || file.find('/') < colon;
}

/// The modules of a list of libraries, by index and by address.
class Libraries {
public:
    explicit Libraries(std::vector<FirefoxLibrary> const& list) : m_list(list) {
        std::copy_if(
            list.begin(), list.end(), std::back_inserter(m_mapped),
            [](FirefoxLibrary const& each) { return each.start < each.end; });
        std::stable_sort(m_mapped.begin(), m_mapped.end(),
                         [](FirefoxLibrary const& left, FirefoxLibrary const& right) {
                             return left.start < right.start;
                         });
    }

    std::uint32_t at(std::int64_t index) const {
        bool const isThere = index >= 0 && static_cast<std::uint64_t>(index) < m_list.size();
        return isThere ? m_list[static_cast<std::size_t>(index)].module : c_noModule;
    }
    std::uint32_t atAddress(std::uint64_t address) const {
        auto const after = std::upper_bound(
            m_mapped.begin(), m_mapped.end(), address,
            [](std::uint64_t value, FirefoxLibrary const& each) { return value < each.start; });
        bool const isInside = after != m_mapped.begin() && address < std::prev(after)->end;
        return isInside ? std::prev(after)->module : c_noModule;
    }

private:
    std::vector<FirefoxLibrary> const& m_list;
    std::vector<FirefoxLibrary> m_mapped; ///< Ascending.
};

/// Tables of a thread; those that it lacks are the shared ones.
class Tables {
public:
    Tables(FirefoxTables const& own, FirefoxTables const& shared, Libraries const& libraries)
        : m_own(own), m_shared(shared), m_libraries(libraries) {}

    Column const& column(Column FirefoxTables::*which) const {
        Column const& own = m_own.*which;
        return own.empty() ? m_shared.*which : own;
    }
    std::uint32_t moduleOfFrame(std::int64_t frame) const {
        auto module = moduleOfFunction(at(&FirefoxTables::frame_functions, frame));
        if (module == c_noModule)
            module = m_libraries.at(
                at(&FirefoxTables::symbol_libraries, at(&FirefoxTables::frame_symbols, frame)));
        if (module == c_noModule)
            module = m_libraries.atAddress(
                addressOf(textAt(at(&FirefoxTables::frame_locations, frame))));
        return module;
    }
    std::uint32_t moduleOfFunction(std::int64_t function) const {
        return m_libraries.at(at(&FirefoxTables::resource_libraries,
                                 at(&FirefoxTables::function_resources, function)));
    }
    std::string_view fileOfFunction(std::int64_t function) const {
        auto const source = at(&FirefoxTables::function_sources, function);
        return textAt(source < 0 ? at(&FirefoxTables::function_files, function)
                                 : at(&FirefoxTables::source_files, source));
    }

private:
    std::int32_t at(Column FirefoxTables::*which, std::int64_t row) const {
        return valueAt(column(which), row);
    }
    std::string_view textAt(std::int64_t index) const {
        return (m_own.texts.empty() ? m_shared.texts : m_own.texts).at(index);
    }

    FirefoxTables const& m_own;
    FirefoxTables const& m_shared;
    Libraries const& m_libraries;
};

/// Counts the samples over one table of stacks. It is a forest of calls, in which callers stand
/// before what they call, and a sample is of the path down to one of them.
class StackCounter {
public:
    StackCounter(Tables const& tables, ProfileBuilder& builder)
        : m_profile(builder.profile())
        , m_callers(tables.column(&FirefoxTables::stack_prefixes))
        , m_frames(tables.column(&FirefoxTables::stack_frames))
        , m_modules(m_frames.size())
        , m_weights(m_frames.size()) {
        std::transform(
            m_frames.begin(), m_frames.end(), m_modules.begin(),
            [&](std::int32_t frame) { return tables.moduleOfFrame(frame); });
    }

    void add(FirefoxThread const& thread) {
        m_profile.has_samples = true;
        auto const& stacks = thread.tables.sample_stacks;
        for (std::size_t i = 0; i < stacks.size(); ++i)
            if (stacks[i] >= 0 && static_cast<std::size_t>(stacks[i]) < m_weights.size())
                m_weights[static_cast<std::size_t>(stacks[i])] += weightOf(thread, i);
    }
    void count() {
        for (std::size_t i = 0; i < m_weights.size(); ++i)
            (m_modules[i] == c_noModule ? m_profile.unattributed_samples
                                        : m_profile.modules[m_modules[i]].samples) += m_weights[i];
        countCallers();
    }

private:
    /// A profile of bytes or of times counts its stacks.
    static std::uint64_t weightOf(FirefoxThread const& thread, std::size_t sample) {
        auto const& weights = thread.tables.sample_weights;
        if (!thread.weights_count || sample >= weights.size())
            return 1;
        return static_cast<std::uint64_t>(std::max(weights[sample], 0));
    }
    std::int64_t callerOf(std::size_t stack) const {
        auto const index = static_cast<std::int64_t>(stack);
        auto const caller = valueAt(m_callers, index);
        return caller < index ? caller : -1;
    }
    void countCallers();
    std::vector<std::uint64_t> weightsWithCallees() const;

    Profile& m_profile;
    Column const& m_callers;
    Column const& m_frames;
    std::vector<std::uint32_t> m_modules; ///< Of each stack.
    std::vector<std::uint64_t> m_weights; ///< Of the samples of just this stack.
};

std::vector<std::uint64_t> StackCounter::weightsWithCallees() const {
    auto result = m_weights;
    for (std::size_t i = result.size(); i-- > 0;)
        if (auto const caller = callerOf(i); caller >= 0)
            result[static_cast<std::size_t>(caller)] += result[i];
    return result;
}

/// A sample counts once for each module above its own, however often that stands there: at the
/// outermost call, below which no other one of the module counts.
void StackCounter::countCallers() {
    auto const weights = weightsWithCallees();
    std::vector<std::int32_t> firstCallees(weights.size(), -1);
    std::vector<std::int32_t> nextCallees(weights.size(), -1);
    std::vector<std::int32_t> todo; // What is to be entered, or the complement of what is left.
    for (std::size_t i = weights.size(); i-- > 0;) {
        auto const stack = static_cast<std::int32_t>(i);
        if (auto const caller = callerOf(i); caller >= 0)
            nextCallees[i] = std::exchange(firstCallees[static_cast<std::size_t>(caller)], stack);
        else
            todo.push_back(stack);
    }
    std::vector<std::uint32_t> open(m_profile.modules.size());
    while (!todo.empty()) {
        auto const next = todo.back();
        todo.pop_back();
        auto const stack = static_cast<std::size_t>(next < 0 ? ~next : next);
        auto const module = m_modules[stack];
        if (next < 0) {
            --open[module];
            continue;
        }
        if (module != c_noModule) {
            todo.push_back(~next);
            if (open[module]++ == 0)
                m_profile.modules[module].caller_samples += weights[stack];
            m_profile.modules[module].caller_samples -= m_weights[stack];
        }
        for (auto each = firstCallees[stack]; each >= 0;
             each = nextCallees[static_cast<std::size_t>(each)])
            todo.push_back(each);
    }
}

class FirefoxReader {
public:
    explicit FirefoxReader(ProfileBuilder& builder) : m_builder(builder) {}

    void operator()(FirefoxProcess const& process) const {
        Libraries const libraries(process.libraries);
        FirefoxTables const none;
        Tables const shared(none, process.shared, libraries);
        StackCounter counter(shared, m_builder);
        addSources(shared, process.shared);
        for (FirefoxThread const& thread : process.threads)
            if (thread.tables.stack_frames.empty())
                counter.add(thread);
            else if (thread.libraries.empty())
                count(thread, process.shared, libraries);
            else
                count(thread, process.shared, Libraries(thread.libraries));
        counter.count();
    }

private:
    void count(FirefoxThread const& thread, FirefoxTables const& shared,
               Libraries const& libraries) const {
        Tables const tables(thread.tables, shared, libraries);
        StackCounter counter(tables, m_builder);
        counter.add(thread);
        counter.count();
        addSources(tables, thread.tables);
    }

    /// Those of the functions of `owner`.
    void addSources(Tables const& tables, FirefoxTables const& owner) const {
        auto const functions = std::max(owner.function_files.size(), owner.function_sources.size());
        for (std::size_t i = 0; i < functions; ++i) {
            auto const function = static_cast<std::int64_t>(i);
            auto const module = tables.moduleOfFunction(function);
            auto const file = tables.fileOfFunction(function);
            if (module != c_noModule && isPath(file))
                m_builder.addSource(module, file);
        }
    }

    ProfileBuilder& m_builder;
};

Profile readFirefox(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    if (!readFirefoxProfile(content, builder, FirefoxReader(builder)))
        builder.error(0, "neither threads nor libraries are in it");
    return builder.take();
}

} // namespace

extern FormatReader const c_firefox{
    {"firefox", "a profile of the Firefox Profiler"}, isFirefoxProfile, readFirefox};

} // namespace lokata::profile
