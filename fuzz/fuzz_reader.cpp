#include <lokata/profile/read.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace profile = lokata::profile;

/// Feeds the reader of the format that the environment variable FUZZ_FORMAT names, or without it
/// the one that the content speaks for.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static char const* const s_format = std::getenv("FUZZ_FORMAT");
    profile::ReadOptions options;
    options.format = s_format == nullptr ? "" : s_format;
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
