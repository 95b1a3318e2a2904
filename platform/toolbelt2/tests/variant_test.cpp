#include <toolbelt2/variant.h>
#include <toolbelt2/variant_bag.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using namespace toolbelt2;

variant_bag_t numbered(std::uint8_t number) {
    variant_bag_t bag;
    bag.put("number", number);
    return bag;
}

TEST(VariantBag, KeepsTheOrderOfAddingAndReplacesVariantsAloneInTheirPlace) {
    variant_bag_t bag;
    bag.add_variant_bag("a", numbered(3));
    bag.put("a", "old");
    bag.put("b", true);
    bag.add_variant_bag("b", numbered(9));
    bag.add_variant_bag("a", numbered(1));
    bag.put("a", std::uint8_t{7});

    ASSERT_EQ(bag.entries().size(), 5U);
    EXPECT_EQ(std::get<variant_t>(bag.entries()[1].m_content), variant_t(std::uint8_t{7}));
    EXPECT_EQ(bag.get("a")->as_uint64(), 7U);
    EXPECT_EQ(bag.get("c"), nullptr);
    auto children = bag.begin_by_name("a");
    bag = variant_bag_t();
    for (std::uint8_t number : {3, 1}) {
        ASSERT_FALSE(children.at_end());
        EXPECT_EQ(children.get_value(), numbered(number)) << "it outlives the bag";
        children.next();
    }
    EXPECT_TRUE(children.at_end());
}

} // namespace
