#include <toolbelt2/variant.h>
#include <toolbelt2/variant_bag.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace toolbelt2;

variant_bag_t numbered(std::uint8_t number) {
    variant_bag_t bag;
    bag.put("number", number);
    return bag;
}

std::vector<std::uint64_t> numbers_under(variant_bag_t const& bag, char const* name) {
    std::vector<std::uint64_t> numbers;
    for (auto child = bag.begin_by_name(name); !child.at_end(); child.next())
        numbers.push_back(child.get_value().get("number")->as_uint64());
    return numbers;
}

TEST(VariantBag, PutReplacesAVariantInItsPlaceAndLeavesChildrenOfThatName) {
    variant_bag_t bag;
    bag.add_variant_bag("a", numbered(1));
    bag.put("a", "old");
    bag.put("b", true);
    bag.put("a", std::uint8_t{7});

    ASSERT_EQ(bag.entries().size(), 3U);
    EXPECT_EQ(std::get<variant_t>(bag.entries()[1].m_content), variant_t(std::uint8_t{7}));
    EXPECT_EQ(bag.get("a")->as_uint64(), 7U);
    EXPECT_EQ(bag.get("c"), nullptr);
    EXPECT_EQ(numbers_under(bag, "a"), std::vector<std::uint64_t>{1});
}

TEST(VariantBag, ChildrenOfOneNameComeInTheOrderOfAdding) {
    variant_bag_t bag;
    bag.put("child", true);
    for (std::uint8_t number : {3, 1, 2}) {
        bag.add_variant_bag("child", numbered(number));
        bag.add_variant_bag("other", numbered(9));
    }
    EXPECT_EQ(numbers_under(bag, "child"), (std::vector<std::uint64_t>{3, 1, 2}));
    auto iterator = bag.begin_by_name("child");
    bag = variant_bag_t();
    iterator.next();
    EXPECT_EQ(iterator.get_value(), numbered(1)) << "it outlives the bag";
}

} // namespace
