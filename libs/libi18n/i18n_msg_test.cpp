#include <libi18n/english_texts.hpp>
#include <libi18n/i18n_msg.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::libi18n {
namespace {

constexpr text_entry test_texts[] = {
    {"test.two_args", "first %0:s, then %1:s"},
    {"test.broken", "50% broken %0:s"},
};

class I18nMsg : public ::testing::Test {
protected:
    void SetUp() override { add_english_texts(test_texts); }
};

TEST_F(I18nMsg, SerialisesKeyAndArguments) {
    EXPECT_EQ(i18n_msg("error.query_failed", {"4", "Domain name not found"}).serialize(),
              "error.query_failed#:[4,Domain name not found]");
    EXPECT_EQ(i18n_msg("k", {}).serialize(), "k#:[]");
    EXPECT_EQ(i18n_msg("k", {""}).serialize(), "k#:[]");
    EXPECT_EQ(i18n_msg("k", {"", ""}).serialize(), "k#:[,]");
}

TEST_F(I18nMsg, EscapesEverySeparatorInArguments) {
    EXPECT_EQ(i18n_msg("k", {"a,b"}).serialize(), "k#:[a\\,b]");
    EXPECT_EQ(escape_argument("\\#[],:x"), "\\\\\\#\\[\\]\\,\\:x");
    EXPECT_EQ(escape_argument("[::1]:53"), "\\[\\:\\:1\\]\\:53");
    EXPECT_EQ(escape_argument("plain text"), "plain text");
}

TEST_F(I18nMsg, EnglishFillsTheCatalogueText) {
    EXPECT_EQ(i18n_msg("test.two_args", {"a", "b"}).english(), "first a, then b");
}

TEST_F(I18nMsg, EnglishFallsBackToTheSerialisedFormForUnknownOrBrokenTexts) {
    EXPECT_EQ(i18n_msg("test.unknown", {"x,y"}).english(), "test.unknown#:[x\\,y]");
    EXPECT_EQ(i18n_msg("test.broken", {"x"}).english(), "test.broken#:[x]");
    EXPECT_EQ(i18n_msg("test.two_args", {"only one"}).english(), "test.two_args#:[only one]");
}

TEST_F(I18nMsg, PlainMessagesAreNotTranslated) {
    const auto msg = i18n_msg::plain("OK: A=10.0.0.1");
    EXPECT_TRUE(msg.is_plain());
    EXPECT_EQ(msg.english(), "OK: A=10.0.0.1");
    EXPECT_EQ(msg.serialize(), "OK: A=10.0.0.1");
}

TEST_F(I18nMsg, FirstRegisteredTextWins) {
    constexpr text_entry again[] = {{"test.two_args", "replaced"}};
    add_english_texts(again);
    EXPECT_EQ(english_text("test.two_args").value(), "first %0:s, then %1:s");
    EXPECT_EQ(english_text("libi18n.error.generic").value(), "An error occurred. %0:s");
    EXPECT_FALSE(english_text("nope").has_value());
}

} // namespace
} // namespace vantrel::kelvane::libi18n
