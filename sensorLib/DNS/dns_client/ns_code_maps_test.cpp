#include <dns/exceptions.hpp>
#include <dns/ns_code_maps.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantrel::kelvane::dns {
namespace {

TEST(NsCodeMaps, TypesGoBothWays) {
    const std::pair<const char*, std::uint32_t> all[] = {
        {"A", 1},     {"NS", 2},     {"CNAME", 5}, {"SOA", 6},   {"PTR", 12},   {"HINFO", 13},    {"MX", 15},
        {"TXT", 16},  {"SIG", 24},   {"AAAA", 28}, {"SRV", 33},  {"NAPTR", 35}, {"OPT", 41},      {"TLSA", 52},
        {"SVCB", 64}, {"HTTPS", 65}, {"ANY", 255}, {"URI", 256}, {"CAA", 257},  {"RAW_RR", 65536}};
    for (const auto& [name, id] : all) {
        EXPECT_EQ(ns_type_name(id), name);
        EXPECT_EQ(ns_type_id(name), id);
    }
}

TEST(NsCodeMaps, ClassesOpcodesAndRcodesGoBothWays) {
    EXPECT_EQ(ns_class_name(3), "CHAOS");
    EXPECT_EQ(ns_class_id("HS"), 4u);
    EXPECT_EQ(ns_opcode_name(4), "NOTIFY");
    EXPECT_EQ(ns_opcode_id("UPDATE"), 5u);
    EXPECT_EQ(ns_rcode_name(3), "NXDOMAIN");
    EXPECT_EQ(ns_rcode_name(18), "BADTIME");
    EXPECT_EQ(ns_rcode_id("NOTZONE"), 10u);
}

TEST(NsCodeMaps, MissingEntriesThrowWithTheLookedUpValue) {
    EXPECT_THROW(ns_type_name(99), exceptions::invalid_ns_type);
    // Names are matched exactly; callers upper-case first.
    EXPECT_THAT([] { ns_type_id("aaaa"); }, ::testing::ThrowsMessage<exceptions::invalid_ns_type_name>(::testing::StrEq(
                                                "Invalid NS type: Name aaaa not found in ns-type-map.")));
    EXPECT_THROW(ns_class_name(2), exceptions::invalid_ns_class);
    EXPECT_THROW(ns_opcode_name(3), exceptions::invalid_ns_opcode);
    EXPECT_THAT([&] { ns_rcode_name(23); }, ::testing::ThrowsMessage<exceptions::invalid_ns_rcode>(::testing::StrEq(
                                                "Invalid NS rcode: ID 23 not found in ns-rcode-map.")));
    try {
        ns_class_id("in");
        FAIL() << "expected a class name error";
    } catch (const exceptions::exception& e) {
        EXPECT_EQ(e.message_key().key(), "error.invalid_ns_class_name");
    }
    EXPECT_THROW(ns_opcode_id("query"), exceptions::exception);
    EXPECT_THROW(ns_rcode_id("NOSUCH"), exceptions::exception);
}

} // namespace
} // namespace vantrel::kelvane::dns
