#pragma once

#include <optstore2/product_locations.h>

#include <string>

namespace LK_2_13::test {

/// The product's private temporary directory while it lives. An empty name stands for none.
struct PrivateDir {
    explicit PrivateDir(std::string const& directory) { set(directory); }
    ~PrivateDir() { optstore2::IProductLocations::get()->setTempDirectory(nullptr); }
    PrivateDir(PrivateDir const&) = delete;
    PrivateDir& operator=(PrivateDir const&) = delete;

    void set(std::string const& directory) const {
        optstore2::IProductLocations::get()->setTempDirectory(directory.c_str());
    }
};

} // namespace LK_2_13::test
