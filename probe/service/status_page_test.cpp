#include "status_page.hpp"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe::service {
namespace {

sensor_snapshot hostile() {
    sensor_snapshot s;
    s.name = "txt";
    s.kind = "dns_v2";
    s.asks = "TXT <b>x</b>.example at 127.0.0.1";
    s.state = "ok";
    s.message = "OK: TXT=\"<script>alert('x')</script>\" & more";
    channel_row c;
    c.name = "Records \"resolved\"";
    c.display = "1 <#>";
    s.channels.push_back(c);
    s.response_times = {0.001, 0.004, 0.002};
    return s;
}

TEST(StatusPage, EscapesEveryTextFromAnswersAndSettings) {
    const std::string page = render_status_html({hostile()}, 0);
    EXPECT_EQ(page.find("<script>"), std::string::npos);
    EXPECT_EQ(page.find("<b>x"), std::string::npos);
    EXPECT_NE(page.find("TXT=&quot;&lt;script&gt;alert(&#39;x&#39;)&lt;/script&gt;&quot; &amp; more"),
              std::string::npos);
    EXPECT_NE(page.find("data-channel=\"Records &quot;resolved&quot;\""), std::string::npos);
    EXPECT_NE(page.find("1 &lt;#&gt;"), std::string::npos);
}

TEST(StatusPage, ChartOnlyFromTwoScans) {
    EXPECT_EQ(response_time_svg({0.5}).find("<svg"), std::string::npos);
    const std::string svg = response_time_svg({0.001, 0.004, 0.002});
    EXPECT_NE(svg.find("points=\"0.0,26.0 90.0,2.0 180.0,18.0\""), std::string::npos) << svg;
    EXPECT_NE(svg.find("at most 4.0 ms"), std::string::npos);
}

TEST(StatusPage, JsonHoldsTheSameAndSurvivesBytesThatAreNotUtf8) {
    auto s = hostile();
    s.answer = "TXT=\"\xff\xfe\"";
    const auto j = nlohmann::json::parse(render_status_json({s}));
    ASSERT_EQ(j["sensors"].size(), 1u);
    EXPECT_EQ(j["sensors"][0]["message"], s.message);
    EXPECT_EQ(j["sensors"][0]["channels"][0]["display"], "1 <#>");
    EXPECT_EQ(j["sensors"][0]["response_times_seconds"].size(), 3u);
    EXPECT_EQ(j["sensors"][0]["answer"], "TXT=\"\xEF\xBF\xBD\xEF\xBF\xBD\"");
}

} // namespace
} // namespace vantrel::kelvane::probe::service
