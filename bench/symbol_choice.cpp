/// Prints, for each binary of the command line, the symbol file that a search comes to: the binary,
/// a tab, and the path, or "-" if there is none. What compare_with_gdb holds against gdb.

#include "search/module_search.h"

#include <CLI/CLI.hpp>

#include <iostream>

int main(int argc, char** argv) {
    lokata::profile::PlaceOptions options;
    std::vector<std::string> debugDirs;
    std::vector<std::string> binaries;
    CLI::App app("Names the symbol file of each binary");
    app.add_option("--debug-file-directory", debugDirs);
    app.add_option("--sysroot", options.sysroot);
    app.add_option("BINARY", binaries)->required();
    CLI11_PARSE(app, argc, argv);

    if (!debugDirs.empty())
        options.debug_dirs.clear();
    for (std::string const& list : debugDirs)
        lokata::profile::addDebugDirs(options.debug_dirs, list);
    lokata::profile::SearchSupport support(options);
    lokata::profile::ModuleSearch search(nullptr, support);
    for (std::string const& binary : binaries) {
        lokata::profile::FileResolution const outcome = search.findSymbols(binary, binary, {});
        std::cout << binary << '\t' << (outcome.found() ? outcome.path : "-") << '\n';
    }
}
