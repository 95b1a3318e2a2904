#include "search/name_lists.h"

#include "read/profile_builder.h"

#include "support/search_fixture.h"

#include <sys/stat.h>
#include <unistd.h>

namespace lokata::profile::test {
namespace {

using namespace testing;

constexpr char const* c_list = "0000000000000000 A first\nffffffff81000000 T _text\n";
constexpr char const* c_hidden = "0000000000000000 A first\n0000000000000000 T _text\n";

class NameListsTest : public SearchFixture {
protected:
    NameListsTest() {
        m_kernel.name = "[kernel.kallsyms]";
        m_kernel.kind = ModuleKind::kernel;
        m_kernel.build_id = c_id;
    }

    /// "PLACE CONFIDENCE", or else why each was rejected.
    std::string answer(Module const& module) {
        FileResolution symbols;
        if (NameLists(m_tree.path("cache"), true, m_tree.path("")).find(module, symbols))
            return std::string(wordOf(c_places, symbols.place)) + " " +
                   std::string(wordOf(c_confidences, symbols.confidence));
        EXPECT_FALSE(symbols.found());
        std::string text;
        for (JudgedCandidate const& each : symbols.rejected)
            text += each.message;
        return text;
    }
    void runs(std::string const& notes, BuildId const& id) const {
        m_tree.file(notes, elfNote(Bytes(), NT_GNU_BUILD_ID, "GNU", bytesOf(id)));
    }

    Module m_kernel;
};

TEST_F(NameListsTest, TheRunningKernelTellsItsNamesIfItIsTheRecordedOne) {
    m_tree.file("proc/kallsyms", c_list);
    EXPECT_EQ(answer(m_kernel), "");
    runs("sys/kernel/notes", c_otherId);
    EXPECT_THAT(answer(m_kernel), HasSubstr("09090909"));
    runs("sys/kernel/notes", c_id);
    EXPECT_EQ(answer(m_kernel), "kallsyms cfValidated");

    Module driver = m_kernel;
    driver.kind = ModuleKind::kernel_module;
    for (char const* const name : {"[dm_mod]", "/lib/modules/6.1/kernel/dm-mod.ko.xz"}) {
        driver.name = name;
        EXPECT_EQ(answer(driver), "") << name;
    }
    runs("sys/module/dm_mod/notes/.note.gnu.build-id", c_id);
    EXPECT_EQ(answer(driver), "kallsyms cfValidated");
    driver.name = "[..]";
    EXPECT_EQ(answer(driver), "");

    m_tree.file("proc/kallsyms", c_hidden);
    EXPECT_THAT(answer(m_kernel), HasSubstr("hidden"));
    m_tree.file("cache/[kernel.kallsyms]/" + toHex(c_id) + "/kallsyms", c_list);
    EXPECT_EQ(answer(m_kernel), "perf-cache cfPolicyHigh") << "its path alone says whose it is";
    m_kernel.build_id.clear();
    EXPECT_EQ(answer(m_kernel), "");
}

TEST_F(NameListsTest, AMapOfJittedCodeIsTakenFromItsOwnerOnlyAndProvesNothing) {
    Module jitted;
    jitted.name = "//anon";
    jitted.kind = ModuleKind::anonymous;
    jitted.pid = 12;
    EXPECT_EQ(answer(jitted), "");
    std::string const map = m_tree.file("tmp/perf-12.map", "7f0000001000 20 jitted\n");
    EXPECT_EQ(answer(jitted), "perf-map cfPolicyHigh");
    m_tree.file("tmp/perf-12.map", "no map\n");
    EXPECT_THAT(answer(jitted), HasSubstr("no list of addresses"));
    m_tree.file("tmp/perf-12.map", c_list);
    if (::geteuid() == 0) {
        ASSERT_EQ(::lchown(map.c_str(), 65534, 65534), 0);
        EXPECT_THAT(answer(jitted), HasSubstr("another user"));
    } else {
        GTEST_SKIP() << "only root gives a file away";
    }
}

} // namespace
} // namespace lokata::profile::test
