#include <dns/english_texts.hpp>
#include <dns/exceptions.hpp>

#include <gtest/gtest.h>

#include <set>

namespace vantrel::kelvane::dns::exceptions {
namespace {

TEST(DnsExceptions, QueryFailedFamilyReadsWithTheStatusText) {
    try {
        throw dns_notfound(4, "Domain name not found");
    } catch (const query_failed& e) {
        EXPECT_EQ(e.status(), 4);
        EXPECT_STREQ(e.what(), "Error 4 occurred: Domain name not found.");
        EXPECT_EQ(e.texts().first, "error.query_failed#:[4,Domain name not found]");
    }
}

TEST(DnsExceptions, FilterErrorsAreCaughtAsTheirFamily) {
    EXPECT_THROW(throw dns_server_filter_invalid_range("20..10"), dns_server_filter_invalid);
    EXPECT_THROW(throw dns_server_filter_invalid_value("256"), dns_server_filter_invalid);
    const dns_server_filter_invalid_range range("20..10");
    EXPECT_STREQ(range.what(),
                 "The range 20..10 is invalid. The lower bound must be smaller than the upper bound.");
    EXPECT_EQ(range.message_key().key(), "error.dns_server_filter_invalid_range");
}

TEST(DnsExceptions, EveryErrorHasItsEnglishText) {
    const std::vector<libi18n::i18n_exception> all = {
        resolve_failed("ns.example"), unsupported_address_family("ns.example"), memory_allocation_failed(),
        invalid_answer(), ip_parse_failed("x"), ip_conversion_failed(), invalid_ns_type("99"),
        invalid_ns_type_name("XYZ"), invalid_ns_class("9"), invalid_ns_opcode("9"), invalid_ns_rcode("99"),
        dns_server_definition_invalid("=x"), dnsbl_initial_check_failed("z"), dns_server_filter_invalid("x"),
    };
    for (const auto& e : all) {
        EXPECT_EQ(std::string(e.what()).find("#:["), std::string::npos) << e.what();
    }
    EXPECT_STREQ(ip_conversion_failed().what(), "An error occurred when converting the IP address to a string.");
}

TEST(DnsExceptions, CatalogueHasNoDuplicateKeys) {
    std::set<std::string_view> keys;
    for (const auto& entry : english_texts()) {
        EXPECT_TRUE(keys.insert(entry.key).second) << entry.key;
    }
}

} // namespace
} // namespace vantrel::kelvane::dns::exceptions
