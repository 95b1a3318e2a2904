#pragma once

#include "read/hashed_indices.h"

#include <lokata/profile/profile.h>
#include <lokata/profile/read.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace lokata::profile {

/// What makes two recorded modules the same one.
struct ModuleKey {
    std::string_view name;
    ModuleKind kind = ModuleKind::file;
    std::string_view build_id; ///< Raw bytes; those that cannot be a build-id are left out.
    std::uint64_t mount_namespace = 0;
    std::optional<MappedFile> mapped_file{}; ///< Where files of one name are told apart by it.
    std::optional<DebugId> debug_id{};
};

/// The raw bytes of a build-id, good for as long as that lives.
inline std::string_view bytesOf(BuildId const& buildId) {
    return {reinterpret_cast<char const*>(buildId.data()), buildId.size()};
}

inline ModuleKey keyOf(Module const& module) {
    return {module.name,        module.kind,    bytesOf(module.build_id), module.mount_namespace,
            module.mapped_file, module.debug_id};
}

std::size_t hashOf(ModuleKey const& key);
bool operator==(ModuleKey const& left, ModuleKey const& right);

/// Collects a Profile within the limits of the options: each module once, each source file once,
/// and a bounded list of errors.
class ProfileBuilder {
public:
    static constexpr std::uint32_t c_none = HashedIndices::c_none;

    explicit ProfileBuilder(ReadOptions const& options);

    /// The index of the module, added if new; `c_none` when the limit on names is reached.
    std::uint32_t module(ModuleKey const& key);

    /// As module(), but never adds.
    std::uint32_t findModule(ModuleKey const& key) const;

    /// Gives a module a build-id, so that module() finds it under the new key.
    void setBuildId(std::uint32_t index, std::string_view buildId);

    /// Takes that mount namespace for the recording machine's own: its modules lose the number, and
    /// those that then are the same become one. 0 changes nothing. Indices of modules hold no
    /// longer.
    void setHostNamespace(std::uint64_t inode);

    /// Notes that functions of the module come from the file; for `c_none`, only that the file
    /// exists.
    void addSource(std::uint32_t module, std::string_view file);

    void error(std::uint64_t offset, std::string message);

    /// Errors of one kind that may come in masses are told once.
    void errorOnce(std::uint64_t offset, std::string const& message);

    Profile& profile() { return m_profile; }
    ReadOptions const& options() const { return m_options; }

    /// The result, with only the modules that `keep` accepts. The builder is spent.
    Profile take(std::function<bool(Module const&)> const& keep = nullptr);

private:
    ModuleKey knownKey(std::uint32_t index) const;
    bool charge(std::size_t bytes);

    ReadOptions const& m_options;
    Profile m_profile;
    HashedIndices m_modules;
    HashedIndices m_sources;
    std::unordered_set<std::string> m_told;
    bool m_tellsFilesApart = false; ///< Modules by their numbers, too.
    std::uint64_t m_names = 0;
    std::uint64_t m_droppedErrors = 0;
};

/// What may come out of a packed input of that size when the options allow `most` bytes.
std::uint64_t unpackLimit(ReadOptions const& options, std::uint64_t most, std::size_t packedSize);

} // namespace lokata::profile
