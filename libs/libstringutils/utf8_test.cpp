#include <libstringutils/utf8.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::libstringutils {
namespace {

struct utf8_case {
    const char* name;
    std::string input;
    std::string escaped;
};

void PrintTo(const utf8_case& value, std::ostream* out) {
    *out << value.name;
}

class utf8_escaping : public ::testing::TestWithParam<utf8_case> {};

TEST_P(utf8_escaping, EscapesExactlyTheBytesOutsideWellFormedSequences) {
    const auto& c = GetParam();
    EXPECT_EQ(escape_invalid_utf8(c.input), c.escaped);
    EXPECT_EQ(is_valid_utf8(c.input), c.input == c.escaped);
    EXPECT_TRUE(is_valid_utf8(escape_invalid_utf8(c.input)));
    std::string in_place = c.input;
    make_valid_utf8(in_place);
    EXPECT_EQ(in_place, c.escaped);
}

INSTANTIATE_TEST_SUITE_P(Cases, utf8_escaping,
                         ::testing::Values(utf8_case{"ascii_with_controls", std::string("a\tb\0c\x1b[1m", 9),
                                                     std::string("a\tb\0c\x1b[1m", 9)},
                                           utf8_case{"latin1_byte", "caf\xe9", "caf\\233"},
                                           utf8_case{"two_three_four_byte_sequences",
                                                     "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80",
                                                     "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"},
                                           utf8_case{"stray_continuation", "a\x80z", "a\\128z"},
                                           utf8_case{"truncated_at_end", "ok\xe2\x82", "ok\\226\\130"},
                                           utf8_case{"overlong_slash", "\xc0\xaf", "\\192\\175"},
                                           utf8_case{"overlong_three_byte", "\xe0\x80\xaf", "\\224\\128\\175"},
                                           utf8_case{"surrogate", "\xed\xa0\x80", "\\237\\160\\128"},
                                           utf8_case{"above_unicode", "\xf4\x90\x80\x80", "\\244\\144\\128\\128"},
                                           utf8_case{"byte_ff", "\xff", "\\255"},
                                           utf8_case{"valid_after_invalid", "\xe9\xc3\xa9", "\\233\xc3\xa9"},
                                           // Long ASCII runs are skipped sixteen bytes at a time: a bad byte
                                           // at the end of a block, in the tail after the last block, or a
                                           // sequence cut by the end of a block is still found.
                                           utf8_case{"bad_byte_ending_a_block",
                                                     "abcdefghijklmno\xff"
                                                     "abcdefghijklmnop",
                                                     "abcdefghijklmno\\255abcdefghijklmnop"},
                                           utf8_case{"bad_byte_in_the_tail", "abcdefghijklmnopabcdefghijklmnop\x80q",
                                                     "abcdefghijklmnopabcdefghijklmnop\\128q"},
                                           utf8_case{"sequence_across_blocks",
                                                     "abcdefghijklmn\xe2\x82\xac"
                                                     "abcdefghijklmnop\xc3",
                                                     "abcdefghijklmn\xe2\x82\xac"
                                                     "abcdefghijklmnop\\195"}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ControlCharacters, EveryC0CharacterAndDelBecomeDecimalEscapes) {
    EXPECT_EQ(escape_control_characters(std::string("x | fake=1\nDNS OK\x1b[2J\a\0\x7f\xc3\xa9", 26)),
              "x | fake=1\\010DNS OK\\027[2J\\007\\000\\127\xc3\xa9");
}

} // namespace
} // namespace vantrel::kelvane::libstringutils
