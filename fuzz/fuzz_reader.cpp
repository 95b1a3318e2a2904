#include <lokata/profile/read.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace profile = lokata::profile;

/// Feeds one reader; the program is built once for each, with the word of its format as
/// FUZZ_FORMAT.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    profile::ReadOptions options;
    options.format = FUZZ_FORMAT;
    options.max_unpacked = options.max_inflated = 4U << 20;
    std::string_view const content(reinterpret_cast<char const*>(data), size);
    auto const result = profile::readProfile(content, options);
    profile::detectFormat(content);
    for (auto const& one : result.modules) {
        auto const shown = profile::displayName(one.name);
        if (one.build_id.size() > profile::c_maxBuildId ||
            !(shown.empty() || profile::displayName(shown).size()))
            std::abort();
        for (auto const source : one.source_files)
            if (source >= result.source_files.size())
                std::abort();
    }
    return 0;
}
