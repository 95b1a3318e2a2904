#include "targets.h"

#include "commands/run_request_line.h"
#include "facts/elf_facts.h"
#include "facts/source_files.h"
#include "facts/split_dwarf.h"
#include "program.h"

#include <lokata/profile/read.h>

#include <optstore2/property_storage.h>
#include <optstore2/storage_error.h>
#include <toolbelt2/descriptor.h>
#include <toolbelt2/temporary_directory.h>
#include <unpack/kernel_payload.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
namespace profile = lokata::profile;

namespace {

/// In bytes. Room enough for what mutations of small seeds unpack to.
constexpr std::uint64_t c_maxUnpacked = 4U << 20;

void require(bool holds) {
    if (!holds)
        std::abort();
}

/// A path in a directory that lasts as long as the process.
std::string scratch(char const* name) {
    static toolbelt2::temporary_directory_t const s_directory("fuzz-");
    return s_directory.path() + "/" + name;
}

std::string scratchFile(std::string_view content) {
    std::string path = scratch("input");
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    return path;
}

void readAs(std::string const& format, std::string_view content) {
    profile::ReadOptions options;
    options.format = format;
    options.max_unpacked = options.max_inflated = c_maxUnpacked;
    profile::Profile const result = profile::readProfile(content, options);
    profile::detectFormat(content);
    for (profile::Module const& module : result.modules) {
        require(module.build_id.size() <= profile::c_maxBuildId);
        require(module.name.empty() || !profile::displayName(module.name).empty());
        for (std::uint32_t const source : module.source_files)
            require(source < result.source_files.size());
    }
}

void readElf(std::string_view content) {
    std::string const path = scratchFile(content);
    profile::ElfFacts const facts = profile::readElfFacts(path);
    require(facts.is_file);
    require(facts.build_id.size() <= profile::c_maxBuildId);
    profile::readSourceFiles(path);
    profile::readSplitDwarf(path);
    profile::readSplitContents(path);
}

void unpackKernel(std::string_view content) {
    std::string const target = scratch("kernel");
    fs::remove(target);
    auto const result = lokata::unpack::unpackKernel(scratchFile(content), target, c_maxUnpacked);
    require(result.ok ? fs::file_size(target) == result.size : !fs::exists(target));
}

void openStore(std::string_view content) {
    std::string const path = scratchFile(content);
    std::string error;
    auto const store =
        optstore2::IPropertyStorage::openSqlite(path.c_str(), error, std::chrono::milliseconds(0));
    require(store || !error.empty());
    try {
        if (store)
            store->read("searchDirs", {});
    } catch (optstore2::storage_error const&) {
        // As damage is told.
    }
    std::ifstream file(path, std::ios::binary);
    std::string const left{std::istreambuf_iterator<char>(file), {}};
    require(left == content);
}

void parseRequests(std::string_view content) {
    std::istringstream lines{std::string(content)};
    for (std::string line; std::getline(lines, line);)
        try {
            lokata::cli::parseRequestLine(line);
        } catch (lokata::cli::MalformedLine const& fault) {
            require(*fault.what() != '\0');
        }
}

/// Sends standard output and error nowhere while it lives.
class Silence {
public:
    Silence() {
        std::fflush(nullptr);
        auto const nowhere = toolbelt2::descriptor_t::open("/dev/null", O_WRONLY);
        for (std::size_t i = 0; i < m_saved.size(); ++i) {
            m_saved[i].reset(::dup(descriptorOf(i)));
            ::dup2(nowhere.get(), descriptorOf(i));
        }
    }
    ~Silence() {
        std::fflush(nullptr);
        for (std::size_t i = 0; i < m_saved.size(); ++i)
            ::dup2(m_saved[i].get(), descriptorOf(i));
    }
    Silence(Silence const&) = delete;
    Silence& operator=(Silence const&) = delete;

private:
    static int descriptorOf(std::size_t i) { return static_cast<int>(i) + STDOUT_FILENO; }

    std::array<toolbelt2::descriptor_t, 2> m_saved;
};

void runProgram(std::string_view content) {
    std::string const input = scratchFile(content);
    std::array const arguments{"lokata", "resolve",   "--no-user",
                               "--json", "--sources", input.c_str()};
    Silence const silence;
    auto const status =
        lokata::cli::runProgram(static_cast<int>(arguments.size()), arguments.data());
    require(status <= lokata::cli::ExitStatus::failed);
}

} // namespace

std::vector<FuzzTarget> fuzzTargets() {
    std::vector<FuzzTarget> targets{
        {"elf", readElf},        {"kernel", unpackKernel},
        {"store", openStore},    {"requests", parseRequests},
        {"program", runProgram},
    };
    for (profile::FormatName const& format : profile::formats())
        targets.push_back({format.word, [word = std::string(format.word)](
                                            std::string_view content) { readAs(word, content); }});
    return targets;
}
