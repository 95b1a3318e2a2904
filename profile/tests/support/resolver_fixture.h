#pragma once

#include "support/search_fixture.h"

#include <lokata/profile/report.h>
#include <lokata/profile/resolver.h>

#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lokata::profile::test {

/// The kernel release of these tests.
inline std::string const c_release = "6.1.0-lokata-test";

inline Module module(std::string name, BuildId id = {}, ModuleKind kind = ModuleKind::file) {
    Module result;
    result.name = std::move(name);
    result.build_id = std::move(id);
    result.kind = kind;
    return result;
}

class ResolverFixture : public SearchFixture {
protected:
    ResolverFixture() {
        m_options.sysroot = m_tree.path("root");
        auto const info = LK_2_13::IEditableEnvironmentInfo::create();
        info->setKernelRelease(c_release.c_str());
        m_environment->setEnvironmentInfo(LK_2_13::ObjectPtr<LK_2_13::IEnvironmentInfo>(info));
    }

    /// Every question of these tests is asked on one thread and on several.
    ProfileResolution resolve(Profile const& profile) {
        ProfileResolution result = resolveOn(1, profile);
        EXPECT_EQ(timeless(resolveOn(3, profile)), timeless(result));
        return result;
    }
    ProfileResolution resolve(std::vector<Module> modules) {
        Profile profile;
        profile.modules = std::move(modules);
        return resolve(profile);
    }
    ModuleResolution resolveOne(Module single) {
        return resolve(std::vector<Module>{std::move(single)}).modules.at(0);
    }

private:
    ProfileResolution resolveOn(std::size_t threads, Profile profile) {
        Resolver resolver(environment(), m_options);
        resolver.setThreads(threads);
        ProfileResolution result = resolver.resolve(std::move(profile), "test");
        resolver.findSources(result);
        return result;
    }
    /// The document without the times that its searches took.
    static std::string timeless(ProfileResolution const& resolution) {
        constexpr std::string_view c_time = "\"elapsed_us\":";
        std::ostringstream document;
        writeJson(document, resolution);
        std::string text = document.str();
        for (std::size_t at = text.find(c_time); at != std::string::npos;
             at = text.find(c_time, at + 1))
            text.erase(at + c_time.size(), text.find_first_of(",}", at) - at - c_time.size());
        return text;
    }
};

} // namespace lokata::profile::test
