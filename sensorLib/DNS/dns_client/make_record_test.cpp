#include <dns/exceptions.hpp>
#include <dns/make_record.hpp>

#include <ares.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <memory>
#include <string>

namespace vantrel::kelvane::dns {
namespace {

// A response under construction; each add() gives a record to fill.
class record_builder {
public:
    record_builder() { ares_dns_record_create(&raw_, 1, ARES_FLAG_QR, ARES_OPCODE_QUERY, ARES_RCODE_NOERROR); }
    ~record_builder() { ares_dns_record_destroy(raw_); }

    ares_dns_rr_t* add(ares_dns_rec_type_t type, ares_dns_class_t dns_class = ARES_CLASS_IN,
                       const char* name = "example") {
        ares_dns_rr_t* rr = nullptr;
        EXPECT_EQ(ares_dns_record_rr_add(&rr, raw_, ARES_SECTION_ANSWER, name, type, dns_class, 120), ARES_SUCCESS);
        return rr;
    }

private:
    ares_dns_record_t* raw_ = nullptr;
};

template <class T> std::shared_ptr<T> made_as(const ares_dns_rr_t* rr) {
    auto record = make_record(rr);
    EXPECT_NE(record, nullptr);
    auto typed = std::dynamic_pointer_cast<T>(record);
    EXPECT_NE(typed, nullptr);
    return typed;
}

TEST(MakeRecord, AddressesBecomeText) {
    record_builder builder;
    ares_dns_rr_t* a = builder.add(ARES_REC_TYPE_A);
    in_addr v4{};
    inet_pton(AF_INET, "192.0.2.7", &v4);
    ares_dns_rr_set_addr(a, ARES_RR_A_ADDR, &v4);
    const auto a_record = made_as<dns_a_record>(a);
    EXPECT_EQ(a_record->value(), "192.0.2.7");
    EXPECT_EQ(a_record->name, "example");
    EXPECT_EQ(a_record->ttl, 120u);
    EXPECT_EQ(a_record->type, 1u);
    EXPECT_EQ(a_record->dns_class, 1u);

    // The dotted quad is written by hand: it must read as inet_ntop's for every octet value.
    for (unsigned octet = 0; octet < 256; ++octet) {
        const std::string text = "0." + std::to_string(octet) + ".10." + std::to_string(255 - octet);
        inet_pton(AF_INET, text.c_str(), &v4);
        ares_dns_rr_set_addr(a, ARES_RR_A_ADDR, &v4);
        char expected[INET_ADDRSTRLEN];
        ASSERT_NE(inet_ntop(AF_INET, &v4, expected, sizeof expected), nullptr);
        EXPECT_EQ(made_as<dns_a_record>(a)->value(), expected);
    }

    ares_dns_rr_t* aaaa = builder.add(ARES_REC_TYPE_AAAA);
    ares_in6_addr v6{};
    inet_pton(AF_INET6, "2001:db8::1", &v6);
    ares_dns_rr_set_addr6(aaaa, ARES_RR_AAAA_ADDR, &v6);
    EXPECT_EQ(made_as<dns_aaaa_record>(aaaa)->value(), "2001:db8::1");
}

TEST(MakeRecord, NamesAndCompositeRecords) {
    record_builder builder;
    ares_dns_rr_t* ns = builder.add(ARES_REC_TYPE_NS);
    ares_dns_rr_set_str(ns, ARES_RR_NS_NSDNAME, "ns1.example");
    EXPECT_EQ(made_as<dns_ns_record>(ns)->value(), "ns1.example");

    ares_dns_rr_t* cname = builder.add(ARES_REC_TYPE_CNAME);
    ares_dns_rr_set_str(cname, ARES_RR_CNAME_CNAME, "target.example");
    EXPECT_EQ(made_as<dns_cname_record>(cname)->value(), "target.example");

    ares_dns_rr_t* ptr = builder.add(ARES_REC_TYPE_PTR);
    ares_dns_rr_set_str(ptr, ARES_RR_PTR_DNAME, "host.example");
    EXPECT_EQ(made_as<dns_ptr_record>(ptr)->value(), "host.example");

    ares_dns_rr_t* mx = builder.add(ARES_REC_TYPE_MX);
    ares_dns_rr_set_u16(mx, ARES_RR_MX_PREFERENCE, 10);
    ares_dns_rr_set_str(mx, ARES_RR_MX_EXCHANGE, "");
    EXPECT_EQ(made_as<dns_mx_record>(mx)->value(), "10 .");

    ares_dns_rr_t* srv = builder.add(ARES_REC_TYPE_SRV);
    ares_dns_rr_set_u16(srv, ARES_RR_SRV_PRIORITY, 1);
    ares_dns_rr_set_u16(srv, ARES_RR_SRV_WEIGHT, 2);
    ares_dns_rr_set_u16(srv, ARES_RR_SRV_PORT, 443);
    ares_dns_rr_set_str(srv, ARES_RR_SRV_TARGET, "svc.example");
    EXPECT_EQ(made_as<dns_srv_record>(srv)->value(), "1 2 443 svc.example");

    ares_dns_rr_t* naptr = builder.add(ARES_REC_TYPE_NAPTR);
    ares_dns_rr_set_u16(naptr, ARES_RR_NAPTR_ORDER, 100);
    ares_dns_rr_set_u16(naptr, ARES_RR_NAPTR_PREFERENCE, 50);
    ares_dns_rr_set_str(naptr, ARES_RR_NAPTR_FLAGS, "s");
    ares_dns_rr_set_str(naptr, ARES_RR_NAPTR_SERVICES, "SIP+D2U");
    ares_dns_rr_set_str(naptr, ARES_RR_NAPTR_REGEXP, "");
    ares_dns_rr_set_str(naptr, ARES_RR_NAPTR_REPLACEMENT, "_sip._udp.example");
    EXPECT_EQ(made_as<dns_naptr_record>(naptr)->value(), "100 50 \"s\" \"SIP+D2U\" \"\" _sip._udp.example");

    ares_dns_rr_t* soa = builder.add(ARES_REC_TYPE_SOA);
    ares_dns_rr_set_str(soa, ARES_RR_SOA_MNAME, "ns1.example");
    ares_dns_rr_set_str(soa, ARES_RR_SOA_RNAME, "admin.example");
    ares_dns_rr_set_u32(soa, ARES_RR_SOA_SERIAL, 7);
    ares_dns_rr_set_u32(soa, ARES_RR_SOA_REFRESH, 3600);
    ares_dns_rr_set_u32(soa, ARES_RR_SOA_RETRY, 600);
    ares_dns_rr_set_u32(soa, ARES_RR_SOA_EXPIRE, 86400);
    ares_dns_rr_set_u32(soa, ARES_RR_SOA_MINIMUM, 60);
    EXPECT_EQ(made_as<dns_soa_record>(soa)->value(), "ns1.example admin.example 7 3600 600 86400 60");
}

TEST(MakeRecord, TxtCharacterStringsAreJoined) {
    record_builder builder;
    ares_dns_rr_t* txt = builder.add(ARES_REC_TYPE_TXT);
    const std::string first = "v=spf1 ", second = "-all";
    ares_dns_rr_add_abin(txt, ARES_RR_TXT_DATA, reinterpret_cast<const unsigned char*>(first.data()), first.size());
    ares_dns_rr_add_abin(txt, ARES_RR_TXT_DATA, reinterpret_cast<const unsigned char*>(second.data()), second.size());
    EXPECT_EQ(made_as<dns_txt_record>(txt)->value(), "v=spf1 -all");
}

TEST(MakeRecord, UnrepresentableRecordsGiveNothing) {
    record_builder builder;
    ares_dns_rr_t* chaos = builder.add(ARES_REC_TYPE_TXT, ARES_CLASS_CHAOS);
    const std::string text = "version";
    ares_dns_rr_add_abin(chaos, ARES_RR_TXT_DATA, reinterpret_cast<const unsigned char*>(text.data()), text.size());
    EXPECT_EQ(make_record(chaos), nullptr);

    ares_dns_rr_t* hinfo = builder.add(ARES_REC_TYPE_HINFO);
    ares_dns_rr_set_str(hinfo, ARES_RR_HINFO_CPU, "x86");
    ares_dns_rr_set_str(hinfo, ARES_RR_HINFO_OS, "linux");
    EXPECT_EQ(make_record(hinfo), nullptr);

    EXPECT_EQ(make_record(builder.add(ARES_REC_TYPE_TXT)), nullptr);
    EXPECT_EQ(make_record(builder.add(ARES_REC_TYPE_MX)), nullptr);
}

} // namespace
} // namespace vantrel::kelvane::dns
