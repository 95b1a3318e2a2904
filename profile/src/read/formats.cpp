#include "read/readers.h"

#include <algorithm>
#include <iterator>

namespace lokata::profile {

extern FormatReader const c_perfData;
extern FormatReader const c_core;
extern FormatReader const c_gperftools;
extern FormatReader const c_pprof;
extern FormatReader const c_maps;
extern FormatReader const c_unstripList;
extern FormatReader const c_buildIdList;
extern FormatReader const c_pathList;

namespace {

/// What begins with a mark of its own comes first, then texts by the form of their lines, the
/// loosest last, then the plain message of pprof: it has no mark, and text can read as one.
constexpr FormatReader const* c_readers[]{
    &c_perfData,    &c_core,        &c_gperftools, &c_maps,
    &c_unstripList, &c_buildIdList, &c_pathList,   &c_pprof,
};

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
