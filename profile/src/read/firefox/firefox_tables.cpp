#include "read/firefox/firefox_tables.h"

#include "read/firefox/json_events.h"
#include "read/names.h"

#include <toolbelt2/hex.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace lokata::profile {

namespace {

/// Far beyond what is recorded; they bound the memory that short texts can take.
constexpr std::size_t c_maxThreads = 1U << 16;
constexpr std::size_t c_maxLibraries = 1U << 22;
constexpr std::size_t c_maxProcessDepth = 8;

constexpr unsigned c_noPosition = ~0U;

struct ColumnName {
    std::string_view table;
    std::string_view name;
    Column FirefoxTables::*column;
    unsigned position = c_noPosition; ///< In a row, where no schema says another one.
};

constexpr ColumnName c_columns[]{
    {"samples", "stack", &FirefoxTables::sample_stacks, 0},
    {"samples", "weight", &FirefoxTables::sample_weights},
    {"stackTable", "prefix", &FirefoxTables::stack_prefixes, 0},
    {"stackTable", "frame", &FirefoxTables::stack_frames, 1},
    {"frameTable", "location", &FirefoxTables::frame_locations, 0},
    {"frameTable", "func", &FirefoxTables::frame_functions},
    {"frameTable", "nativeSymbol", &FirefoxTables::frame_symbols},
    {"funcTable", "resource", &FirefoxTables::function_resources},
    {"funcTable", "fileName", &FirefoxTables::function_files},
    {"funcTable", "source", &FirefoxTables::function_sources},
    {"sources", "filename", &FirefoxTables::source_files},
    {"resourceTable", "lib", &FirefoxTables::resource_libraries},
    {"nativeSymbols", "libIndex", &FirefoxTables::symbol_libraries},
};

bool isTable(std::string_view name) {
    return std::any_of(
        std::begin(c_columns), std::end(c_columns),
        [&](ColumnName const& each) { return each.table == name; });
}

bool isTextList(std::string_view name) {
    return name == "stringArray" || name == "stringTable";
}

struct LibraryText {
    std::string name;
    std::string path;
    std::string debug_name;
    std::string code_id;
    std::string breakpad_id;

    std::string* field(std::string_view key) {
        return key == "name"         ? &name
               : key == "path"       ? &path
               : key == "debugName"  ? &debug_name
               : key == "codeId"     ? &code_id
               : key == "breakpadId" ? &breakpad_id
                                     : nullptr;
    }
};

/// A debug id is the first 16 bytes of the build-id, read as a GUID of a little-endian machine, and
/// the age behind it, which is 0 for ELF files. Other ages are those of PDB files.
std::optional<DebugId> debugIdOfGuid(std::string_view text) {
    constexpr std::size_t c_digits = 2 * DebugId().size();
    if (text.size() <= c_digits || text.substr(c_digits) != "0")
        return std::nullopt;
    auto const bytes = toolbelt2::from_hex(text.substr(0, c_digits));
    if (!bytes)
        return std::nullopt;
    DebugId id{};
    std::copy(bytes->begin(), bytes->end(), id.begin());
    std::reverse(id.begin(), id.begin() + 4);
    std::swap(id[4], id[5]);
    std::swap(id[6], id[7]);
    bool const isSet =
        std::any_of(id.begin(), id.end(), [](std::uint8_t byte) { return byte != 0; });
    return isSet ? std::optional(id) : std::nullopt;
}

class FirefoxParser final : public JsonEvents {
public:
    FirefoxParser(ProfileBuilder& builder, std::function<void(FirefoxProcess const&)> const& take)
        : m_builder(builder), m_take(take) {}

    bool begin(bool isObject) override {
        if (m_skipped == 0 && !m_levels.empty() && m_levels.back() == Level::row)
            ++m_position;
        if (m_skipped > 0 || !enter(isObject))
            ++m_skipped;
        return true;
    }
    bool end() override {
        if (m_skipped > 0) {
            --m_skipped;
        } else {
            leave(m_levels.back());
            m_levels.pop_back();
        }
        return true;
    }
    bool key(std::string_view name) override {
        if (m_skipped == 0)
            m_key = name;
        return true;
    }
    bool text(std::string_view value) override;
    bool number(std::int64_t value) override;
    bool other() override {
        if (m_skipped == 0)
            put(-1);
        return true;
    }

    /// Gives what was begun and not ended.
    void finish() {
        for (; !m_levels.empty(); m_levels.pop_back())
            leave(m_levels.back());
    }
    bool sawProfile() const { return m_sawProfile; }

private:
    enum class Level {
        process,
        processes,
        threads,
        thread,
        shared,
        libraries,
        library,
        table,
        schema,
        rows,
        row,
        column,
        texts,
    };

    /// Of the table that is read.
    struct Selected {
        std::string_view name;
        Column* column;
        unsigned position;
    };

    bool enter(bool isObject);
    std::optional<Level> levelBelow(bool isObject) const;
    std::optional<Level> levelInProcess(bool isObject) const;
    std::optional<Level> levelInTables(bool isObject) const;
    bool open(Level level);
    void leave(Level level);
    void put(std::int64_t value);
    void selectColumns();
    Column* selectedColumn() const; ///< By the key; null for others.
    void addLibrary();
    bool isWithin(std::size_t limit, std::size_t count, char const* what) {
        if (count == limit + 1)
            m_builder.errorOnce(0, "the limit of " + std::to_string(limit) + " " + what +
                                       " is reached, more are left out");
        return count <= limit;
    }

    FirefoxProcess& process() { return m_processes.back(); }
    FirefoxThread& thread() { return process().threads.back(); }
    FirefoxTables& tables() { return m_isInThread ? thread().tables : process().shared; }

    ProfileBuilder& m_builder;
    std::function<void(FirefoxProcess const&)> const& m_take;
    std::vector<Level> m_levels;
    std::size_t m_skipped = 0; ///< How many are open that nothing is read of.
    std::string m_key;
    std::vector<FirefoxProcess> m_processes; ///< Each inside the one before.
    bool m_isInThread = false;
    std::vector<Selected> m_columns;
    Column* m_column = nullptr; ///< The open one.
    unsigned m_position = 0;    ///< In a row.
    LibraryText m_text;
    FirefoxLibrary m_library;
    std::size_t m_libraryCount = 0;
    std::size_t m_threadCount = 0;
    bool m_sawProfile = false;
};

bool FirefoxParser::enter(bool isObject) {
    auto const level = levelBelow(isObject);
    if (!level || !open(*level))
        return false;
    m_levels.push_back(*level);
    return true;
}

std::optional<FirefoxParser::Level> FirefoxParser::levelBelow(bool isObject) const {
    auto const given = [&](bool holds, Level level) {
        return holds ? std::optional(level) : std::nullopt;
    };
    if (m_levels.empty())
        return given(isObject, Level::process);
    switch (m_levels.back()) {
    case Level::process:
        return levelInProcess(isObject);
    case Level::processes:
        return given(isObject && m_processes.size() < c_maxProcessDepth, Level::process);
    case Level::threads:
        return given(isObject, Level::thread);
    case Level::thread:
        return m_key == "libs" ? given(!isObject, Level::libraries) : levelInTables(isObject);
    case Level::shared:
        return levelInTables(isObject);
    case Level::libraries:
        return given(isObject, Level::library);
    case Level::table:
        return m_key == "schema" ? given(isObject, Level::schema)
               : m_key == "data" ? given(!isObject, Level::rows)
                                 : given(!isObject, Level::column);
    case Level::rows:
        return given(!isObject, Level::row);
    default:
        return std::nullopt;
    }
}

std::optional<FirefoxParser::Level> FirefoxParser::levelInProcess(bool isObject) const {
    if (isObject)
        return m_key == "shared" ? std::optional(Level::shared) : std::nullopt;
    return m_key == "libs"        ? std::optional(Level::libraries)
           : m_key == "threads"   ? std::optional(Level::threads)
           : m_key == "processes" ? std::optional(Level::processes)
                                  : std::nullopt;
}

std::optional<FirefoxParser::Level> FirefoxParser::levelInTables(bool isObject) const {
    if (isObject)
        return isTable(m_key) ? std::optional(Level::table) : std::nullopt;
    return isTextList(m_key) ? std::optional(Level::texts) : std::nullopt;
}

/// Of two members of one name the last counts. False if it is to be skipped.
bool FirefoxParser::open(Level level) {
    switch (level) {
    case Level::process:
        m_processes.emplace_back();
        break;
    case Level::thread:
        if (!isWithin(c_maxThreads, ++m_threadCount, "threads"))
            return false;
        process().threads.emplace_back();
        m_isInThread = true;
        break;
    case Level::libraries:
        (m_isInThread ? thread().libraries : process().libraries).clear();
        m_sawProfile = true;
        break;
    case Level::library:
        m_text = {};
        m_library = {};
        break;
    case Level::threads:
        m_sawProfile = true;
        break;
    case Level::table:
        selectColumns();
        break;
    case Level::row:
        for (Selected const& each : m_columns)
            if (each.position != c_noPosition)
                each.column->push_back(-1);
        m_position = 0;
        break;
    case Level::column:
        m_column = selectedColumn();
        if (m_column == nullptr)
            return false;
        m_column->clear();
        break;
    case Level::texts:
        tables().texts.clear();
        break;
    default:
        break;
    }
    return true;
}

void FirefoxParser::selectColumns() {
    m_columns.clear();
    for (ColumnName const& each : c_columns)
        if (each.table == m_key)
            m_columns.push_back({each.name, &(tables().*each.column), each.position});
    for (Selected const& each : m_columns)
        each.column->clear();
    if (m_isInThread && m_key == "samples")
        thread().has_samples = true;
}

Column* FirefoxParser::selectedColumn() const {
    auto const found = std::find_if(m_columns.begin(), m_columns.end(),
                                    [&](Selected const& each) { return each.name == m_key; });
    return found == m_columns.end() ? nullptr : found->column;
}

void FirefoxParser::leave(Level level) {
    switch (level) {
    case Level::process:
        m_take(process());
        m_processes.pop_back();
        break;
    case Level::thread:
        m_isInThread = false;
        if (!thread().has_samples)
            process().threads.pop_back();
        break;
    case Level::library:
        addLibrary();
        break;
    default:
        break;
    }
}

/// A code id is the whole build-id of an ELF file.
void FirefoxParser::addLibrary() {
    if (!isWithin(c_maxLibraries, ++m_libraryCount, "libraries"))
        return;
    std::string const& name = !m_text.path.empty()   ? m_text.path
                              : !m_text.name.empty() ? m_text.name
                                                     : m_text.debug_name;
    auto const debugId = debugIdOfGuid(m_text.breakpad_id);
    bool const isElf = debugId || m_text.breakpad_id.empty();
    BuildId const id = isElf ? buildIdFromHex(m_text.code_id) : BuildId();
    if (!name.empty() || !id.empty()) {
        ModuleKey key{name, name.empty() ? ModuleKind::file : classifyName(name), bytesOf(id), 0};
        if (id.empty())
            key.debug_id = debugId;
        m_library.module = m_builder.module(key);
    }
    (m_isInThread ? thread().libraries : process().libraries).push_back(m_library);
}

bool FirefoxParser::text(std::string_view value) {
    if (m_skipped > 0 || m_levels.empty())
        return true;
    switch (m_levels.back()) {
    case Level::texts:
        tables().texts.add(value);
        break;
    case Level::library:
        if (auto* const field = m_text.field(m_key))
            *field = value;
        break;
    case Level::table:
        if (m_isInThread && m_key == "weightType")
            thread().weights_count = value == "samples";
        break;
    default:
        put(-1);
    }
    return true;
}

bool FirefoxParser::number(std::int64_t value) {
    if (m_skipped > 0 || m_levels.empty())
        return true;
    if (m_levels.back() == Level::library && m_key == "start")
        m_library.start = static_cast<std::uint64_t>(value);
    else if (m_levels.back() == Level::library && m_key == "end")
        m_library.end = static_cast<std::uint64_t>(value);
    else
        put(value);
    return true;
}

void FirefoxParser::put(std::int64_t value) {
    if (m_levels.empty())
        return;
    using Limits = std::numeric_limits<std::int32_t>;
    auto const kept =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
    switch (m_levels.back()) {
    case Level::column:
        m_column->push_back(kept);
        break;
    case Level::row:
        for (Selected const& each : m_columns)
            if (each.position == m_position)
                each.column->back() = kept;
        ++m_position;
        break;
    case Level::schema:
        for (Selected& each : m_columns)
            if (each.name == m_key)
                each.position = static_cast<unsigned>(kept);
        break;
    case Level::texts:
        tables().texts.add({});
        break;
    default:
        break;
    }
}

/// Looks for the mark of a profile: its meta data with a version, or a list of threads or
/// libraries.
class Recognizer final : public JsonEvents {
public:
    bool begin(bool isObject) override {
        if (m_depth == 0 && !isObject)
            return false;
        if (m_depth == 1)
            m_part = m_key;
        m_found = m_depth == 2 && isObject && (m_part == "threads" || m_part == "libs");
        ++m_depth;
        return !m_found;
    }
    bool end() override {
        --m_depth;
        return true;
    }
    bool key(std::string_view name) override {
        if (m_depth <= 2)
            m_key = name;
        return true;
    }
    bool text(std::string_view /*value*/) override { return m_depth > 0; }
    bool number(std::int64_t /*value*/) override {
        m_found = m_depth == 2 && m_part == "meta" &&
                  (m_key == "version" || m_key == "preprocessedProfileVersion");
        return m_depth > 0 && !m_found;
    }
    bool other() override { return m_depth > 0; }

    bool found() const { return m_found; }

private:
    std::size_t m_depth = 0;
    std::string m_key;
    std::string m_part; ///< The member of the whole that is read.
    bool m_found = false;
};

} // namespace

bool isFirefoxProfile(std::string_view content) {
    auto const start = content.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos || content[start] != '{')
        return false;
    Recognizer recognizer;
    readJson(content, recognizer);
    return recognizer.found();
}

bool readFirefoxProfile(std::string_view content, ProfileBuilder& builder,
                        std::function<void(FirefoxProcess const&)> const& take) {
    FirefoxParser parser(builder, take);
    auto const fault = readJson(content, parser);
    parser.finish();
    if (fault)
        builder.error(fault->offset,
                      fault->is_cut_off ? "the profile ends early" : "no valid JSON from here on");
    return parser.sawProfile();
}

} // namespace lokata::profile
