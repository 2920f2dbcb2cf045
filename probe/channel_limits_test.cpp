#include "channel_limits.hpp"

#include "result_view.hpp"

#include <dns/manifest.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe {
namespace {

std::map<std::int32_t, host_wire::ChannelOptions> reputation_channels() {
    std::map<std::int32_t, host_wire::ChannelOptions> c;
    c[0].set_id(0);
    c[0].set_name_key("channel.score");
    c[1].set_id(1);
    c[1].set_name_key("channel.servers_reached");
    return c;
}

host_wire::SensorScanResult result(std::int64_t score, std::int64_t reached) {
    host_wire::SensorScanResult r;
    r.mutable_message()->set_english("OK");
    for (auto [id, v] : {std::pair<int, std::int64_t>{0, score}, {1, reached}}) {
        auto* value = r.add_values();
        value->set_channel_id(id);
        value->set_value(v);
    }
    return r;
}

TEST(ChannelLimits, ReadsChannelFieldAndValue) {
    channel_limits limits;
    add_limit(limits, "servers_reached.lower_error=50");
    add_limit(limits, "servers_reached.lower_warning=99.5");
    add_limit(limits, "score.upper_error=-1");
    EXPECT_EQ(limits.at("servers_reached").lower_error, 50.0);
    EXPECT_EQ(limits.at("servers_reached").lower_warning, 99.5);
    EXPECT_EQ(limits.at("score").upper_error, -1.0);
}

TEST(ChannelLimits, RefusesWhatIsNotALimit) {
    channel_limits limits;
    for (const char* bad : {"servers_reached=5", "servers_reached.lower=5", "servers_reached.lower_error=",
                            "servers_reached.lower_error=five", "servers_reached.lower_error=nan"}) {
        EXPECT_THROW(add_limit(limits, bad), std::runtime_error) << bad;
    }
}

TEST(ChannelLimits, HostLimitsTurnTheChannelAndTheSensorState) {
    static const manifest_model manifest{std::string(dns::manifest_json())};
    channel_limits limits;
    add_limit(limits, "servers_reached.lower_error=50");
    add_limit(limits, "servers_reached.lower_warning=100");
    const auto channels = apply_limits(reputation_channels(), limits);

    const auto none = evaluate("ip", result(0, 0), channels, manifest, "English");
    EXPECT_EQ(none.status, "error");
    EXPECT_EQ(none.channels[1].state, channel_state::error);
    EXPECT_EQ(none.channels[1].limit_message, "Limit: servers_reached below 50");
    EXPECT_EQ(none.channels[0].state, channel_state::ok) << "a channel without host limits is not touched";

    EXPECT_EQ(evaluate("ip", result(0, 66), channels, manifest, "English").status, "warning");
    EXPECT_EQ(evaluate("ip", result(0, 100), channels, manifest, "English").status, "ok");
    EXPECT_EQ(evaluate("ip", result(0, 0), reputation_channels(), manifest, "English").status, "ok")
        << "without the host's limits 0 % of servers is OK";
}

// is_channel must agree with channel_name for every shape of key, or the
// service would take another channel's value for the response time.
TEST(ChannelLimits, IsChannelAgreesWithChannelName) {
    struct key_case {
        const char* key;
        const char* name;
        bool same;
    };
    for (const auto& c :
         {key_case{"channel.response_time", "response_time", true}, key_case{"response_time", "response_time", true},
          key_case{"channel.response_time_max", "response_time", false}, key_case{"channel.", "", true},
          key_case{"channel.channel.response_time", "response_time", false},
          key_case{"channels.response_time", "response_time", false}, key_case{"", "", true}}) {
        host_wire::ChannelOptions channel;
        channel.set_name_key(c.key);
        EXPECT_EQ(is_channel(channel, c.name), c.same) << c.key;
        EXPECT_EQ(is_channel(channel, c.name), channel_name(channel) == c.name) << c.key;
    }
}

} // namespace
} // namespace vantrel::kelvane::probe
