#include <libstringutils/exceptions.hpp>
#include <libstringutils/format.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace vantrel::kelvane::libstringutils {
namespace {

TEST(Format, PlaceholdersInAnyOrderAndRepeated) {
    EXPECT_EQ(format("%1:s-%0:s", {"a", "b"}), "b-a");
    EXPECT_EQ(format("%0:s%0:s/%0:s", {"x"}), "xx/x");
    EXPECT_EQ(format("[%10:s]", {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "ten"}), "[ten]");
    EXPECT_EQ(format("no placeholders", {"unused"}), "no placeholders");
    EXPECT_EQ(format("", {}), "");
}

TEST(Format, DoublePercentIsALiteralPercent) {
    EXPECT_EQ(format("100%%", {}), "100%");
    EXPECT_EQ(format("%%0:s", {"a"}), "%0:s");
    EXPECT_EQ(format("%%%0:s%%", {"7"}), "%7%");
}

TEST(Format, ArgumentsAreInsertedVerbatim) {
    EXPECT_EQ(format("<%0:s>", {"%1:s %% %"}), "<%1:s %% %>");
}

TEST(Format, LonePercentIsMalformedWhateverTheArguments) {
    for (const char* text : {"50% done", "%0:d", "%", "end %", "%:s", "%0", "%0:"}) {
        EXPECT_THROW(format(text, {"a", "b"}), exceptions::format_string_error) << text;
    }
    EXPECT_THAT([&] { format("50% done", {}); }, ::testing::ThrowsMessage<exceptions::format_string_error>(
                                                     ::testing::StrEq("Malformed placeholder in format string.")));
}

TEST(Format, IndexBeyondArgumentsNamesTheDigits) {
    EXPECT_THAT(
        [&] {
            format("%2:s", {"a", "b"});
        },
        ::testing::ThrowsMessage<exceptions::placeholder_index_not_in_arguments>(
            ::testing::StrEq("Index 2 is too high for argument list.")));
    EXPECT_THAT([&] { format("%007:s", {}); }, ::testing::ThrowsMessage<exceptions::placeholder_index_not_in_arguments>(
                                                   ::testing::StrEq("Index 007 is too high for argument list.")));
}

TEST(Format, IndexTooLargeForANumberIsOutOfRange) {
    EXPECT_THAT([&] { format("%99999999999999999999999:s", {"a"}); },
                ::testing::ThrowsMessage<std::out_of_range>(::testing::StrEq("stol argument out of range")));
}

TEST(Format, BothFormatterErrorsShareTheFamilyRoot) {
    EXPECT_THROW(format("%", {}), exceptions::exception);
    EXPECT_THROW(format("%3:s", {}), exceptions::exception);
}

} // namespace
} // namespace vantrel::kelvane::libstringutils
