#include "support/elf_builder.h"
#include "support/inputs.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;
using namespace lokata::profile::test;

namespace {

void write(fs::path const& directory, std::string const& name, std::string const& content) {
    fs::create_directories(directory);
    std::ofstream(directory / ("seed-" + name), std::ios::binary) << content;
}

std::string elfFile() {
    fs::path const path = fs::temp_directory_path() / "seed.elf";
    lokata::profile::BuildId const id{1, 2, 3, 4};
    ElfBuilder().buildId(id).debugLink("a.debug", 7).altLink("a.dwz", id).symbolTable().write(path);
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), {}};
    fs::remove(path);
    return content;
}

} // namespace

/// Writes the inputs of the tests as seeds, one directory for each target, below the directory that
/// is its argument. A store is left to the program: `lokata dirs add`.
int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    fs::path const corpus = argv[1];
    for (auto const& input : inputs()) {
        write(corpus / input.format, input.name, input.content);
        write(corpus / "program", input.format + "-" + input.name, input.content);
    }
    std::string const elf = elfFile();
    write(corpus / "elf", "linked", elf);
    for (auto const& [name, packed] :
         {std::pair("gzip", gzip(elf)), std::pair("xz", xz(elf)), std::pair("zstd", zstd(elf))})
        write(corpus / "kernel", name, packed);
    write(corpus / "kernel", "appended", "boot code " + gzip(elf));
    write(corpus / "requests", "both-forms",
          "# comment\nbin a\nsym \"a b\" /usr/bin/a 00ff\n"
          "{\"category\": \"src\", \"name\": \"a.c\", \"binary\": \"a\"}\n");
    return 0;
}
