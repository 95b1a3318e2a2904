// Resolves a profile and prints, for each module, its file and what proves it.
#include <lokata/profile/read.h>
#include <lokata/profile/resolver.h>

#include <iostream>

using namespace lokata;

namespace {

std::string fileOf(profile::ModuleResolution const& module) {
    bool const found = module.binary && module.binary->found();
    return found ? profile::displayName(module.binary->path) : profile::statusReason(module);
}

std::string_view proofOf(profile::ModuleResolution const& module) {
    if (module.status != profile::ModuleStatus::resolved)
        return wordOf(profile::c_moduleStatuses, module.status);
    return wordOf(profile::c_identityKinds, module.binary->identity.kind);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "usage: resolve_profile PROFILE [SYSROOT]\n";
        return 2;
    }
    profile::PlaceOptions places;
    places.sysroot = argc > 2 ? argv[2] : "";
    profile::Profile recorded = profile::readProfileFile(argv[1]);
    for (profile::ReadError const& error : recorded.errors)
        std::cerr << argv[1] << ": at byte " << error.offset << ": " << error.message << '\n';

    // Without an environment: where the files were recorded, the sysroot and the debug directories.
    profile::Resolver resolver(nullptr, places);
    for (profile::ModuleResolution const& module :
         resolver.resolve(std::move(recorded), argv[1]).modules)
        std::cout << profile::displayName(module.module.name) << '\t' << fileOf(module) << '\t'
                  << proofOf(module) << '\n';
    return 0;
}
