#include "search/user_store.h"

#include "console/failure.h"

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace lokata::cli {
namespace {

std::string homeDirectory() {
    if (char const* const home = std::getenv("HOME"); home != nullptr && *home == '/')
        return home;
    passwd const* const user = ::getpwuid(::geteuid());
    return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "";
}

} // namespace

std::string defaultStoreFile() {
    if (char const* const config = std::getenv("XDG_CONFIG_HOME");
        config != nullptr && *config == '/')
        return std::string(config) + "/lokata/store.sqlite";
    std::string const home = homeDirectory();
    if (home.empty())
        throw Failure("the user has no home directory; name the store with --store");
    return home + "/.config/lokata/store.sqlite";
}

toolbelt2::sptr_t<optstore2::IPropertyStorage> openStore(std::string const& file) {
    std::string error;
    auto store = optstore2::IPropertyStorage::openSqlite(file.c_str(), error);
    if (!store)
        throw Failure(error);
    return store;
}

StagedStorage::StagedStorage(toolbelt2::sptr_t<optstore2::IPropertyStorage> store)
    : m_pStore(std::move(store)) {}

toolbelt2::variant_bag_t StagedStorage::read(std::string const& name,
                                             toolbelt2::variant_bag_t const& defaultValue) const {
    auto const staged = m_staged.find(name);
    return staged != m_staged.end() ? staged->second : m_pStore->read(name, defaultValue);
}

void StagedStorage::write(std::string const& name, toolbelt2::variant_bag_t const& value) {
    m_staged.insert_or_assign(name, value);
}

void StagedStorage::commit() {
    for (auto const& [name, value] : m_staged)
        m_pStore->write(name, value);
    m_staged.clear();
}

} // namespace lokata::cli
