#pragma once

/// What is read of a profile of the Firefox Profiler: of each thread the columns that lead from its
/// samples to libraries, for both of the formats. The raw one, which the browser writes, has tables
/// of rows below a schema, and tells places in the code by addresses. The processed one has tables
/// of columns, and functions that know their library; newer versions share tables between threads.

#include "read/profile_builder.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// Indices into another table; -1 for null and for what is no index.
using Column = std::vector<std::int32_t>;

/// The value of a row; -1 beyond the end.
inline std::int32_t valueAt(Column const& column, std::int64_t row) {
    bool const isThere = row >= 0 && static_cast<std::uint64_t>(row) < column.size();
    return isThere ? column[static_cast<std::size_t>(row)] : -1;
}

/// A list of texts, mostly short ones.
class TextList {
public:
    void add(std::string_view text) {
        m_bytes += text;
        m_ends.push_back(m_bytes.size());
    }
    void clear() { *this = TextList(); }
    bool empty() const { return m_ends.empty(); }
    /// Empty beyond the end.
    std::string_view at(std::int64_t index) const {
        if (index < 0 || static_cast<std::uint64_t>(index) >= m_ends.size())
            return {};
        auto const at = static_cast<std::size_t>(index);
        auto const start = at == 0 ? 0 : m_ends[at - 1];
        return std::string_view(m_bytes).substr(start, m_ends[at] - start);
    }

private:
    std::string m_bytes;
    std::vector<std::size_t> m_ends;
};

/// Those of a thread, or those that threads share; empty where there is none.
struct FirefoxTables {
    Column sample_stacks;
    Column sample_weights;
    Column stack_prefixes;
    Column stack_frames;
    Column frame_functions;
    Column frame_symbols;   ///< Native symbols.
    Column frame_locations; ///< Texts.
    Column function_resources;
    Column function_files;   ///< Texts.
    Column function_sources; ///< Stand in for the files.
    Column source_files;     ///< Texts.
    Column resource_libraries;
    Column symbol_libraries;
    TextList texts;
};

struct FirefoxLibrary {
    std::uint32_t module = ProfileBuilder::c_none;
    std::uint64_t start = 0; ///< Where it is mapped; only the raw format tells.
    std::uint64_t end = 0;
};

struct FirefoxThread {
    FirefoxTables tables;
    std::vector<FirefoxLibrary> libraries; ///< Its own, as before version 41.
    bool has_samples = false;
    bool weights_count = true; ///< The weights are numbers of samples, and not bytes or times.
};

/// In the processed format all that was recorded, in the raw one a process.
struct FirefoxProcess {
    std::vector<FirefoxLibrary> libraries;
    FirefoxTables shared;
    std::vector<FirefoxThread> threads;
};

/// True for the beginning of a profile, or for one of which the end is missing.
bool isFirefoxProfile(std::string_view content);

/// Gives each process to `take` as soon as it is whole, or as far as it is there, and its libraries
/// to `builder`, as modules. False if there is nothing of a profile in the content.
bool readFirefoxProfile(std::string_view content, ProfileBuilder& builder,
                        std::function<void(FirefoxProcess const&)> const& take);

} // namespace lokata::profile
