#include <dns/dns_result_record.hpp>
#include <dns/exceptions.hpp>

#include <gtest/gtest.h>

#include <sstream>

namespace vantrel::kelvane::dns {
namespace {

std::string line_of(const dns_result_record& record) {
    std::ostringstream out;
    record.write_line(out);
    return out.str();
}

TEST(DnsResultRecord, LinesUseFixedRightAlignedColumns) {
    const dns_a_record a("www.example", 1, 1, 300, "192.0.2.1");
    EXPECT_EQ(line_of(a), std::string(29, ' ') + "www.example      300    IN      A 192.0.2.1");
    EXPECT_EQ(a.value(), "192.0.2.1");

    const dns_question_record question("example", 28, 1);
    EXPECT_EQ(line_of(question), ";" + std::string(32, ' ') + "example " + std::string(8, ' ') + "    IN   AAAA");
    EXPECT_EQ(question.value(), "");
    EXPECT_EQ(question.ttl, 0u);
}

TEST(DnsResultRecord, WideValuesAreNeverCut) {
    const std::string long_name(50, 'n');
    const dns_a_record a(long_name, 1, 1, 123456789, "192.0.2.1");
    EXPECT_EQ(line_of(a), long_name + " 123456789    IN      A 192.0.2.1");
}

TEST(DnsResultRecord, CompositeRecordsPrintTheirFieldsAndValues) {
    const dns_mx_record mx("example", 60, 10, ".");
    EXPECT_EQ(mx.value(), "10 .");
    EXPECT_EQ(line_of(mx).substr(40), "       60    IN     MX 10 .");

    const dns_srv_record srv("_sip._udp.example", 60, 1, 20, 5060, "sip.example");
    EXPECT_EQ(srv.value(), "1 20 5060 sip.example");
    EXPECT_EQ(line_of(srv).substr(40), "       60    IN    SRV   1  20 5060 sip.example");

    const dns_naptr_record naptr("example", 60, 100, 10, "u", "E2U+sip", "!^.*$!sip:info@example!", ".");
    EXPECT_EQ(naptr.value(), "100 10 \"u\" \"E2U+sip\" \"!^.*$!sip:info@example!\" .");
    EXPECT_EQ(line_of(naptr).substr(40),
              "       60    IN  NAPTR 100  10 \"u\" \"E2U+sip\" \"!^.*$!sip:info@example!\" .");

    const dns_soa_record soa("example", 3600, "ns1.example", "admin.example", 2024010101, 7200, 900, 1209600, 300);
    EXPECT_EQ(soa.value(), "ns1.example admin.example 2024010101 7200 900 1209600 300");
    EXPECT_EQ(line_of(soa).substr(40),
              "     3600    IN    SOA ns1.example admin.example 2024010101 7200 900 1209600 300");

    const dns_txt_record txt("example", 16, 1, 5, "v=spf1 -all");
    EXPECT_EQ(line_of(txt).substr(40), "        5    IN    TXT v=spf1 -all");
}

TEST(DnsResultRecord, NumbersWithoutANameThrowTheirMapError) {
    const dns_question_record unknown_type("example", 99, 1);
    std::ostringstream out;
    try {
        unknown_type.write_line(out);
        FAIL() << "expected invalid_ns_type";
    } catch (const exceptions::invalid_ns_type& e) {
        EXPECT_EQ(e.message_key().arguments(), std::vector<std::string>{"99"});
    }
    const dns_a_record unknown_class("example", 1, 2, 0, "192.0.2.1");
    EXPECT_THROW(line_of(unknown_class), exceptions::invalid_ns_class);
}

} // namespace
} // namespace vantrel::kelvane::dns
