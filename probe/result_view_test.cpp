#include "result_view.hpp"

#include <dns/manifest.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe {
namespace {

const manifest_model& manifest() {
    static const manifest_model m{std::string(dns::manifest_json())};
    return m;
}

std::map<std::int32_t, host_wire::ChannelOptions> dns_channels() {
    std::map<std::int32_t, host_wire::ChannelOptions> c;
    c[0].set_id(0);
    c[0].set_name_key("channel.records_resolved");
    c[0].set_lookup_name("lookup_records_found");
    c[1].set_id(1);
    c[1].set_name_key("channel.response_time");
    c[1].set_unit(6);
    c[2].set_id(2);
    c[2].set_name_key("channel.record_count");
    c[2].set_unit(10);
    c[2].set_limit_mode(1);
    c[2].set_has_lower_error_limit(true);
    c[2].set_lower_error_limit(1.0);
    c[2].set_limit_error_message_key("No records of the requested type found.");
    return c;
}

host_wire::SensorScanResult result(std::int64_t resolved, std::int64_t ms, std::int64_t count) {
    host_wire::SensorScanResult r;
    r.mutable_message()->set_english("OK: A=10.0.0.1");
    for (auto [id, v] : {std::pair<int, std::int64_t>{0, resolved}, {1, ms}, {2, count}}) {
        auto* value = r.add_values();
        value->set_channel_id(id);
        value->set_value(v);
    }
    return r;
}

TEST(ResultView, ChannelsAreNamedShownAndJudged) {
    const auto view = evaluate("dns_v2", result(1, 12, 1), dns_channels(), manifest(), "English");
    EXPECT_EQ(view.status, "ok");
    EXPECT_EQ(view.message, "OK: A=10.0.0.1");
    ASSERT_EQ(view.channels.size(), 3u);
    EXPECT_EQ(view.channels[0].name, "Records Resolved");
    EXPECT_EQ(view.channels[0].display, "Yes");
    EXPECT_EQ(view.channels[1].display, "12 ms");
    EXPECT_EQ(view.channels[1].unit, "ms");
    EXPECT_EQ(view.channels[2].state, channel_state::ok);
    EXPECT_EQ(nagios_exit_code(view), 0);
    EXPECT_EQ(render_nagios(view),
              "DNS OK - OK: A=10.0.0.1 | 'Records Resolved'=1;;; 'Response Time'=12ms;;; 'Record Count'=1;;;\n");
}

TEST(ResultView, BrokenLowerLimitIsAnErrorWithItsMessage) {
    const auto view = evaluate("dns_v2", result(0, 3, 0), dns_channels(), manifest(), "English");
    EXPECT_EQ(view.status, "error");
    EXPECT_EQ(view.channels[0].display, "No");
    EXPECT_EQ(view.channels[2].state, channel_state::error);
    EXPECT_EQ(view.channels[2].limit_message, "No records of the requested type found.");
    EXPECT_EQ(view.message, "No records of the requested type found. (OK: A=10.0.0.1)");
    EXPECT_EQ(nagios_exit_code(view), 2);
    EXPECT_NE(render_text(view).find("error  No records of the requested type found."), std::string::npos)
        << render_text(view);
}

TEST(ResultView, ErrorResultsAreTranslatedFromTheirKey) {
    host_wire::SensorScanResult r;
    r.set_response_code(host_wire::SCAN_ERROR);
    r.mutable_message()->set_key("error.query_failed");
    r.mutable_message()->add_arguments("4");
    r.mutable_message()->add_arguments("Domain name not found");
    r.mutable_message()->set_english("Error 4 occurred: Domain name not found.");
    const auto english = evaluate("dns_v2", r, dns_channels(), manifest(), "English");
    EXPECT_EQ(english.status, "error");
    EXPECT_EQ(english.message, "Error 4 occurred: Domain name not found.");
    const auto german = evaluate("dns_v2", r, dns_channels(), manifest(), "German");
    EXPECT_EQ(german.message, "Fehler 4 aufgetreten: Domain name not found.");
    EXPECT_EQ(evaluate("dns_v2", result(1, 1, 1), dns_channels(), manifest(), "German").channels[2].name,
              "Anzahl Einträge");

    r.mutable_message()->set_key("error.not_in_any_catalogue");
    EXPECT_EQ(evaluate("dns_v2", r, dns_channels(), manifest(), "German").message,
              "Error 4 occurred: Domain name not found.")
        << "an unknown key falls back to the module's English text";
}

TEST(ResultView, StatusJudgedFromNumbersAgreesWithTheTranslatedView) {
    auto warned = dns_channels();
    warned[1].set_limit_mode(1);
    warned[1].set_has_upper_warning_limit(true);
    warned[1].set_upper_warning_limit(100.0);
    host_wire::SensorScanResult refused = result(1, 1, 1);
    refused.set_response_code(host_wire::SCAN_DOWN);
    host_wire::SensorScanResult warning = result(1, 1, 1);
    warning.set_response_code(host_wire::SCAN_WARNING);
    const std::pair<host_wire::SensorScanResult, const char*> cases[] = {
        {result(1, 12, 1), "ok"}, {result(1, 500, 1), "warning"}, {result(0, 500, 0), "error"},
        {refused, "error"},       {warning, "warning"},
    };
    for (const auto& [r, expected] : cases) {
        EXPECT_STREQ(judge_status(r, warned), expected) << r.ShortDebugString();
        EXPECT_EQ(evaluate("dns_v2", r, warned, manifest(), "English").status, expected) << r.ShortDebugString();
    }
    EXPECT_STREQ(judge_status(result(1, 500, 1), dns_channels()), "ok") << "no limit on the response time";
}

TEST(ResultView, JsonCarriesEveryField) {
    const auto json =
        nlohmann::json::parse(render_json(evaluate("dns_v2", result(1, 5, 2), dns_channels(), manifest(), "English")));
    EXPECT_EQ(json["kind"], "dns_v2");
    EXPECT_EQ(json["status"], "ok");
    EXPECT_EQ(json["channels"][2]["value"], 2);
    EXPECT_EQ(json["channels"][2]["state"], "ok");
    EXPECT_EQ(json["channels"][1]["unit"], "ms");
}

TEST(ResultView, ForeignTextCannotBreakTheOutputFormats) {
    auto r = result(1, 5, 1);
    r.mutable_message()->set_english(std::string("OK: TXT=a | 'x'=1;;;\nDNS OK - b\x1b[2J\x07\xff") + '\0' + "end");
    auto channels = dns_channels();
    channels[1].set_name_key("Time | 'fake'=9;;;\r\n");
    const auto view = evaluate("dns_v2", r, channels, manifest(), "English");

    const auto nagios = render_nagios(view);
    EXPECT_EQ(nagios, "DNS OK - OK: TXT=a \\124 'x'=1;;;\\010DNS OK - b\\027[2J\\007\\255\\000end | "
                      "'Records Resolved'=1;;; 'Time _ _fake__9;;;\\013\\010'=5ms;;; 'Record Count'=1;;;\n");

    const auto text = render_text(view);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4) << text;
    EXPECT_EQ(text.find_first_of(std::string("\x1b\x07\r\xff") + '\0'), std::string::npos) << text;

    const auto json = nlohmann::json::parse(render_json(view), nullptr, false);
    ASSERT_FALSE(json.is_discarded()) << "bytes that are not UTF-8 are replaced";
    EXPECT_EQ(json["message"], std::string("OK: TXT=a | 'x'=1;;;\nDNS OK - b\x1b[2J\x07\xef\xbf\xbd") + '\0' + "end");
}

} // namespace
} // namespace vantrel::kelvane::probe
