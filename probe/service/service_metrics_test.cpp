#include "service_metrics.hpp"

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe::service {
namespace {

host_wire::ChannelOptions channel(const std::string& name, int unit) {
    host_wire::ChannelOptions c;
    c.set_name_key("channel." + name);
    c.set_unit(unit);
    return c;
}

bool has_line(const std::string& text, const std::string& line) {
    return text.find("\n" + line + "\n") != std::string::npos || text.rfind(line + "\n", 0) == 0;
}

TEST(ChannelMetric, NamesAndBaseUnits) {
    struct expected {
        std::string channel;
        int unit;
        std::string metric;
        double scale;
    };
    for (const auto& e :
         {expected{"response_time", 6, "wexo_response_time_seconds", 0.001},
          expected{"servers_reached", 0, "wexo_servers_reached_ratio", 0.01},
          expected{"record_count", 10, "wexo_record_count", 1},
          expected{"records_resolved", 0, "wexo_records_resolved", 1}, expected{"odd-name.x", 0, "wexo_odd_name_x", 1},
          expected{"scans_total", 0, "wexo_channel_scans_total", 1}}) {
        const auto m = channel_metric_for(channel(e.channel, e.unit));
        EXPECT_EQ(m.name, e.metric);
        EXPECT_DOUBLE_EQ(m.scale, e.scale) << e.channel;
    }
}

TEST(ServiceMetrics, SeriesCarryTheSensorsLabelsAndConvertedValues) {
    service_metrics metrics;
    auto series = metrics.add_sensor("www-a", "dns_v2", {{"team", "dns"}},
                                     {{"host", "127.0.0.1"}, {"domain", "www.example"}, {"record_type", "A"}});
    series->set_state("warning");
    series->record_scan(false, 0.25, 1700000000.5, "error.query_failed");
    series->record_scan(true, 0.01, 1700000001, "");
    series->set_channel(channel("response_time", 6), 1234);
    series->set_channel(channel("servers_reached", 0), 50);
    series->missed();
    const std::string text = metrics.text();
    const std::string labels = R"(kind="dns_v2",sensor="www-a",team="dns")";
    EXPECT_TRUE(has_line(
        text,
        R"(wexo_sensor_info{domain="www.example",host="127.0.0.1",kind="dns_v2",record_type="A",sensor="www-a",team="dns"} 1)"))
        << text;
    EXPECT_TRUE(has_line(text, R"(wexo_sensor_state{kind="dns_v2",sensor="www-a",state="warning",team="dns"} 1)"));
    EXPECT_TRUE(has_line(text, R"(wexo_sensor_state{kind="dns_v2",sensor="www-a",state="ok",team="dns"} 0)"));
    EXPECT_TRUE(has_line(text, "wexo_scans_total{" + labels + "} 2"));
    EXPECT_TRUE(has_line(
        text, R"(wexo_scan_errors_total{error="error.query_failed",kind="dns_v2",sensor="www-a",team="dns"} 1)"));
    EXPECT_TRUE(has_line(text, "wexo_scan_success{" + labels + "} 1"));
    EXPECT_TRUE(has_line(text, "wexo_missed_scans_total{" + labels + "} 1"));
    EXPECT_TRUE(has_line(text, "wexo_last_scan_timestamp_seconds{" + labels + "} 1700000001"));
    EXPECT_TRUE(has_line(text, "wexo_scan_duration_seconds_count{" + labels + "} 2"));
    EXPECT_TRUE(has_line(text, "wexo_response_time_seconds{" + labels + "} 1.234"));
    EXPECT_TRUE(has_line(text, "wexo_servers_reached_ratio{" + labels + "} 0.5"));
}

TEST(ServiceMetrics, StateSeriesFollowEveryChangeAndRepeat) {
    service_metrics metrics;
    auto series = metrics.add_sensor("s", "dns_v2", {}, {});
    for (const std::string state : {"ok", "ok", "error", "error", "ok", "waiting", ""}) {
        series->set_state(state);
        const std::string text = metrics.text();
        for (const char* each : {"ok", "warning", "error", "waiting"}) {
            EXPECT_TRUE(has_line(text, std::string(R"(wexo_sensor_state{kind="dns_v2",sensor="s",state=")") + each +
                                           "\"} " + (each == state ? "1" : "0")))
                << "after " << state << ":\n"
                << text;
        }
    }
}

TEST(ServiceMetrics, ARemovedSensorLeavesNoSeries) {
    service_metrics metrics;
    auto kept = metrics.add_sensor("kept", "dns_v2", {}, {{"host", "h"}});
    auto gone = metrics.add_sensor("gone", "dns_v2", {}, {{"host", "h"}});
    gone->record_scan(false, 0.1, 1, "error.x");
    gone->set_channel(channel("record_count", 10), 3);
    metrics.remove_sensor(std::move(gone));
    const std::string text = metrics.text();
    EXPECT_EQ(text.find("sensor=\"gone\""), std::string::npos) << text;
    EXPECT_NE(text.find("sensor=\"kept\""), std::string::npos);
}

TEST(ServiceMetrics, ManySensorsShowAsOneBlockPerMetric) {
    service_metrics metrics;
    std::vector<std::unique_ptr<sensor_series>> all;
    for (int i = 0; i < 300; ++i) {
        all.push_back(metrics.add_sensor("s" + std::to_string(i), "dns_v2", {}, {{"host", "h"}}));
        all.back()->set_channel(channel("record_count", 10), i);
    }
    for (int i = 0; i < 300; i += 2) {
        metrics.remove_sensor(std::move(all[static_cast<std::size_t>(i)]));
    }
    const std::string text = metrics.text();
    for (const std::string name : {"wexo_scans_total", "wexo_sensor_state", "wexo_record_count"}) {
        const auto first = text.find("# TYPE " + name + " ");
        ASSERT_NE(first, std::string::npos) << name;
        EXPECT_EQ(text.find("# TYPE " + name + " ", first + 1), std::string::npos) << name << " has one block";
    }
    for (int i = 0; i < 300; ++i) {
        const bool kept = i % 2 == 1;
        EXPECT_EQ(has_line(text, R"(wexo_record_count{kind="dns_v2",sensor="s)" + std::to_string(i) + R"("} )" +
                                     std::to_string(i)),
                  kept)
            << i;
    }
    // Every series of a metric stands in its block, between its TYPE line
    // and the next metric's HELP line.
    const auto block = text.find("# TYPE wexo_record_count gauge\n");
    const auto next = text.find("# HELP", block);
    EXPECT_EQ(text.find("wexo_record_count{", next == std::string::npos ? text.size() : next), std::string::npos);
}

} // namespace
} // namespace vantrel::kelvane::probe::service
