#include <libi18n/i18n_exception.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::libi18n {
namespace {

TEST(I18nException, CarriesKeyArgumentsAndEnglishText) {
    const generic_error e("disk on fire");
    EXPECT_STREQ(e.what(), "An error occurred. disk on fire");
    EXPECT_EQ(e.message_key().key(), "libi18n.error.generic");
    ASSERT_EQ(e.message_key().arguments().size(), 1u);
    const auto [serialised, english] = e.texts();
    EXPECT_EQ(serialised, "libi18n.error.generic#:[disk on fire]");
    EXPECT_EQ(english, "An error occurred. disk on fire");
}

TEST(I18nException, IsCaughtAsEveryBase) {
    EXPECT_THROW(throw generic_error("x"), libexception::exception);
    EXPECT_THROW(throw generic_error("x"), std::exception);
    struct family : _i18n_exception<i18n_exception> {
        using _i18n_exception::_i18n_exception;
    };
    EXPECT_THROW(throw family("k", {}), i18n_exception);
}

} // namespace
} // namespace vantrel::kelvane::libi18n
