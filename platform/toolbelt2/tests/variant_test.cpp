#include <toolbelt2/generic_iterator.h>
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
    for (auto child = bag.begin_by_name(name); !child.at_end(); child.next()) {
        numbers.push_back(child.get_value().get("number")->as_uint64());
    }
    return numbers;
}

TEST(Variant, CarriesTheTypeNumberOfWhatItWasMadeFrom) {
    EXPECT_EQ(variant_t(true).type(), 0);
    EXPECT_EQ(variant_t(true).as_uint64(), 1U);
    EXPECT_EQ(variant_t(std::uint8_t{255}).type(), 3);
    EXPECT_EQ(variant_t(std::uint8_t{255}).as_uint64(), 255U);
    EXPECT_EQ(variant_t("a/\xff").type(), 12);
    EXPECT_EQ(variant_t("a/\xff").as_text(), "a/\xff");
    EXPECT_EQ(variant_t(static_cast<char const*>(nullptr)).as_text(), "");
}

TEST(Variant, KeepsTypeNumbersThatNobodyKnows) {
    auto const future = static_cast<variant_type_t>(-4711);
    EXPECT_EQ(variant_t::from_bits(future, ~0ULL).type(), -4711);
    EXPECT_EQ(variant_t::from_bits(future, ~0ULL).as_uint64(), ~0ULL);
    EXPECT_FALSE(variant_t::from_bits(vtLongText, 1).is_text());
    EXPECT_TRUE(variant_t::from_text(vtLongText, "x").is_text());
    EXPECT_EQ(variant_t::from_text(vtLongText, "x").as_uint64(), 0U);
    EXPECT_NE(variant_t::from_text(vtLongText, "x"), variant_t("x"));
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
    EXPECT_EQ(bag.get("other"), nullptr);
    EXPECT_TRUE(bag.begin_by_name("Child").at_end());
}

TEST(VariantBag, CopiesAreIndependentDownToTheChildren) {
    variant_bag_t original = numbered(1);
    original.add_variant_bag("self", original);
    variant_bag_t copy = original;
    EXPECT_EQ(copy, original);

    copy.add_variant_bag("self", numbered(2));
    EXPECT_NE(copy, original);
    EXPECT_EQ(numbers_under(original, "self"), std::vector<std::uint64_t>{1});
}

TEST(VariantBag, EqualityLooksIntoChildrenAndAtOrder) {
    variant_bag_t left;
    left.add_variant_bag("x", numbered(1));
    left.add_variant_bag("x", numbered(2));
    variant_bag_t right;
    right.add_variant_bag("x", numbered(2));
    right.add_variant_bag("x", numbered(1));
    EXPECT_NE(left, right);
}

TEST(GenericIterator, OutlivesWhatItWasMadeFromAndCopiesWalkOnTheirOwn) {
    generic_iterator_t<variant_bag_t> iterator;
    EXPECT_TRUE(iterator.at_end());
    {
        variant_bag_t bag;
        bag.add_variant_bag("x", numbered(1));
        bag.add_variant_bag("x", numbered(2));
        iterator = bag.begin_by_name("x");
    }
    auto second = iterator;
    second.next();
    EXPECT_EQ(iterator.get_value().get("number")->as_uint64(), 1U);
    EXPECT_EQ(second.get_value().get("number")->as_uint64(), 2U);
    second.next();
    second.next();
    EXPECT_TRUE(second.at_end());
    EXPECT_FALSE(iterator.at_end());
}

} // namespace
