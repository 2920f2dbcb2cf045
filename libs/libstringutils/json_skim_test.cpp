#include <libstringutils/json_skim.hpp>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantrel::kelvane::libstringutils::json_skim {
namespace {

TEST(JsonSkim, StringsEndAtTheFirstQuoteNotEscapedByAnOddRunOfBackslashes) {
    EXPECT_EQ(skip_string(R"("plain" x)", 0), 7u);
    EXPECT_EQ(skip_string(R"("a\"b" x)", 0), 6u);
    EXPECT_EQ(skip_string(R"("a\\" x)", 0), 5u);
    EXPECT_EQ(skip_string(R"("a\\\"b" x)", 0), 8u);
    EXPECT_EQ(skip_string(R"("open)", 0), std::nullopt);
    EXPECT_EQ(skip_string(R"("\")", 0), std::nullopt);
}

TEST(JsonSkim, MembersComeInOrderWithTheirRawValues) {
    const std::string json = R"({ "a": 1, "b" : {"c": "}"}, "d": [1, "]"] })";
    std::vector<std::string> seen;
    EXPECT_TRUE(for_each_member(json, 0, [&](std::string_view key, std::size_t begin, std::size_t end) {
        seen.push_back(std::string(key) + "=" + json.substr(begin, end - begin));
        return true;
    }));
    EXPECT_EQ(seen, (std::vector<std::string>{"a=1", R"(b={"c": "}"})", R"(d=[1, "]"])"}));
    EXPECT_TRUE(for_each_member("{}", 0, [](auto, auto, auto) { return true; }));
    EXPECT_FALSE(for_each_member(R"({"a" 1})", 0, [](auto, auto, auto) { return true; }));
    EXPECT_FALSE(for_each_member(R"({"a": })", 0, [](auto, auto, auto) { return true; }));
    EXPECT_FALSE(for_each_member(R"({"a": 1, "b":,})", 0, [](auto, auto, auto) { return true; }));
    EXPECT_FALSE(for_each_member("[1]", 0, [](auto, auto, auto) { return true; }));
}

TEST(WithoutMember, RemovesTheMemberWhereverItStands) {
    EXPECT_EQ(without_member(R"({"a": 1, "Text": {"x": [1, {"y": "}"}]}, "b": "c"})", "Text"), R"({"a": 1, "b": "c"})");
    EXPECT_EQ(without_member(R"({"a": [1,2], "Text": {"x": 1}})", "Text"), R"({"a": [1,2]})");
    EXPECT_EQ(without_member(R"({"Text": "t\"}", "a": true})", "Text"), R"({"a": true})");
    EXPECT_EQ(without_member("{\n  \"Text\": {}\n}", "Text"), "{\n  \n}");
    EXPECT_EQ(without_member(R"({"a": 1, "Text": 5})", "Text"), R"({"a": 1})");
}

TEST(WithoutMember, LeavesNestedAndLookAlikeKeysAlone) {
    const std::string nested = R"({"a": {"Text": 1}, "b": "\"Text\": 2"})";
    EXPECT_EQ(without_member(nested, "Text"), nested);
    EXPECT_EQ(without_member(R"({"Texts": 1})", "Text"), R"({"Texts": 1})");
    EXPECT_EQ(without_member("[1]", "Text"), "[1]");
    EXPECT_EQ(without_member("", "Text"), "");
    EXPECT_EQ(without_member(R"({"a": "unterminated)", "Text"), R"({"a": "unterminated)");
}

} // namespace
} // namespace vantrel::kelvane::libstringutils::json_skim
