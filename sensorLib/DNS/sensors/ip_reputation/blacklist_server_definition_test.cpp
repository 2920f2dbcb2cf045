#include <dns/blacklist_server_definition.hpp>
#include <dns/exceptions.hpp>

#include <gtest/gtest.h>
#include <test_support/small_stack.hpp>

#include <functional>
#include <ostream>
#include <string>

namespace vantrel::kelvane::dns {
namespace {

using list = std::vector<std::uint8_t>;

constexpr std::string_view reversed = "10.2.0.192";

// The catalogue message of the module error `parse` throws; an empty message when it throws nothing.
libi18n::i18n_msg error_of(const std::function<void()>& parse) {
    try {
        parse();
    } catch (const exceptions::exception& e) {
        return e.message_key();
    }
    return {};
}

address_filter filter_of(octet_filter a, octet_filter b, octet_filter c, octet_filter d) {
    return {{a, b, c, d}};
}

struct accepted_line {
    const char* name;
    std::string line;
    blacklist_server_definition expected;
    friend void PrintTo(const accepted_line& c, std::ostream* os) { *os << c.line; }
};

class AcceptedLine : public testing::TestWithParam<accepted_line> {};

TEST_P(AcceptedLine, ParsesIntoDefinition) {
    EXPECT_EQ(parse_blacklist_server_definition(GetParam().line, reversed), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, AcceptedLine,
    testing::Values(
        accepted_line{"ZoneAloneCountsEveryAnswerOnce", "bl.example", {"bl.example", "10.2.0.192.bl.example", {}, 1}},
        accepted_line{"EveryZoneCharacter", "Zz-09_.", {"Zz-09_.", "10.2.0.192.Zz-09_.", {}, 1}},
        accepted_line{
            "SingleValuesAndScore",
            "z=127.0.0.2*3",
            {"z", "10.2.0.192.z", filter_of(octet_value{127}, octet_value{0}, octet_value{0}, octet_value{2}), 3}},
        accepted_line{"NegativeScoreWithoutFilter", "z*-2", {"z", "10.2.0.192.z", {}, -2}},
        accepted_line{"NineDigitScore", "z*-999999999", {"z", "10.2.0.192.z", {}, -999999999}},
        accepted_line{"ValueListInWrittenOrderWithDuplicates",
                      "z=127.0.0.[11;10;11]",
                      {"z", "10.2.0.192.z",
                       filter_of(octet_value{127}, octet_value{0}, octet_value{0}, octet_list{list{11, 10, 11}}), 1}},
        accepted_line{"FullRanges",
                      "z=127.[0..255].[0..255].2",
                      {"z", "10.2.0.192.z",
                       filter_of(octet_value{127}, octet_range{0, 255}, octet_range{0, 255}, octet_value{2}), 1}},
        accepted_line{
            "LeadingZerosAreDecimal",
            "z=010.0.0.[08..09]*07",
            {"z", "10.2.0.192.z", filter_of(octet_value{10}, octet_value{0}, octet_value{0}, octet_range{8, 9}), 7}}),
    [](const auto& info) { return info.param.name; });

struct refused_line {
    const char* name;
    std::string line;
    std::string key;
    std::string argument;
    friend void PrintTo(const refused_line& c, std::ostream* os) { *os << c.line; }
};

class RefusedLine : public testing::TestWithParam<refused_line> {};

TEST_P(RefusedLine, ThrowsErrorWithArgument) {
    const auto message = error_of([] { parse_blacklist_server_definition(GetParam().line, reversed); });
    EXPECT_EQ(message.key(), "error." + GetParam().key);
    EXPECT_EQ(message.arguments(), std::vector<std::string>{GetParam().argument});
}

const std::string definition = "dns_server_definition_invalid";
const std::string filter = "dns_server_filter_invalid";
const std::string range = "dns_server_filter_invalid_range";
const std::string value = "dns_server_filter_invalid_value";

INSTANTIATE_TEST_SUITE_P(Lines, RefusedLine,
                         testing::Values(refused_line{"EmptyLine", "", definition, ""},
                                         refused_line{"LeadingBlank", " z", definition, " z"},
                                         refused_line{"BlankAfterScore", "z*3 ", definition, "z*3 "},
                                         refused_line{"SlashInZone", "bl/example", definition, "bl/example"},
                                         refused_line{"TrailingComment", "z # listed", definition, "z # listed"},
                                         refused_line{"NoZone", "=127.0.0.2", definition, "=127.0.0.2"},
                                         refused_line{"EmptyFilter", "z=*3", definition, "z=*3"},
                                         refused_line{"StarWithoutNumber", "z=127.0.0.2*", definition, "z=127.0.0.2*"},
                                         refused_line{"TenDigitScore", "z*1234567890", definition, "z*1234567890"},
                                         refused_line{"PlusSignedScore", "z*+3", definition, "z*+3"},
                                         refused_line{"ThreeOctets", "z=127.0.0*3", filter, "127.0.0"},
                                         refused_line{"FiveOctets", "z=127.0.0.2.1", filter, "127.0.0.2.1"},
                                         refused_line{"BlankAtFilterEnd", "z=127.0.0.2 *3", filter, "127.0.0.2 "},
                                         refused_line{"FourDigitValue", "z=127.0.0.1000", filter, "127.0.0.1000"},
                                         refused_line{"OneElementList", "z=127.0.0.[10]", filter, "127.0.0.[10]"},
                                         refused_line{"RangeWithOneDot", "z=127.0.0.[1.3]", filter, "127.0.0.[1.3]"},
                                         refused_line{"EqualRangeBounds", "z=127.0.0.[5..5]", range, "5..5"},
                                         refused_line{"ReversedRangeBounds", "z=127.0.0.[9..3]", range, "9..3"},
                                         refused_line{"ValueAbove255", "z=127.0.0.256", value, "256"},
                                         refused_line{"ListValueAbove255", "z=127.0.0.[1;999]", value, "999"},
                                         refused_line{"BoundsCheckedBeforeOrder", "z=127.0.0.[300..1]", value, "300"},
                                         refused_line{"FirstOctetErrorWins", "z=1.256.[3..1].1", value, "256"}),
                         [](const auto& info) { return info.param.name; });

// Lines were once matched by a regex engine that recursed per character,
// which crashed such a thread long before these lengths.
TEST(BlacklistServerDefinition, LongLinesAreParsedAndScoredOnASmallStack) {
    std::string every_value = "[0";
    for (int v = 1; v < 256; ++v) {
        every_value += ";" + std::to_string(v);
    }
    every_value += "]";
    const std::string line = "zone.test=" + every_value + "." + every_value + "." + every_value + "." + every_value;
    ASSERT_EQ(line.size(), 3'673u);
    const std::string long_zone(200'000, 'z');
    const std::string long_garbage = "z=" + std::string(200'000, '1') + "*1";
    test_support::run_on_stack(test_support::small_stack_bytes, [&] {
        const auto definition = parse_blacklist_server_definition(line, reversed);
        ASSERT_TRUE(definition.filter);
        EXPECT_EQ(std::get<octet_list>(definition.filter->octets[3]).values.size(), 256u);
        EXPECT_EQ(definition.score_for("127.0.0.2"), 1);
        EXPECT_EQ(definition.score_for("255.254.0.1"), 1);
        EXPECT_EQ(definition.score_for("::1"), 0);
        EXPECT_EQ(parse_blacklist_server_definition(long_zone, reversed).server, long_zone);
        EXPECT_EQ(error_of([&] { parse_blacklist_server_definition(long_garbage, reversed); }).key(),
                  "error.dns_server_filter_invalid");
    });
}

TEST(BlacklistServerDefinition, ScoreForCountsEveryAnswerWithoutFilterAndOnlyMatchesWithOne) {
    const auto any = parse_blacklist_server_definition("z*-2", reversed);
    EXPECT_EQ(any.score_for("127.0.0.2"), -2);
    EXPECT_EQ(any.score_for("::1"), -2);

    const auto filtered = parse_blacklist_server_definition("z=127.0.0.4*5", reversed);
    EXPECT_EQ(filtered.score_for("127.0.0.4"), 5);
    EXPECT_EQ(filtered.score_for("127.0.0.2"), 0);
}

struct answer_case {
    const char* name;
    std::string filter;
    std::string answer;
    bool matches;
    friend void PrintTo(const answer_case& c, std::ostream* os) { *os << c.filter << " vs " << c.answer; }
};

class AnswerMatch : public testing::TestWithParam<answer_case> {};

TEST_P(AnswerMatch, MatchesOnlyWhenEveryOctetPasses) {
    EXPECT_EQ(parse_address_filter(GetParam().filter).matches(GetParam().answer), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(Answers, AnswerMatch,
                         testing::Values(answer_case{"InsideRange", "127.0.0.[1..3]", "127.0.0.2", true},
                                         answer_case{"RangeLowerEnd", "127.0.0.[1..3]", "127.0.0.1", true},
                                         answer_case{"RangeUpperEnd", "127.0.0.[1..3]", "127.0.0.3", true},
                                         answer_case{"BelowRange", "127.0.0.[1..3]", "127.0.0.0", false},
                                         answer_case{"AboveRange", "127.0.0.[1..3]", "127.0.0.4", false},
                                         answer_case{"ListFirst", "127.0.0.[10;11]", "127.0.0.10", true},
                                         answer_case{"ListSecond", "127.0.0.[10;11]", "127.0.0.11", true},
                                         answer_case{"NotInList", "127.0.0.[10;11]", "127.0.0.12", false},
                                         answer_case{"SingleValue", "127.0.0.2", "127.0.0.2", true},
                                         answer_case{"SingleValueIsNotPrefix", "127.0.0.2", "127.0.0.20", false},
                                         answer_case{"FirstOctetChecked", "127.0.0.2", "128.0.0.2", false},
                                         answer_case{"MiddleOctetChecked", "127.[0..9].0.2", "127.10.0.2", false}),
                         [](const auto& info) { return info.param.name; });

TEST(AddressFilter, AnswerThatIsNotADottedIpv4AddressNeverMatches) {
    const auto all = parse_address_filter("[0..255].[0..255].[0..255].[0..255]");
    EXPECT_TRUE(all.matches("255.0.0.255"));
    for (const char* answer : {"::ffff:127.0.0.2", "127.0.0", "127.0.0.2.1", "127.0.0.256", "127.0.0.0002", "127..0.2",
                               "127.0.0.", "127.0.0.+2", ""}) {
        EXPECT_FALSE(all.matches(answer)) << answer;
    }
}

// Texts the address pattern never lets through, handed to the octet parser directly.
TEST(OctetFilter, MalformedOctetTextIsAnInvalidFilter) {
    for (const std::string text : {"", "[]", "[", "[1;2", "[1..]", "[;1]", "[1;]", "1a", "-1", "[1..2..3]"}) {
        const auto message = error_of([&] { parse_octet_filter(text); });
        EXPECT_EQ(message.key(), "error.dns_server_filter_invalid") << text;
        EXPECT_EQ(message.arguments(), std::vector<std::string>{text}) << text;
    }
    EXPECT_EQ(parse_octet_filter("[1;2]"), octet_filter(octet_list{list{1, 2}}));
    EXPECT_EQ(parse_octet_filter("[5]"), octet_filter(octet_list{list{5}})) << "a list of one stays a list";
    EXPECT_EQ(parse_octet_filter("[1..2]").index(), 1U);
}

} // namespace
} // namespace vantrel::kelvane::dns
