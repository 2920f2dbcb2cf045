#include <dns/record_listing.hpp>
#include <dns/wildcard_to_regex.hpp>

#include <gtest/gtest.h>

#include <ostream>

#include <memory>
#include <string>
#include <vector>

namespace vantrel::kelvane::dns {
namespace {

struct wildcard_case {
    const char* name;
    std::string wildcard;
    std::string star_only;
    std::string with_question_mark;
};
// Cases print as their name in test output.
void PrintTo(const wildcard_case& c, std::ostream* out) {
    *out << c.name;
}

class WildcardToRegex : public ::testing::TestWithParam<wildcard_case> {};

TEST_P(WildcardToRegex, BothModes) {
    EXPECT_EQ(wildcard_to_regex(GetParam().wildcard, wildcard_mode::star_only), GetParam().star_only);
    EXPECT_EQ(wildcard_to_regex(GetParam().wildcard, wildcard_mode::star_and_question_mark),
              GetParam().with_question_mark);
}

INSTANTIATE_TEST_SUITE_P(
    Conversions, WildcardToRegex,
    ::testing::Values(wildcard_case{"Plain", "abc", "abc", "abc"},
                      wildcard_case{"StarAndPoints", "127.*.1", R"(127\..*\.1)", R"(127\..*\.1)"},
                      wildcard_case{"QuestionMark", "a?c", R"(a\?c)", "a.c"},
                      wildcard_case{"EverySpecial", R"(\^$.+?()[]{}|)", R"(\\\^\$\.\+\?\(\)\[\]\{\}\|)",
                                    R"(\\\^\$\.\+.\(\)\[\]\{\}\|)"},
                      wildcard_case{"OtherPunctuationKept", "a-b_c/d:e=f\"g", "a-b_c/d:e=f\"g", "a-b_c/d:e=f\"g"},
                      wildcard_case{"Empty", "", "", ""}),
    [](const auto& info) { return info.param.name; });

TEST(TrimBlank, RemovesSpacesAndControlCharactersAtBothEndsOnly) {
    EXPECT_EQ(trim_blank(" \t\r\n\x01 a b \x7f\v\f"), "a b");
    EXPECT_EQ(trim_blank(" \t "), "");
    EXPECT_EQ(trim_blank("\xc3\xa9"), "\xc3\xa9") << "bytes above 127 are not blank";
}

std::shared_ptr<dns_result_record> a(const std::string& address) {
    return std::make_shared<dns_a_record>("host.test", 1, 1, 300, address);
}
std::shared_ptr<dns_result_record> aaaa(const std::string& address) {
    return std::make_shared<dns_aaaa_record>("host.test", 28, 1, 300, address);
}
std::shared_ptr<dns_result_record> ns(const std::string& host) {
    return std::make_shared<dns_ns_record>("test", 2, 1, 300, host);
}
std::shared_ptr<dns_result_record> txt(const std::string& text) {
    return std::make_shared<dns_txt_record>("host.test", 16, 1, 300, text);
}
std::shared_ptr<dns_result_record> mx(std::uint16_t preference, const std::string& exchange) {
    return std::make_shared<dns_mx_record>("test", 300, preference, exchange);
}

std::string listing(const dns_query_result& result, std::string_view type) {
    auto records = collect_records(result, type);
    return list_records(records);
}

TEST(RecordListing, GroupsByTypeCodeAndSortsValuesBytewise) {
    dns_query_result result;
    result.answers = {txt("v=spf1"),  a("10.0.0.2"),  aaaa("::1"),       mx(20, "mx2.test"),
                      a("10.0.0.10"), ns("ns1.test"), mx(10, "mx1.test")};
    EXPECT_EQ(listing(result, "ANY"),
              "A=10.0.0.10, 10.0.0.2, NS=ns1.test, MX=10 mx1.test, 20 mx2.test, TXT=v=spf1, AAAA=::1");
    EXPECT_EQ(listing(result, ""), listing(result, "ANY")) << "no type text takes every record too";
    EXPECT_EQ(listing(result, "A"), "A=10.0.0.10, 10.0.0.2");
    EXPECT_EQ(listing(result, "MX"), "MX=10 mx1.test, 20 mx2.test");
}

TEST(RecordListing, TakesAnswersThenAuthoritiesButNeverAdditionals) {
    dns_query_result result;
    result.authorities = {ns("ns2.test"), a("10.9.9.9")};
    result.additionals = {ns("glue.test"), a("10.0.0.1")};
    auto records = collect_records(result, "NS");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].record, result.authorities[0].get());

    result.answers = {ns("ns1.test")};
    records = collect_records(result, "NS");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].value, "ns1.test");
    EXPECT_EQ(records[1].value, "ns2.test");
    EXPECT_EQ(collect_records(result, "ANY").size(), 3u);
    EXPECT_TRUE(collect_records(result, "AAAA").empty());
}

struct filter_case {
    const char* name;
    std::string filter;
    std::vector<std::string> values;
    std::int64_t matched;
};
// Cases print as their name in test output.
void PrintTo(const filter_case& c, std::ostream* out) {
    *out << c.name;
}

class RecordFilter : public ::testing::TestWithParam<filter_case> {};

TEST_P(RecordFilter, CountsWholeTrimmedValues) {
    std::vector<std::shared_ptr<dns_result_record>> keep;
    std::vector<listed_record> records;
    for (const auto& value : GetParam().values) {
        keep.push_back(txt(value));
        records.push_back({keep.back().get(), "TXT", value});
    }
    EXPECT_EQ(count_matching(records, record_filter(GetParam().filter)), GetParam().matched);
}

INSTANTIATE_TEST_SUITE_P(
    Filters, RecordFilter,
    ::testing::Values(
        filter_case{"WildcardListTwoPieces",
                    "127.*.1, 10.0.0.1",
                    {"127.0.0.1", "127.10.20.1", "10.0.0.1", "10.0.0.11", "127.0.0.2", "x127.0.0.1"},
                    3},
        filter_case{"TrailingBlankOfValueIgnored", "127.0.0.1", {"127.0.0.1 ", "\t127.0.0.1\r\n"}, 2},
        filter_case{"PointIsLiteral", "10.0.0.1", {"10a0b0c1"}, 0},
        filter_case{"QuestionMarkIsLiteral", "a?c", {"a?c", "abc", "ac"}, 1},
        filter_case{"RegexSyntaxIsLiteral", "(a|b)+", {"(a|b)+", "a", "ab"}, 1},
        filter_case{"CaseSensitive", "Mail.Test", {"mail.test", "Mail.Test"}, 1},
        filter_case{"DuplicatesAndBlankPiecesCollapse", " a , a,, ,b ", {"a", "b", "", " "}, 2},
        filter_case{"EmptyFilterMatchesEverything", "", {"anything", ""}, 2},
        filter_case{"StarAlone", "*", {"x", "y.z", ""}, 3},
        filter_case{"StarStopsAtLineTerminators", "a*b", {"a\nb", "a\rb", "axb", "ab"}, 2},
        filter_case{"LineTerminatorInsideAPieceIsLiteral", "a\nb*", {"a\nbc", "axbc"}, 1},
        filter_case{"HeadAndTailNeverShareACharacter", "ab*ba", {"aba", "abba", "abxba"}, 2},
        filter_case{"InnerPiecesInOrder", "*ab*ba*", {"xabyba", "xbayab", "aba", "abba"}, 2},
        filter_case{"InnerPieceAcrossATerminatorIsUnreachable", "a*b*c", {"ab\nc", "a\nbc", "axbyc", "a\nb\nc"}, 1},
        filter_case{"OverlappingInnerPieces", "*aab*", {"aaab", "aaaab", "aab\naa", "aaba"}, 3},
        filter_case{"DoubleStarIsOneStar", "a**b", {"ab", "axyb", "a\nb"}, 2}),
    [](const auto& info) { return info.param.name; });

TEST(RecordFilter, NoFilterIsTooLongToUse) {
    // std::regex refuses or overflows the stack on an alternation this long.
    std::string filter;
    for (int i = 0; i < 20'000; ++i) {
        filter += "host" + std::to_string(i) + ".*.test, ";
    }
    filter += "last";
    const record_filter f(filter);
    EXPECT_TRUE(f.matches("host19999.a.b.test"));
    EXPECT_TRUE(f.matches("last"));
    EXPECT_FALSE(f.matches("host20000.a.test"));
}

TEST(ExactFilter, ComparesTheTrimmedMessageWithTheUntrimmedFilter) {
    EXPECT_EQ(count_exact_match("A=127.0.0.1", "A=127.0.0.1"), 1);
    EXPECT_EQ(count_exact_match(" A=127.0.0.1\n", "A=127.0.0.1"), 1);
    EXPECT_EQ(count_exact_match("A=127.0.0.1", " A=127.0.0.1"), 0);
    EXPECT_EQ(count_exact_match("A=127.0.0.1, 127.0.0.2", "A=127.0.0.1"), 0);
    EXPECT_EQ(count_exact_match("A=127.0.0.1", "a=127.0.0.1"), 0);
}

} // namespace
} // namespace vantrel::kelvane::dns
