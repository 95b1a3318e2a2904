#include "support/inputs.h"

#include <filesystem>
#include <fstream>

/// Writes the inputs of the tests as seeds, one directory for each reader, below the directory
/// that is its argument.
int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    for (auto const& input : lokata::profile::test::inputs()) {
        auto const directory = std::filesystem::path(argv[1]) / input.format;
        std::filesystem::create_directories(directory);
        std::ofstream(directory / ("seed-" + input.name), std::ios::binary) << input.content;
    }
    return 0;
}
