#include "search/user_store.h"

#include "console/failure.h"
#include "console/output.h"
#include "console/texts.h"

#include <optstore2/user_directories.h>

#include <filesystem>
#include <system_error>

namespace lokata::cli {
std::string defaultStoreFile() {
    std::string const config = optstore2::configDirectory();
    if (config.empty())
        throw Failure(textOf(Text::no_home));
    return config + "/lokata/store.sqlite";
}

std::string defaultStoreFileForSearch() {
    if (optstore2::configDirectory().empty())
        return {};
    std::string file = defaultStoreFile();
    std::error_code error;
    static_cast<void>(std::filesystem::status(file, error));
    if (error != std::errc::permission_denied)
        return file;
    reportWarning(textOf(Text::store_left_out, {file, error.message()}));
    return {};
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
