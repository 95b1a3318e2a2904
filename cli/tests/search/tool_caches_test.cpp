#include "search/tool_caches.h"

#include "temp_tree.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include <unistd.h>

namespace lokata::cli {
namespace {

/// What perf 6.1 makes of each text was looked at.
TEST(PerfConfig, IsReadAsPerfDoes) {
    std::pair<std::string, char const*> const texts[]{
        {"[buildid]\n\tdir = ~/zz\n", "~/zz"},
        {"\xef\xbb\xbf[BuildId]\r\n dir = \"/a  b/#c\" # x\r\n", "/a  b/#c"},
        {"[buildid] dir = /same", "/same"},
        {"[buildid]\ndir = /one\n[buildid]\ndir = /two\\\n  three  x ; y\n", "/two three x"},
        {"[buildid]\na-b_c=2\nnone\n# [x]\ndir = \"/q\\\"\\\\\"\n", "/q\"\\"},
        {"[a \"]\\\"\"]\nx=1\n[buildid]\ndir=/k\n[broken\n", "/k"},
        {"[buildid]\nDIR = /upper\n", ""},
        {"[buildid \"x\"]\ndir=/sub\n", ""},
        {"x = 1\n[buildid]\nother dir=/k\n", ""},
        {"[buildid]\n= 1\ndir=/k\n", ""},
        {"[buildid]\ndir = \"/open\n", ""},
        {"[buildid]\ndir = /a\\x\n", ""},
        {"[buildid]\ndir =", ""},
        {"[buildid", ""},
        {"", ""},
    };
    for (auto const& [text, dir] : texts)
        EXPECT_EQ(perfBuildIdDir(text), dir) << text;
}

class ToolCaches : public ::testing::Test {
protected:
    ToolCaches() {
        ::setenv("HOME", m_home.root().c_str(), 1);
        for (char const* const name : {"PERF_CONFIG", "DEBUGINFOD_CACHE_PATH", "XDG_CACHE_HOME"})
            ::unsetenv(name);
    }
    ~ToolCaches() override { ::unsetenv("PERF_CONFIG"); }

    TempTree m_home;
};

TEST_F(ToolCaches, OfPerfLiesWhereItsConfigurationSays) {
    EXPECT_EQ(perfCacheDirectory(), m_home.path(".debug"));
    std::string const config = m_home.file(".perfconfig", "[buildid]\ndir = ~/own\n");
    EXPECT_EQ(perfCacheDirectory(), m_home.path("own"));
    ::setenv("PERF_CONFIG", m_home.file("other", "[buildid]\ndir = /dev/null\n").c_str(), 1);
    EXPECT_EQ(perfCacheDirectory(), "");
    for (std::string const& none : {std::string("/dev/null"), m_home.root(),
                                    m_home.file("large", std::string(2 << 20, ' '))}) {
        ::setenv("PERF_CONFIG", none.c_str(), 1);
        EXPECT_EQ(perfCacheDirectory(), m_home.path(".debug")) << none;
    }
    ::unsetenv("PERF_CONFIG");
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(::chown(config.c_str(), 12345, 0), 0);
    EXPECT_EQ(perfCacheDirectory(), m_home.path(".debug")) << "somebody else's word";
}

TEST_F(ToolCaches, OfDebuginfodLieWhereTheirClientsPutThem) {
    EXPECT_EQ(debuginfodCacheDirectory(), m_home.path(".cache/debuginfod_client"));
    ::setenv("XDG_CACHE_HOME", "/xdg", 1);
    EXPECT_EQ(debuginfodCacheDirectory(), "/xdg/debuginfod_client");
    std::string const old = m_home.dir(".debuginfod_client_cache");
    ::setenv("DEBUGINFOD_CACHE_PATH", "", 1);
    EXPECT_EQ(debuginfodCacheDirectory(), old);
    ::setenv("DEBUGINFOD_CACHE_PATH", "/own", 1);
    EXPECT_EQ(debuginfodCacheDirectory(), "/own");
}

} // namespace
} // namespace lokata::cli
