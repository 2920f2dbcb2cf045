#include "terminal_text.hpp"

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe {
namespace {

struct escape_case {
    const char* name;
    std::string text;
    std::string shown;
};

void PrintTo(const escape_case& c, std::ostream* out) {
    *out << c.name;
}

class EscapeControls : public ::testing::TestWithParam<escape_case> {};

TEST_P(EscapeControls, OnOneLine) {
    EXPECT_EQ(escape_controls(GetParam().text), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, EscapeControls,
    ::testing::Values(escape_case{"plain", "OK: A=10.0.0.1", "OK: A=10.0.0.1"},
                      escape_case{"utf8_kept", "Anzahl Einträge 日本", "Anzahl Einträge 日本"},
                      escape_case{"line_breaks", "a\nDNS OK - b\r", "a\\010DNS OK - b\\013"},
                      escape_case{"terminal_escape", "\x1b]0;title\x07\x1b[2J", "\\027]0;title\\007\\027[2J"},
                      escape_case{"nul_and_del", std::string("a\0b\x7f", 4), "a\\000b\\127"},
                      escape_case{"c1_control_in_utf8",
                                  "x\xc2\x9b"
                                  "31m",
                                  "x\\194\\155"
                                  "31m"},
                      escape_case{"invalid_utf8", "\xff\xc3(\xe2\x82", "\\255\\195(\\226\\130"},
                      escape_case{"overlong_and_surrogate", "\xc0\xaf\xed\xa0\x80", "\\192\\175\\237\\160\\128"},
                      escape_case{"backslash_kept", "C:\\dir \\065", "C:\\dir \\065"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(EscapeControlsByLine, KeepsTheLineStructureOnly) {
    EXPECT_EQ(escape_controls_by_line(";; ANSWER SECTION:\nx. 300 IN TXT \"a\x1b[31m\"\r\n\n"),
              ";; ANSWER SECTION:\nx. 300 IN TXT \"a\\027[31m\"\\013\n\n");
}

TEST(QuotedValue, IsEscapedCutAfter80CharactersAndNeverShowsASecret) {
    EXPECT_EQ(quoted_value("abc", false), "\"abc\"");
    EXPECT_EQ(quoted_value("a\nb", false), "\"a\\010b\"");
    const std::string long_value = std::string(79, 'x') + "äyz";
    EXPECT_EQ(quoted_value(long_value, false), "\"" + std::string(79, 'x') + "ä\"...");
    EXPECT_EQ(quoted_value(std::string(80, 'x'), false), "\"" + std::string(80, 'x') + "\"");
    EXPECT_EQ(quoted_value("hunter2", true).find("hunter2"), std::string::npos);
    EXPECT_EQ(quoted_value("", true), quoted_value("hunter2", true)) << "not even the length shows";
}

} // namespace
} // namespace vantrel::kelvane::probe
