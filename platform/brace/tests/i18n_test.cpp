#include <brace/i18n.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using BRACE_2_18::generic::argument;
using BRACE_2_18::generic::varg_list;
using BRACE_2_18::i18n::message_t;
using BRACE_2_18::types::nil;
using BRACE_2_18::types::variant;

/// The text with `value` in the place of {arg1}.
std::string rendered(char const* text, variant const& value = variant("/a")) {
    return message_t(text).as_ustring(varg_list::with_first(argument("arg1", value)));
}

TEST(Message, FillsPlaceholdersAndLeavesAllOtherBraces) {
    for (auto const& [text, expected] :
         {std::pair("{arg1}", "/a"), std::pair("No {arg1}, not {arg1}.", "No /a, not /a."),
          std::pair("plain", "plain"), std::pair("", ""),
          std::pair("{arg} {arg12}{arg1} {ARG1} { arg1 } {}", "{arg} {arg12}/a {ARG1} { arg1 } {}"),
          std::pair("{{arg1}}", "{arg1}"), std::pair("{{{arg1}}}", "{/a}"), std::pair("{", "{"),
          std::pair("}", "}"), std::pair("{x{arg1}", "{x/a"), std::pair("{arg1}}", "/a}")})
        EXPECT_EQ(rendered(text), expected);
    EXPECT_EQ(rendered("<{arg1}>", variant(nullptr)), "<>");
    EXPECT_EQ(rendered("<{arg1}>", variant()), "<{arg1}>");
    EXPECT_EQ(rendered("[{arg1}]", variant("{arg1}{{}}")), "[{arg1}{{}}]")
        << "what was filled in is not looked at again";
    varg_list const bytes = varg_list::with_first(argument("größe", variant("/\xff\xc3")));
    EXPECT_EQ(message_t("Größe „{größe}“").as_ustring(bytes).str(), "Größe „/\xff\xc3“");
}

TEST(ArgumentList, TakesAnArgumentOrNilInEachOfIts26Positions) {
    argument const a("a", "first");
    varg_list const list(nil, nil, a, nil, nil, nil, nil, nil, nil, nil, nil, nil, nil, nil, nil,
                         nil, nil, nil, nil, nil, nil, nil, nil, nil, argument("a", "second"),
                         argument("z", "last"));
    EXPECT_EQ(message_t("{a} {z} {}").as_ustring(list).str(), "first last {}");
}

} // namespace
