#include <libwexohelper/responses/sensor_scan_result.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wexo.pb.h>

namespace vantrel::kelvane::libwexohelper::responses {
namespace {

wire::SensorScanResult decode(const sensor_scan_result& result) {
    const auto bytes = result.serialize();
    wire::Envelope envelope;
    EXPECT_TRUE(envelope.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    return envelope.sensor_scan_result();
}

std::shared_ptr<settings::channel_map> map_with(int id, std::map<int, std::string> known = {}) {
    auto map = std::make_shared<settings::channel_map>(std::move(known));
    channels::dynamic_channel_options options;
    options.id = id;
    options.name_key = "channel.response_time";
    map->register_definition(options);
    return map;
}

TEST(SensorScanResult, NormalResultCarriesValuesMessageAndCodes) {
    sensor_scan_result result(3, map_with(0, {{5, "known to host"}}));
    result.set_value(0, 12)
        .set_value(5, -1)
        .set_value(0, 13)
        .set_response_code(scan_response_codes::ok)
        .set_response_message(libi18n::i18n_msg::plain("OK: A=10.0.0.1"));
    EXPECT_EQ(result.response_message(), "OK: A=10.0.0.1");
    const auto wire = decode(result);
    EXPECT_EQ(wire.sensor_id(), 3);
    EXPECT_EQ(wire.response_code(), wire::SCAN_OK);
    EXPECT_EQ(wire.message().key(), "");
    EXPECT_EQ(wire.message().english(), "OK: A=10.0.0.1");
    ASSERT_EQ(wire.values_size(), 2);
    EXPECT_EQ(wire.values(0).channel_id(), 0);
    EXPECT_EQ(wire.values(0).value(), 13) << "a second value for a channel replaces the first";
    EXPECT_EQ(wire.values(1).value(), -1);
}

TEST(SensorScanResult, UndefinedChannelIsRefused) {
    sensor_scan_result result(3, map_with(0));
    EXPECT_THAT([&] { result.set_value(9, 1); }, ::testing::ThrowsMessage<utils::exceptions::channel_not_defined>(
                                                     ::testing::StrEq("Channel with ID 9 is not defined.")));
}

TEST(SensorScanResult, I18nErrorResultCarriesKeyArgumentsAndTranslationButNoValues) {
    const utils::exceptions::setting_selection_parse_error error(std::vector<std::string>{"", "record_type"});
    sensor_scan_result result(8, error);
    result.set_error_code(5).set_response_code(scan_response_codes::error);
    EXPECT_THROW(result.set_value(0, 1), utils::exceptions::channel_map_not_initialized);
    const auto wire = decode(result);
    EXPECT_EQ(wire.error_code(), 5);
    EXPECT_EQ(wire.response_code(), wire::SCAN_ERROR);
    EXPECT_EQ(wire.message().key(), "libwexohelper.error.setting_selection_parse_error");
    ASSERT_EQ(wire.message().arguments_size(), 2);
    EXPECT_EQ(wire.message().arguments(1), "record_type");
    EXPECT_EQ(wire.message().english(), "Value \"\" could not be parsed into selection type \"record_type\".");
    EXPECT_EQ(wire.values_size(), 0);
}

TEST(ChannelMap, SecondDefinitionOfAnIdIsRefusedWithItsName) {
    auto map = map_with(1);
    channels::dynamic_channel_options again;
    again.id = 1;
    again.name_key = "channel.score";
    EXPECT_TRUE(map->is_definition_registered(again));
    EXPECT_THAT([&] { map->register_definition(again); },
                ::testing::ThrowsMessage<utils::exceptions::channel_already_defined>(
                    ::testing::StrEq("Channel with ID 1 and name channel.score is already defined.")));
    EXPECT_EQ(map->find(1)->name_key, "channel.response_time");
}

} // namespace
} // namespace vantrel::kelvane::libwexohelper::responses
