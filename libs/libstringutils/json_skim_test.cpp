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
    EXPECT_FALSE(for_each_member("[1]", 0, [](auto, auto, auto) { return true; }));
}

} // namespace
} // namespace vantrel::kelvane::libstringutils::json_skim
