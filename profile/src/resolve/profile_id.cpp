#include "resolve/profile_id.h"

#include <toolbelt2/digest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

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

} // namespace

std::string profileId(Profile const& profile) {
    try {
        FieldDigest digest;
        digest.add(profile.host_name).add(profile.kernel_release).add(profile.architecture);
        // The same modules in another order are the same profile.
        std::set<std::string> modules;
        for (Module const& module : profile.modules)
            modules.insert(FieldDigest()
                               .add(wordOf(c_moduleKinds, module.kind))
                               .add(module.name)
                               .add(toHex(module.build_id))
                               .add(std::to_string(module.mount_namespace))
                               .text());
        for (std::string const& module : modules)
            digest.add(module);
        for (std::string_view const source :
             std::set<std::string_view>(profile.source_files.begin(), profile.source_files.end()))
            digest.add(source);
        return digest.text();
    } catch (std::runtime_error const&) {
        return {};
    }
}

} // namespace lokata::profile
