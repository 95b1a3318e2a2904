#include "search/name_lists.h"

#include "facts/foreign_file.h"
#include "facts/stamp_of.h"
#include "read/names.h"
#include "read/notes.h"
#include "read/profile_builder.h"
#include "read/reasons.h"
#include "search/kernel_places.h"

#include <toolbelt2/path.h>

#include <algorithm>
#include <fstream>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

/// As much as is looked at of a list, in bytes. The first addresses of a kernel are those of data
/// of each processor, of which only the very first is 0.
constexpr std::size_t c_beginning = 64UL * 1024;

/// Of a file that the kernel makes up as well; empty if it cannot be read.
std::string beginningOf(std::string const& path) {
    std::string content(c_beginning, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    return content;
}

/// True if a line begins with an address that is not 0.
bool hasAddress(std::string_view list) {
    for (std::size_t at = 0; at < list.size();) {
        std::size_t const end = list.find_first_not_of("0123456789abcdefABCDEF", at);
        if (end == std::string_view::npos || end == at || list[end] != ' ')
            return false;
        if (list.substr(at, end - at).find_first_not_of('0') != std::string_view::npos)
            return true;
        at = std::min(list.find('\n', end), list.size() - 1) + 1;
    }
    return false;
}

void reject(FileResolution& symbols, std::string const& path, Identity identity,
            std::string message) {
    JudgedCandidate rejected;
    rejected.path = path;
    rejected.result = vrInvalid;
    rejected.severity = svError;
    rejected.message = std::move(message);
    rejected.identity = std::move(identity);
    symbols.rejected.push_back(std::move(rejected));
}

void accept(FileResolution& symbols, Candidate const& list, confidence_t confidence,
            Identity identity) {
    symbols.path = list.path;
    symbols.place = list.place;
    symbols.step = ssAskUser;
    symbols.confidence = confidence;
    symbols.identity = std::move(identity);
}

void note(FileResolution& symbols, Candidate list) {
    auto& suggested = symbols.suggested ? *symbols.suggested : symbols.suggested.emplace();
    suggested.push_back(std::move(list));
}

/// Of a file on a disk; rejected if it is none, or is no list.
bool isList(std::string const& path, FileResolution& symbols) {
    if (!stampOf(path))
        return false;
    ForeignFile const file(path);
    std::string content;
    std::string fault = file.error();
    if (fault.empty()) {
        file.read(0, std::min<std::uint64_t>(file.size(), c_beginning), content);
        if (hasAddress(content))
            return true;
        fault = reasonText(ReasonKey::no_name_list);
    }
    reject(symbols, path, {}, reasonText(ReasonKey::file_unusable, {path, fault}));
    return false;
}

bool isTrusted(std::string const& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           (status.st_uid == 0 || status.st_uid == ::geteuid());
}

} // namespace

bool NameLists::find(Module const& module, FileResolution& symbols) const {
    switch (module.kind) {
    case ModuleKind::kernel:
    case ModuleKind::kernel_module:
        return !module.build_id.empty() &&
               (findRunningNames(module, symbols) || findKernelNames(module, symbols));
    case ModuleKind::anonymous:
        return m_isThisMachine && module.pid != 0 && findCompiledNames(module, symbols);
    default:
        return false;
    }
}

bool NameLists::findKernelNames(Module const& module, FileResolution& symbols) const {
    if (m_perfCache.empty() || module.kind != ModuleKind::kernel)
        return false;
    std::string const id = toHex(module.build_id);
    for (std::string const& directory :
         {"[kernel.kallsyms]/" + id, ".build-id/" + id.substr(0, 2) + "/" + id.substr(2)}) {
        Candidate const list{toolbelt2::join_path(m_perfCache, directory + "/kallsyms"),
                             Place::perf_cache};
        note(symbols, list);
        if (isList(list.path, symbols)) {
            accept(symbols, list, cfPolicyHigh, {IdentityKind::build_id, id, ""});
            return true;
        }
    }
    return false;
}

BuildId NameLists::runningBuildId(Module const& module) const {
    std::string notes = "/sys/kernel/notes";
    if (module.kind == ModuleKind::kernel_module) {
        std::string const name = kernelModuleKey(module.name);
        if (!isSafeBareName(name))
            return {};
        notes = "/sys/module/" + name + "/notes/.note.gnu.build-id";
    }
    constexpr bool c_isBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
    constexpr std::uint64_t c_alignment = 4;
    return buildIdOf(buildIdInNotes(beginningOf(m_root + notes), c_isBigEndian, c_alignment));
}

bool NameLists::findRunningNames(Module const& module, FileResolution& symbols) const {
    Candidate const list{m_root + "/proc/kallsyms", Place::kallsyms};
    BuildId const running = runningBuildId(module);
    if (running.empty())
        return false;
    note(symbols, list);
    Identity identity{IdentityKind::build_id, toHex(module.build_id), toHex(running)};
    if (running != module.build_id)
        reject(symbols, list.path, identity,
               reasonText(ReasonKey::build_id_mismatch,
                          {list.path, identity.actual, identity.expected}));
    else if (!hasAddress(beginningOf(list.path)))
        reject(symbols, list.path, identity, reasonText(ReasonKey::addresses_hidden, {list.path}));
    else {
        accept(symbols, list, cfValidated, std::move(identity));
        return true;
    }
    return false;
}

bool NameLists::findCompiledNames(Module const& module, FileResolution& symbols) const {
    Candidate const list{m_root + "/tmp/perf-" + std::to_string(module.pid) + ".map",
                         Place::perf_map};
    note(symbols, list);
    if (!stampOf(list.path))
        return false;
    if (!isTrusted(list.path)) {
        reject(symbols, list.path, {}, reasonText(ReasonKey::foreign_owner, {list.path}));
        return false;
    }
    if (!isList(list.path, symbols))
        return false;
    accept(symbols, list, cfPolicyHigh, {});
    return true;
}

} // namespace lokata::profile
