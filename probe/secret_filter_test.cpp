#include "secret_filter.hpp"

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe {
namespace {

TEST(SecretFilter, MasksEveryOccurrenceAndTheEscapedForms) {
    secret_filter f;
    f.add("s3cr3t");
    f.add("key\nwith\x1b"
          "controls\"");
    f.add("");
    EXPECT_EQ(f.redact("a s3cr3t and s3cr3ts3cr3t"), "a ******** and ****************");
    EXPECT_EQ(f.redact("raw key\nwith\x1b"
                       "controls\" end"),
              "raw ******** end");
    EXPECT_EQ(f.redact("shown key\\010with\\027controls\" end"), "shown ******** end");
    EXPECT_EQ(f.redact("json \"key\\nwith\\u001bcontrols\\\"\""), "json \"********\"");
    EXPECT_EQ(f.redact("nothing here"), "nothing here");
}

TEST(SecretFilter, LongerSecretsFirstSoThatNoPartIsLeft) {
    secret_filter f;
    f.add("abc");
    f.add("xxabcxx");
    EXPECT_EQ(f.redact("xxabcxx abc"), "******** ********");
}

struct argument_case {
    const char* name;
    std::vector<std::string> arguments;
    std::string secret;
};

void PrintTo(const argument_case& c, std::ostream* out) {
    *out << c.name;
}

class SecretsFromArguments : public ::testing::TestWithParam<argument_case> {};

TEST_P(SecretsFromArguments, AreFoundWhateverTheSeparator) {
    secret_filter f;
    f.add_from_arguments(GetParam().arguments, {"vantrelcloudapikey"});
    EXPECT_EQ(f.redact("<" + GetParam().secret + ">"), "<********>");
}

INSTANTIATE_TEST_SUITE_P(CommandLines, SecretsFromArguments,
                         ::testing::Values(argument_case{"assignment", {"--set", "vantrelcloudapikey=K1"}, "K1"},
                                           argument_case{
                                               "colon_instead_of_equals", {"--set", "vantrelcloudapikey:K2"}, "K2"},
                                           argument_case{"option_with_equals", {"--set=vantrelcloudapikey=K3"}, "K3"},
                                           argument_case{"misspelt_option", {"--sett", "vantrelcloudapikey=K4"}, "K4"}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace vantrel::kelvane::probe
