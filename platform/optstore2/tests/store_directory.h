#pragma once

#include <toolbelt2/temporary_directory.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

/// A directory of its own for each test, and in it the name of a store that is not there yet.
class StoreDirectory : public testing::Test {
protected:
    toolbelt2::temporary_directory_t const m_owner{"store-"};
    std::filesystem::path m_directory = m_owner.path();
    std::filesystem::path m_store = m_directory / "properties";
};
