#pragma once

#include <lokata2/persistent_search_dirs.h>

#include <optstore2/property_storage.h>

#include <map>
#include <string>

/// The store of the user's own search directories.
namespace lokata::cli {

/// "lokata/store.sqlite" in the user's configuration directory. Throws `Failure` if there is no
/// home.
std::string defaultStoreFile();

/// The same, or the empty text if there is no home, or one that may not be entered, as for a user
/// that took over another one's environment: a search can do without. A warning tells of the
/// latter.
std::string defaultStoreFileForSearch();

/// Opens a store. A missing file reads as an empty store and is not made. Throws `Failure` if the
/// file is damaged, locked for too long, or no store.
toolbelt2::sptr_t<optstore2::IPropertyStorage> openStore(std::string const& file);

/// Keeps what is written until `commit`, so that a change made in several steps reaches the store
/// below at once or not at all. For one thread.
class StagedStorage : public optstore2::IPropertyStorage {
public:
    explicit StagedStorage(toolbelt2::sptr_t<optstore2::IPropertyStorage> store);

    toolbelt2::variant_bag_t read(std::string const& name,
                                  toolbelt2::variant_bag_t const& defaultValue) const override;
    void write(std::string const& name, toolbelt2::variant_bag_t const& value) override;
    void commit();

private:
    toolbelt2::sptr_t<optstore2::IPropertyStorage> m_pStore;
    std::map<std::string, toolbelt2::variant_bag_t> m_staged;
};

} // namespace lokata::cli
