#include "read/readers.h"

#include <algorithm>
#include <iterator>

namespace lokata::profile {

/// All readers. What begins with a mark of its own comes first, then texts by the form of their
/// lines, the loosest last, then the plain message of pprof: it has no mark, and text can read as
/// one.
#define LOKATA_FORMAT_READERS(READER)                                                              \
    READER(c_perfData)                                                                             \
    READER(c_core)                                                                                 \
    READER(c_gperftools)                                                                           \
    READER(c_firefox)                                                                              \
    READER(c_maps)                                                                                 \
    READER(c_unstripList)                                                                          \
    READER(c_buildIdList)                                                                          \
    READER(c_pathList)                                                                             \
    READER(c_pprof)

#define LOKATA_DECLARE(reader) extern FormatReader const reader;
LOKATA_FORMAT_READERS(LOKATA_DECLARE)
#undef LOKATA_DECLARE

namespace {

#define LOKATA_ADDRESS(reader) &(reader),
constexpr FormatReader const* c_readers[]{LOKATA_FORMAT_READERS(LOKATA_ADDRESS)};
#undef LOKATA_ADDRESS

template <class Condition>
FormatReader const* find(Condition const& condition) {
    auto const found = std::find_if(std::begin(c_readers), std::end(c_readers),
                                    [&](FormatReader const* reader) { return condition(*reader); });
    return found == std::end(c_readers) ? nullptr : *found;
}

} // namespace

FormatReader const* readerFor(std::string_view content) {
    return find([&](FormatReader const& reader) { return reader.matches(content); });
}

FormatReader const* readerOfWord(std::string_view word) {
    return find([&](FormatReader const& reader) { return reader.name.word == word; });
}

std::vector<FormatName> formats() {
    std::vector<FormatName> names;
    for (FormatReader const* const reader : c_readers)
        names.push_back(reader->name);
    return names;
}

} // namespace lokata::profile
