#include <libstringutils/to_long.hpp>

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantrel::kelvane::libstringutils {
namespace {

TEST(ToLong, WholeBase10Numbers) {
    EXPECT_EQ(to_long("0"), 0);
    EXPECT_EQ(to_long("007"), 7);
    EXPECT_EQ(to_long("+12"), 12);
    EXPECT_EQ(to_long("-12"), -12);
    EXPECT_EQ(to_long(std::to_string(LONG_MAX)), LONG_MAX);
    EXPECT_EQ(to_long(std::to_string(LONG_MIN)), LONG_MIN);
}

TEST(ToLong, TextThatIsNotANumberIsAnInvalidArgumentWithTheStolText) {
    for (const char* text : {"", "+", "-", "+-1", "abc", " 1", "1 ", "1a", "0x10", "1.5"}) {
        try {
            to_long(text);
            ADD_FAILURE() << "accepted \"" << text << "\"";
        } catch (const std::invalid_argument& e) {
            EXPECT_STREQ(e.what(), "invalid stol argument") << text;
        }
    }
}

TEST(ToLong, NumberBeyondLongIsOutOfRangeWithTheStolText) {
    for (const std::string& text : std::vector<std::string>{"99999999999999999999999", "-99999999999999999999999",
                                                            std::to_string(LONG_MAX) + "0"}) {
        try {
            to_long(text);
            ADD_FAILURE() << "accepted " << text;
        } catch (const std::out_of_range& e) {
            EXPECT_STREQ(e.what(), "stol argument out of range") << text;
        }
    }
}

} // namespace
} // namespace vantrel::kelvane::libstringutils
