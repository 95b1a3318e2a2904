#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

/// A directory of its own for each test, and in it the name of a store that is not there yet.
class StoreDirectory : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "store-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_directory = pattern;
        m_store = m_directory / "properties";
    }

    void TearDown() override { std::filesystem::remove_all(m_directory); }

    std::filesystem::path m_directory;
    std::filesystem::path m_store;
};
