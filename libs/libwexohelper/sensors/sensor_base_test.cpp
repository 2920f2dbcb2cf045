#include <libwexohelper/module/sensor_dispatcher.hpp>
#include <libwexohelper/sensors/sensor_base.hpp>

#include <testing/recording_host.hpp>
#include <testing/sensor_data.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace vantrel::kelvane::libwexohelper::sensors {
namespace {

using testing::recording_host;

struct test_settings {
    bool logging = true;
    std::string behaviour;
    static test_settings read(const settings::sensor_data_wrapper& wrapper) {
        bool found = false;
        const auto logging = wrapper.get_value("logging", found);
        return {!found || logging == "enabled", wrapper.get_value("behaviour")};
    }
    bool logging_enabled() const { return logging; }
};

class translated_failure : public libi18n::i18n_exception {
public:
    translated_failure() : i18n_exception("libwexohelper.error.setting_not_available", {"domain"}) {}
};

channels::dynamic_channel_options count_channel(int id) {
    channels::dynamic_channel_options options;
    options.id = id;
    options.name_key = "channel.record_count";
    options.unit = channels::unit_code::count;
    return options;
}

// Run by a "hook" sensor at the start of its scan work, as a host's callback
// would run inside the scan.
std::function<void()> during_scan;

class test_sensor : public sensor_base<test_settings> {
public:
    using sensor_base::add_channel;
    using sensor_base::has_channel;
    using sensor_base::reset_channel_map;
    using sensor_base::sensor_base;

private:
    void scan_work() override {
        const auto& b = settings().behaviour;
        if (b == "i18n") {
            throw translated_failure();
        }
        if (b == "std") {
            throw std::out_of_range("stol argument out of range");
        }
        if (b == "hook") {
            during_scan();
        }
        add_channel(count_channel(1));
        auto result = result_with_message(libi18n::i18n_msg::plain("OK: all good"), responses::scan_response_codes::ok);
        set_value(result, 1, 3);
        send(result);
    }
};

std::string settings_bytes(const std::string& behaviour, const std::string& logging = "enabled",
                           const std::map<int, std::string>& known_channels = {}) {
    return testing::sensor_data_bytes(
        "test_sensor", {{"behaviour", behaviour}, {"logging", logging}, {"vantrelcloudapikey", "s3cret-key"}},
        known_channels);
}

class ScanFrame : public ::testing::Test {
protected:
    ScanFrame() { dispatcher.register_sensor_as<test_sensor>("test_sensor"); }

    void create(int id, const std::string& behaviour, const std::string& logging = "enabled",
                std::map<int, std::string> known = {}) {
        const auto wrapper = testing::wrap(settings_bytes(behaviour, logging, known));
        ASSERT_EQ(dispatcher.create_sensor_instance(id, wrapper), responses::sensor_create_response_code::ok);
    }
    std::vector<wire::SensorScanResult> results() {
        std::vector<wire::SensorScanResult> out;
        for (auto& m : host.take_if([](const wire::Envelope& e) { return e.has_sensor_scan_result(); })) {
            out.push_back(m.sensor_scan_result());
        }
        return out;
    }

    recording_host host;
    module::sensor_dispatcher dispatcher{host.container};
};

TEST_F(ScanFrame, NormalScanIsFramedByBannersAndSendsItsResult) {
    create(4, "ok");
    host.take();
    EXPECT_EQ(dispatcher.execute_sensor_scan(4), responses::sensor_scan_response_code::ok);
    const auto all = host.take();
    std::vector<std::string> sensor_lines;
    std::vector<wire::SensorScanResult> results;
    for (const auto& m : all) {
        if (m.has_log_message()) {
            EXPECT_EQ(m.log_message().source(), wire::LogMessage::SENSOR);
            EXPECT_EQ(m.log_message().sensor_id(), 4);
            EXPECT_EQ(m.log_message().level(), 7);
            sensor_lines.push_back(m.log_message().text());
        } else if (m.has_sensor_scan_result()) {
            results.push_back(m.sensor_scan_result());
        }
    }
    ASSERT_EQ(sensor_lines.size(), 2u);
    EXPECT_EQ(sensor_lines.front(), "#################### Enter sensor scan ####################");
    EXPECT_EQ(sensor_lines.back(), "#################### Exit sensor scan  ####################");
    EXPECT_EQ(sensor_lines.front().size(), sensor_lines.back().size());
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].message().english(), "OK: all good");
    ASSERT_EQ(results[0].values_size(), 1);
    EXPECT_EQ(results[0].values(0).value(), 3);
}

TEST_F(ScanFrame, EscapingErrorsBecomeOneErrorResultAndTheScanStillSucceeds) {
    struct expectation {
        const char* behaviour;
        const char* key;
        const char* english;
    };
    for (const auto& e :
         {expectation{"i18n", "libwexohelper.error.setting_not_available", "The setting \"domain\" was not available."},
          expectation{"std", "", "stol argument out of range"}}) {
        SCOPED_TRACE(e.behaviour);
        create(10, e.behaviour);
        host.take();
        EXPECT_EQ(dispatcher.execute_sensor_scan(10), responses::sensor_scan_response_code::ok);
        const auto all = host.take();
        ASSERT_FALSE(all.empty());
        ASSERT_TRUE(all.back().has_log_message());
        EXPECT_EQ(all.back().log_message().text(), "#################### Exit sensor scan  ####################");
        std::vector<wire::SensorScanResult> errors;
        bool logged = false;
        for (const auto& m : all) {
            if (m.has_sensor_scan_result()) {
                errors.push_back(m.sensor_scan_result());
            }
            logged = logged || (m.has_log_message() && m.log_message().text() == e.english);
        }
        ASSERT_EQ(errors.size(), 1u);
        EXPECT_EQ(errors[0].error_code(), 0);
        EXPECT_EQ(errors[0].response_code(), wire::SCAN_ERROR);
        EXPECT_EQ(errors[0].message().key(), e.key);
        EXPECT_EQ(errors[0].message().english(), e.english);
        EXPECT_EQ(errors[0].values_size(), 0);
        EXPECT_TRUE(logged) << "the error text goes to the sensor log";
        EXPECT_EQ(dispatcher.destroy_sensor_instance(10), responses::sensor_destroy_response_code::ok);
    }
}

TEST_F(ScanFrame, LoggingDisabledSendsNoSensorLines) {
    create(5, "ok", "disabled");
    host.take();
    dispatcher.execute_sensor_scan(5);
    EXPECT_TRUE(host.take_log_lines(wire::LogMessage::SENSOR).empty());
}

TEST_F(ScanFrame, CreationLogsTheSettingsWithTheApiKeyMasked) {
    create(6, "ok");
    const auto lines = host.take_log_lines(wire::LogMessage::SENSOR);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("\"behaviour\":\"ok\""), std::string::npos) << lines[0];
    EXPECT_EQ(lines[0].find("s3cret-key"), std::string::npos) << lines[0];
}

TEST_F(ScanFrame, ChannelsAreAnnouncedOnceAndNotAtAllWhenTheHostKnowsThem) {
    create(7, "ok");
    host.take();
    dispatcher.execute_sensor_scan(7);
    dispatcher.execute_sensor_scan(7);
    const auto announced = host.take_if([](const wire::Envelope& e) { return e.has_dynamic_channel(); });
    ASSERT_EQ(announced.size(), 1u);
    EXPECT_EQ(announced[0].dynamic_channel().sensor_id(), 7);
    EXPECT_EQ(announced[0].dynamic_channel().options().name_key(), "channel.record_count");
    EXPECT_EQ(announced[0].dynamic_channel().options().unit(), 10);

    create(8, "ok", "enabled", {{1, "Record Count"}});
    host.take();
    dispatcher.execute_sensor_scan(8);
    EXPECT_TRUE(host.take_if([](const wire::Envelope& e) { return e.has_dynamic_channel(); }).empty());
}

TEST_F(ScanFrame, ChannelHelpersWithoutAChannelMapFailBeforeAskingIt) {
    auto sensor = std::make_shared<test_sensor>(host.container, 1, test_settings{false, "ok"},
                                                std::map<int, std::string>{}, std::map<std::string, std::string>{});
    EXPECT_FALSE(sensor->has_channel(1));
    sensor->add_channel(count_channel(1));
    EXPECT_TRUE(sensor->has_channel(1));
    sensor->reset_channel_map();
    EXPECT_THROW(sensor->add_channel(count_channel(2)), utils::exceptions::channel_map_not_initialized);
    EXPECT_THAT([&] { sensor->has_channel(1); },
                ::testing::ThrowsMessage<utils::exceptions::channel_map_not_initialized>(
                    ::testing::StrEq("Channel map is not initialized.")));
}

TEST_F(ScanFrame, DuplicateIdIsMadeThenRefusedByTheStockAndTheFirstSensorStays) {
    create(3, "ok");
    const auto wrapper = testing::wrap(settings_bytes("std"));
    host.take();
    try {
        dispatcher.create_sensor_instance(3, wrapper);
        FAIL() << "a second sensor under id 3 was accepted";
    } catch (const utils::exceptions::sensor_already_registered& e) {
        EXPECT_STREQ(e.what(), "Sensor with ID 3 is already registered.");
        EXPECT_EQ(e.texts().first, "libwexohelper.error.sensor_already_registered#:[3]");
    }
    dispatcher.execute_sensor_scan(3);
    const auto r = results();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].message().english(), "OK: all good") << "the first sensor answers, not the refused one";
}

TEST_F(ScanFrame, ScanOfASensorThatIsScanningIsRefusedAtOnce) {
    create(11, "hook");
    std::vector<responses::sensor_scan_response_code> inner;
    during_scan = [&] { inner.push_back(dispatcher.execute_sensor_scan(11)); };
    host.take();
    EXPECT_EQ(dispatcher.execute_sensor_scan(11), responses::sensor_scan_response_code::ok);
    EXPECT_EQ(inner, std::vector{responses::sensor_scan_response_code::scan_in_progress});
    EXPECT_EQ(results().size(), 1u);

    // The refusal leaves nothing behind: the next scan runs.
    during_scan = [] {};
    EXPECT_EQ(dispatcher.execute_sensor_scan(11), responses::sensor_scan_response_code::ok);
}

TEST_F(ScanFrame, ResultOfASensorDestroyedDuringItsScanIsDroppedNotSentUnderTheNewSensor) {
    create(12, "hook");
    during_scan = [&] {
        ASSERT_EQ(dispatcher.destroy_sensor_instance(12), responses::sensor_destroy_response_code::ok);
        create(12, "ok");
    };
    host.take();
    EXPECT_EQ(dispatcher.execute_sensor_scan(12), responses::sensor_scan_response_code::ok);
    std::vector<std::string> runtime;
    for (const auto& m : host.take()) {
        EXPECT_FALSE(m.has_sensor_scan_result()) << "the old instance's result arrived as sensor 12's";
        if (m.has_log_message() && m.log_message().source() == wire::LogMessage::RUNTIME) {
            runtime.push_back(m.log_message().text());
        }
    }
    // One line per dropped message: the channel announcement and the result.
    EXPECT_EQ(runtime, std::vector<std::string>(
                           2, "Sensor 12 was destroyed during its scan: its message is dropped, not sent."));

    during_scan = [] {};
    dispatcher.execute_sensor_scan(12);
    EXPECT_EQ(results().size(), 1u) << "the new sensor's own results do arrive";
}

TEST_F(ScanFrame, BadSettingsEndTheFactoryWithTheErrorAndNoSensor) {
    const auto wrapper = testing::wrap(testing::sensor_data_bytes("test_sensor", {})); // no "behaviour" setting
    EXPECT_THROW(dispatcher.create_sensor_instance(2, wrapper), utils::exceptions::setting_not_available);
    EXPECT_FALSE(dispatcher.stock().contains(2));
}

TEST_F(ScanFrame, TrueCheckIsAnsweredByThePlatform) {
    const auto wrapper = testing::wrap(testing::sensor_data_bytes("true_check", {}));
    EXPECT_EQ(dispatcher.execute_check(12, wrapper), responses::check_response_code::ok);
    const auto checks = host.take_if([](const wire::Envelope& e) { return e.has_check_result(); });
    ASSERT_EQ(checks.size(), 1u);
    EXPECT_EQ(checks[0].check_result().check_id(), 12);
    EXPECT_TRUE(checks[0].check_result().success());
}

TEST_F(ScanFrame, MetaScanIsRefusedForKnownAndUnknownSensors) {
    create(1, "ok");
    const auto wrapper = testing::wrap(settings_bytes("ok"));
    EXPECT_EQ(dispatcher.execute_meta_scan(1, 0, wrapper), responses::meta_scan_response_code::no_meta_scan);
    EXPECT_EQ(dispatcher.execute_meta_scan(2, 0, wrapper), responses::meta_scan_response_code::unknown_id);
}

} // namespace
} // namespace vantrel::kelvane::libwexohelper::sensors
