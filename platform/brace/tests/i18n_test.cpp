#include <brace/i18n.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using BRACE_2_18::generic::argument;
using BRACE_2_18::generic::varg_list;
using BRACE_2_18::i18n::catalog_t;
using BRACE_2_18::i18n::message_t;
using BRACE_2_18::types::nil;
using BRACE_2_18::types::variant;

std::string rendered(char const* text, varg_list const& arguments) {
    return message_t(text).as_ustring(arguments);
}

TEST(Message, PlaceholdersTakeTheirArguments) {
    varg_list const file = varg_list::with_first(argument("arg1", variant("/a")));
    EXPECT_EQ(rendered("{arg1}", file), "/a");
    EXPECT_EQ(rendered("No {arg1}, not {arg1}.", file), "No /a, not /a.");
    EXPECT_EQ(rendered("plain", file), "plain");
    EXPECT_EQ(rendered("", file), "");
    EXPECT_EQ(rendered("<{%1}>", varg_list::with_first(argument("%1", variant("x")))), "<x>");
    EXPECT_EQ(rendered("<{arg1}>", varg_list::with_first(argument("arg1", variant(nullptr)))),
              "<>");
}

TEST(Message, APlaceholderWithoutAnArgumentStaysAsItIsWritten) {
    EXPECT_EQ(rendered("{arg1} {}", varg_list()), "{arg1} {}");
    varg_list const valueless = varg_list::with_first(argument("arg1", nil));
    EXPECT_EQ(rendered("{arg1} {ARG1} { arg1 }", valueless), "{arg1} {ARG1} { arg1 }");
    varg_list const file = varg_list::with_first(argument("arg1", variant("/a")));
    EXPECT_EQ(rendered("{arg} {arg12}{arg1}", file), "{arg} {arg12}/a");
}

TEST(Message, BracesThatArePartOfNoPlaceholderStay) {
    varg_list const file = varg_list::with_first(argument("arg1", variant("/a")));
    EXPECT_EQ(rendered("{{arg1}}", file), "{arg1}");
    EXPECT_EQ(rendered("{{{arg1}}}", file), "{/a}");
    EXPECT_EQ(rendered("{", file), "{");
    EXPECT_EQ(rendered("}", file), "}");
    EXPECT_EQ(rendered("a } b { c", file), "a } b { c");
    EXPECT_EQ(rendered("{x{arg1}", file), "{x/a");
    EXPECT_EQ(rendered("{arg1}}", file), "/a}");
}

TEST(Message, WhatWasFilledInIsNotLookedAtAgain) {
    varg_list const file = varg_list::with_first(argument("arg1", variant("{arg1}{{}}")));
    EXPECT_EQ(rendered("[{arg1}]", file), "[{arg1}{{}}]");
}

TEST(Message, NonAsciiAndInvalidBytesPassThrough) {
    EXPECT_EQ(
        rendered("Größe „{größe}“", varg_list::with_first(argument("größe", variant("/\xff\xc3")))),
        "Größe „/\xff\xc3“");
}

TEST(Message, AllOfThe26PositionsCount) {
    argument const last("z", variant("last"));
    varg_list const arguments(argument("a", variant("first")), nil, nil, nil, nil, nil, nil, nil,
                              nil, nil, nil, nil, nil, nil, nil, nil, nil, nil, nil, nil, nil, nil,
                              nil, nil, argument("a", variant("second")), last);
    EXPECT_EQ(rendered("{a} {z}", arguments), "first last");
}

TEST(Catalog, GivesTheMessageOfAKeyAndAnEmptyOneForAnUnknownKey) {
    catalog_t catalog;
    EXPECT_EQ(catalog.size(), 0U);
    catalog.put("Key", "old");
    catalog.put("Key", "text");
    EXPECT_EQ(catalog.size(), 1U);
    EXPECT_EQ(catalog.message("Key").size(), 4U);
    EXPECT_EQ(catalog.message("key").size(), 0U);
    EXPECT_EQ(catalog.message("key").as_ustring(varg_list()).str(), "");
}

} // namespace
