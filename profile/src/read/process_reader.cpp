#include <lokata/profile/process.h>

#include "read/elf_image.h"
#include "read/maps.h"
#include "read/names.h"
#include "read/text_lines.h"

#include <lokata/profile/read.h>

#include <toolbelt2/descriptor.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/utsname.h>

namespace lokata::profile {

namespace {

std::string textOfFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Why there is nothing of a process to be read; empty if it is not known.
std::string faultOf(std::string const& directory) {
    constexpr unsigned c_kernelThread = 0x00200000; // PF_KTHREAD, include/linux/sched.h.
    std::string const text = textOfFile(directory + "/stat");
    // The name before may hold anything but ends there.
    std::size_t const end = text.rfind(')');
    if (end == std::string::npos)
        return "no such process runs, or it may not be seen";
    std::istringstream fields(text.substr(end + 1));
    char state = 0;
    std::int64_t skipped = 0;
    unsigned flags = 0;
    fields >> state;
    for (int i = 0; i < 5; ++i)
        fields >> skipped;
    fields >> flags;
    if ((flags & c_kernelThread) != 0)
        return "it is a thread of the kernel, which maps no files";
    return state == 'Z' || state == 'X' ? "the process has ended" : "";
}

BuildId buildIdOfStart(int descriptor, std::uint64_t offset, std::uint64_t size) {
    std::string image(std::min(size, c_noteWindow), '\0');
    std::error_code error;
    image.resize(toolbelt2::read_at(descriptor, offset, image.data(), image.size(), error));
    return image.empty() ? BuildId() : buildIdOf(buildIdInImage(image));
}

/// `path` leads to the mapped file or, where `expected` is given, may lead to another one.
BuildId buildIdOfFile(std::string const& path, MappedFile const* expected) {
    auto const file = toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY | O_NONBLOCK);
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    bool const isOther = expected != nullptr && (major(status.st_dev) != expected->device_major ||
                                                 minor(status.st_dev) != expected->device_minor ||
                                                 status.st_ino != expected->inode);
    return isOther ? BuildId() : buildIdOfStart(file.get(), 0, c_noteWindow);
}

BuildId buildIdOfMapping(std::string const& directory, MapsLine const& mapping) {
    BuildId id = buildIdInMemory(directory, mapping);
    if (!id.empty() || !mapping.file)
        return id;
    id = buildIdOfFile(directory + "/map_files/" + rangeOf(mapping), nullptr);
    std::string const name = unescapeMapsName(mapping.name);
    if (id.empty() && isSafeName(name))
        id = buildIdOfFile(directory + "/root" + name, &*mapping.file);
    return id;
}

/// The mappings in which files begin, and the vDSO, which the kernel maps without one.
class Starts {
public:
    explicit Starts(std::string const& maps) {
        std::string_view line;
        for (Lines lines(maps); lines.next(line);) {
            auto const mapping = parseMapsLine(line);
            if (!mapping || mapping->offset != 0)
                continue;
            if (mapping->file)
                m_files.emplace(numbersOf(*mapping->file), *mapping);
            else if (classifyName(mapping->name) == ModuleKind::vdso)
                m_vdso = mapping;
        }
    }

    /// Null if there is none.
    MapsLine const* of(Module const& module) const {
        if (module.kind == ModuleKind::vdso)
            return m_vdso ? &*m_vdso : nullptr;
        auto const found =
            module.mapped_file ? m_files.find(numbersOf(*module.mapped_file)) : m_files.end();
        return found == m_files.end() ? nullptr : &found->second;
    }

private:
    using Numbers = std::tuple<std::uint32_t, std::uint32_t, std::uint64_t>;

    static Numbers numbersOf(MappedFile const& file) {
        return {file.device_major, file.device_minor, file.inode};
    }

    std::map<Numbers, MapsLine> m_files;
    std::optional<MapsLine> m_vdso;
};

void addMachine(Profile& profile) {
    utsname machine{};
    if (::uname(&machine) != 0)
        return;
    profile.host_name = machine.nodename;
    profile.kernel_release = machine.release;
    profile.architecture = machine.machine;
}

} // namespace

std::string rangeOf(MapsLine const& mapping) {
    char text[40];
    std::snprintf(text, sizeof text, "%" PRIx64 "-%" PRIx64, mapping.start, mapping.end);
    return text;
}

BuildId buildIdInMemory(std::string const& directory, MapsLine const& mapping) {
    auto const memory = toolbelt2::descriptor_t::open((directory + "/mem").c_str(), O_RDONLY);
    return memory ? buildIdOfStart(memory.get(), mapping.start, mapping.end - mapping.start)
                  : BuildId();
}

Profile readProcess(std::uint32_t process) {
    std::string const directory = "/proc/" + std::to_string(process);
    ReadOptions options;
    options.format = "maps";
    Profile profile = readProfileFile(directory + "/maps", options);
    if (profile.modules.empty()) {
        if (std::string const fault = faultOf(directory); !fault.empty())
            profile.errors = {{0, fault}};
        return profile;
    }
    addMachine(profile);
    std::string const maps = textOfFile(directory + "/maps");
    Starts const starts(maps);
    for (Module& module : profile.modules)
        if (MapsLine const* const start = starts.of(module))
            module.build_id = buildIdOfMapping(directory, *start);
    return profile;
}

} // namespace lokata::profile
