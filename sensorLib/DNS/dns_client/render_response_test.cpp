#include <dns/exceptions.hpp>
#include <dns/render_response.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace vantrel::kelvane::dns {
namespace {

dns_query_result one_answer() {
    dns_query_result result;
    result.id = 4711;
    result.rd = true;
    result.ra = true;
    result.response_time_ms = 12;
    result.questions.emplace_back("example", 1, 1);
    result.answers.push_back(std::make_shared<dns_a_record>("example", 1, 1, 300, "192.0.2.1"));
    return result;
}

TEST(RenderResponse, WritesTheWholeAnswerLineByLine) {
    std::ostringstream out;
    out << one_answer();
    const std::string name_pad(33, ' ');
    EXPECT_EQ(out.str(), "; <<>> Wexo DNS <<>>\n"
                         ";; global options:\n"
                         ";; Got answer:\n"
                         ";; ->>HEADER<<- opcode: QUERY, status: NOERROR, id: 4711\n"
                         ";; flags: qr rd ra ; QUERY: 1, ANSWER: 1, AUTHORITY: 0, ADDITIONAL: 0\n"
                         "\n"
                         ";; QUESTION SECTION:\n"
                         ";" +
                             std::string(32, ' ') +
                             "example             IN      A\n"
                             "\n"
                             ";; ANSWER SECTION:\n" +
                             name_pad +
                             "example      300    IN      A 192.0.2.1\n"
                             "\n"
                             ";; AUTHORITY SECTION:\n"
                             "\n"
                             ";; ADDITIONAL SECTION:\n"
                             "\n"
                             ";; Query time: 12 msec\n"
                             "\n");
}

TEST(RenderResponse, ControlCharactersOfARecordStayOnItsLine) {
    dns_query_result result = one_answer();
    result.answers.push_back(
        std::make_shared<dns_txt_record>("example", 16, 1, 300, "x | fake=1;;;\nDNS OK - all good\x1b[2J\a"));
    std::ostringstream out;
    out << result;
    const std::string text = out.str();
    EXPECT_NE(text.find("x | fake=1;;;\\010DNS OK - all good\\027[2J\\007\n"), std::string::npos) << text;
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(text.find("\nDNS OK"), std::string::npos);
}

TEST(RenderResponse, FlagsFollowTheirFixedOrderAndEmptySectionsKeepHeadings) {
    dns_query_result nodata;
    nodata.tc = true;
    nodata.cd = true;
    nodata.aa = true;
    nodata.ad = true;
    std::ostringstream out;
    render_response(out, nodata);
    const std::string text = out.str();
    EXPECT_NE(text.find(";; flags: qr aa tc ad cd ; QUERY: 0, ANSWER: 0"), std::string::npos) << text;
    for (const char* heading : {";; QUESTION SECTION:\n\n", ";; ANSWER SECTION:\n\n", ";; AUTHORITY SECTION:\n\n",
                                ";; ADDITIONAL SECTION:\n\n"}) {
        EXPECT_NE(text.find(heading), std::string::npos) << heading;
    }
    EXPECT_NE(text.find(";; Query time: 0 msec\n\n"), std::string::npos);

    std::ostringstream bare;
    render_response(bare, dns_query_result{});
    EXPECT_NE(bare.str().find(";; flags: qr ; QUERY: "), std::string::npos);
}

TEST(RenderResponse, UnknownCodesThrowMidwayAndKeepWhatWasWritten) {
    dns_query_result bad_opcode = one_answer();
    bad_opcode.opcode = 3;
    std::ostringstream out;
    EXPECT_THROW(render_response(out, bad_opcode), exceptions::invalid_ns_opcode);
    EXPECT_EQ(out.str(), "; <<>> Wexo DNS <<>>\n;; global options:\n;; Got answer:\n;; ->>HEADER<<- opcode: ");

    dns_query_result bad_rcode = one_answer();
    bad_rcode.rcode = 23;
    std::ostringstream rcode_out;
    EXPECT_THROW(render_response(rcode_out, bad_rcode), exceptions::invalid_ns_rcode);

    dns_query_result bad_type = one_answer();
    bad_type.questions.front().type = 99;
    std::ostringstream type_out;
    EXPECT_THROW(type_out << bad_type, exceptions::invalid_ns_type);
}

// The catalogue key and arguments of what `call` throws; empty when it throws nothing.
std::string failure_of(const std::function<void()>& call) {
    try {
        call();
    } catch (const exceptions::exception& e) {
        std::string text = e.message_key().key();
        for (const auto& argument : e.message_key().arguments()) {
            text += " " + argument;
        }
        return text;
    }
    return {};
}

TEST(CheckRenderable, ThrowsWhatRenderingThrowsFirst) {
    const std::vector<std::function<void(dns_query_result&)>> spoils = {
        [](dns_query_result&) {},
        [](dns_query_result& r) { r.rcode = 11; },
        [](dns_query_result& r) {
            r.rcode = 11;
            r.opcode = 3;
        },
        [](dns_query_result& r) {
            r.questions.front().dns_class = 2;
            r.questions.front().type = 99;
        },
        [](dns_query_result& r) {
            r.additionals.push_back(std::make_shared<dns_a_record>("x", 99, 1, 1, "1.2.3.4"));
            r.authorities.push_back(std::make_shared<dns_a_record>("x", 1, 4711, 1, "1.2.3.4"));
        },
    };
    for (std::size_t i = 0; i < spoils.size(); ++i) {
        auto result = one_answer();
        spoils[i](result);
        const auto rendering = failure_of([&] {
            std::ostringstream out;
            render_response(out, result);
        });
        EXPECT_EQ(failure_of([&] { check_renderable(result); }), rendering) << "case " << i;
        EXPECT_EQ(rendering.empty(), i == 0) << "case " << i;
    }
}

} // namespace
} // namespace vantrel::kelvane::dns
