#include "resolve/profile_id.h"

#include <toolbelt2/digest.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace lokata::profile {

namespace {

/// Fields with their lengths, so that no two lists of fields read as the same bytes.
class FieldDigest {
public:
    FieldDigest& add(std::string_view field) {
        std::string const length = std::to_string(field.size()) + ":";
        m_digest.update(length.data(), length.size());
        m_digest.update(field.data(), field.size());
        return *this;
    }
    std::string text() const { return m_digest.get_digest_base16(); }

private:
    toolbelt2::md5_t m_digest;
};

/// The same modules in another order are the same profile.
std::vector<Module const*> distinctModules(Profile const& profile) {
    auto const keyOf = [](Module const* module) {
        return std::tie(module->kind, module->name, module->build_id, module->debug_id,
                        module->mount_namespace);
    };
    std::vector<Module const*> result;
    result.reserve(profile.modules.size());
    for (Module const& module : profile.modules)
        result.push_back(&module);
    std::sort(
        result.begin(), result.end(),
        [&](Module const* left, Module const* right) { return keyOf(left) < keyOf(right); });
    result.erase(std::unique(result.begin(), result.end(),
                             [&](Module const* left, Module const* right) {
                                 return keyOf(left) == keyOf(right);
                             }),
                 result.end());
    return result;
}

} // namespace

std::string profileId(Profile const& profile) {
    try {
        FieldDigest digest;
        digest.add(profile.host_name).add(profile.kernel_release).add(profile.architecture);
        for (Module const* const module : distinctModules(profile))
            digest.add(wordOf(c_moduleKinds, module->kind))
                .add(module->name)
                .add(buildIdDigits(*module))
                .add(std::to_string(module->mount_namespace));
        for (std::string_view const source :
             std::set<std::string_view>(profile.source_files.begin(), profile.source_files.end()))
            digest.add(source);
        return digest.text();
    } catch (std::runtime_error const&) {
        return {};
    }
}

} // namespace lokata::profile
