// The ten entry points driven through dlopen, as a host drives them.

#include "host_fixture.hpp"

#include <dns/manifest.hpp>

#include <algorithm>
#include <atomic>
#include <future>
#include <ostream>
#include <thread>

namespace vantrel::kelvane::tests {
namespace {

constexpr uint64_t first_context = 0x1122334455667788ull;
constexpr uint64_t second_context = 42;

bool any_line_contains(const std::vector<std::string>& lines, const std::string& needle) {
    return std::any_of(lines.begin(), lines.end(), [&](const auto& l) { return l.find(needle) != std::string::npos; });
}

class ModuleExports : public ::testing::Test {
protected:
    void SetUp() override { message_log::instance().take(); }
    void TearDown() override {
        module.cleanup();
        message_log::instance().take();
    }
    int32_t initialise(uint64_t context = first_context) { return module.initialize(context, &message_log::callback); }

    loaded_module module;
};

TEST_F(ModuleExports, BeforeInitialisation) {
    EXPECT_EQ(module.get_api_level(), 6);
    EXPECT_EQ(module.execute_sensor_scan(5), 3);
    const auto settings = sensor_data("true_check");
    EXPECT_EQ(module.create_sensor_instance(1, bytes_of(settings), size_of(settings)), 3);
    EXPECT_EQ(module.execute_check(1, bytes_of(settings), size_of(settings)), 3);
    EXPECT_EQ(module.execute_meta_scan(1, 0, bytes_of(settings), size_of(settings)), 3);
    EXPECT_EQ(module.destroy_sensor_instance(1), 3);
    module.get_module_information(true);
    EXPECT_TRUE(message_log::instance().take().empty()) << "nothing may be sent before initialisation";

    EXPECT_EQ(module.get_module_information_sync(nullptr, nullptr, true), 1);
    uint32_t size = 1234;
    EXPECT_EQ(module.get_module_information_sync(nullptr, &size, true), 2);
    EXPECT_EQ(size, 1234u);
    EXPECT_EQ(module.cleanup(), 0);
}

TEST_F(ModuleExports, ModuleInformationSyncSizeQueryAndBufferSizes) {
    ASSERT_EQ(initialise(), 0);
    EXPECT_EQ(module.get_module_information_sync(nullptr, nullptr, true), 1);

    uint32_t needed = 0;
    ASSERT_EQ(module.get_module_information_sync(nullptr, &needed, true), 0);
    ASSERT_GT(needed, 0u);

    std::vector<uint8_t> exact(needed);
    uint32_t size = needed;
    ASSERT_EQ(module.get_module_information_sync(exact.data(), &size, true), 0);
    EXPECT_EQ(size, needed);
    wire::Envelope envelope;
    ASSERT_TRUE(envelope.ParseFromArray(exact.data(), static_cast<int>(exact.size())));
    ASSERT_TRUE(envelope.has_module_information());
    EXPECT_EQ(envelope.module_information().manifest_json(), dns::manifest_json());
    EXPECT_TRUE(envelope.module_information().include_texts());
    // Nothing but the message: re-encoding the decoded envelope gives the same bytes.
    EXPECT_EQ(envelope.SerializeAsString(), std::string(exact.begin(), exact.end()));

    std::vector<uint8_t> short_buffer(needed - 1, 0xAB);
    size = needed - 1;
    EXPECT_EQ(module.get_module_information_sync(short_buffer.data(), &size, true), 1);
    EXPECT_EQ(size, needed);
    EXPECT_TRUE(std::all_of(short_buffer.begin(), short_buffer.end(), [](uint8_t b) { return b == 0xAB; }));
}

TEST_F(ModuleExports, ModuleInformationWithoutTextsLeavesTextOut) {
    ASSERT_EQ(initialise(), 0);
    uint32_t size = 0;
    ASSERT_EQ(module.get_module_information_sync(nullptr, &size, false), 0);
    std::vector<uint8_t> buffer(size);
    ASSERT_EQ(module.get_module_information_sync(buffer.data(), &size, false), 0);
    wire::Envelope envelope;
    ASSERT_TRUE(envelope.ParseFromArray(buffer.data(), static_cast<int>(size)));
    EXPECT_EQ(envelope.module_information().manifest_json(), dns::manifest_json_without_texts());

    message_log::instance().take();
    module.get_module_information(false);
    const auto messages = message_log::instance().take();
    const auto info = std::find_if(messages.begin(), messages.end(),
                                   [](const delivered& m) { return m.envelope.has_module_information(); });
    ASSERT_NE(info, messages.end());
    EXPECT_EQ(info->context, first_context);
    EXPECT_EQ(info->envelope.module_information().manifest_json(), dns::manifest_json_without_texts());
}

TEST_F(ModuleExports, SecondInitialisationIsRefusedAndTheFirstModuleKeepsRunning) {
    ASSERT_EQ(initialise(first_context), 0);
    message_log::instance().take();
    EXPECT_EQ(initialise(second_context), 1);
    const auto after_second = message_log::instance().take_runtime_lines();
    EXPECT_TRUE(any_line_contains(after_second, "InitializeModule called on already initialized module."));

    const auto check = sensor_data("true_check");
    EXPECT_EQ(module.execute_check(9, bytes_of(check), size_of(check)), 0);
    const auto messages = message_log::instance().take();
    const auto result = std::find_if(messages.begin(), messages.end(),
                                     [](const delivered& m) { return m.envelope.has_check_result(); });
    ASSERT_NE(result, messages.end());
    EXPECT_EQ(result->context, first_context) << "messages still go to the first host";
    EXPECT_EQ(result->envelope.check_result().check_id(), 9);
    EXPECT_TRUE(result->envelope.check_result().success());
}

TEST_F(ModuleExports, CleanupTwiceThenEveryCallIsNotInitialised) {
    ASSERT_EQ(initialise(), 0);
    EXPECT_EQ(module.cleanup(), 0);
    EXPECT_EQ(module.cleanup(), 0);
    const auto check = sensor_data("true_check");
    EXPECT_EQ(module.execute_check(1, bytes_of(check), size_of(check)), 3);
    EXPECT_EQ(module.execute_sensor_scan(1), 3);
    // And a fresh start works.
    EXPECT_EQ(initialise(), 0);
    EXPECT_EQ(module.execute_check(1, bytes_of(check), size_of(check)), 0);
}

TEST_F(ModuleExports, RefusalsHaveTheirOwnCodeAndAReasonInTheRuntimeLog) {
    ASSERT_EQ(initialise(), 0);
    message_log::instance().take();

    const std::string garbage = "\xff\xff\xff\xff not a settings message";
    EXPECT_EQ(module.create_sensor_instance(1, bytes_of(garbage), size_of(garbage)), 7);
    EXPECT_TRUE(any_line_contains(message_log::instance().take_runtime_lines(), "is not a valid settings message"));

    EXPECT_EQ(module.create_sensor_instance(1, nullptr, 5), 7);
    EXPECT_TRUE(any_line_contains(message_log::instance().take_runtime_lines(), "pointer is null"));

    const auto unknown = sensor_data("no_such_sensor");
    EXPECT_EQ(module.create_sensor_instance(1, bytes_of(unknown), size_of(unknown)), 4);
    EXPECT_TRUE(
        any_line_contains(message_log::instance().take_runtime_lines(), "unknown sensor kind \"no_such_sensor\""));
    EXPECT_EQ(module.execute_check(1, bytes_of(unknown), size_of(unknown)), 4);
    EXPECT_TRUE(any_line_contains(message_log::instance().take_runtime_lines(), "unknown check kind"));

    EXPECT_EQ(module.execute_sensor_scan(77), 6);
    EXPECT_TRUE(
        any_line_contains(message_log::instance().take_runtime_lines(), "Sensor with ID 77 is not in sensor list."));
    EXPECT_EQ(module.destroy_sensor_instance(77), 6);
    EXPECT_EQ(module.execute_meta_scan(77, 1, bytes_of(unknown), size_of(unknown)), 6);
}

std::string dns_v2_sensor() {
    auto settings = dns_v2_settings("example.test", 53);
    settings["vantrelcloudapikey"] = "never-logged";
    return sensor_data("dns_v2", settings);
}

TEST_F(ModuleExports, DuplicateIdFailsInTheSensorRegistryAndASecondInitialisationKeepsTheSensors) {
    ASSERT_EQ(initialise(), 0);
    const auto settings = dns_v2_sensor();
    ASSERT_EQ(module.create_sensor_instance(1, bytes_of(settings), size_of(settings)), 0);
    message_log::instance().take();
    EXPECT_EQ(module.create_sensor_instance(1, bytes_of(settings), size_of(settings)), 2);
    const auto lines = message_log::instance().take_runtime_lines();
    EXPECT_TRUE(any_line_contains(lines, "CreateSensorInstance failed: Sensor with ID 1 is already registered."));
    EXPECT_FALSE(any_line_contains(lines, "never-logged")) << "the API key never reaches a log";

    EXPECT_EQ(initialise(second_context), 1);
    EXPECT_EQ(module.destroy_sensor_instance(1), 0) << "the first module's sensor is still there";
    EXPECT_EQ(module.destroy_sensor_instance(1), 6);
}

TEST_F(ModuleExports, OfTwoRacingCreatesForOneIdExactlyOneWins) {
    ASSERT_EQ(initialise(), 0);
    const auto settings = dns_v2_sensor();
    for (int round = 0; round < 20; ++round) {
        message_log::instance().take();
        std::atomic<bool> go = false;
        auto create = [&] {
            while (!go) {
                std::this_thread::yield();
            }
            return module.create_sensor_instance(round, bytes_of(settings), size_of(settings));
        };
        auto a = std::async(std::launch::async, create);
        auto b = std::async(std::launch::async, create);
        go = true;
        std::vector<int32_t> codes{a.get(), b.get()};
        std::sort(codes.begin(), codes.end());
        ASSERT_EQ(codes, (std::vector<int32_t>{0, 2})) << "round " << round;
        EXPECT_TRUE(any_line_contains(message_log::instance().take_runtime_lines(),
                                      "Sensor with ID " + std::to_string(round) + " is already registered."));
        EXPECT_EQ(module.destroy_sensor_instance(round), 0);
    }
}

TEST_F(ModuleExports, NullCallbackIsRefusedSinceNothingCouldReachTheHost) {
    EXPECT_EQ(module.initialize(first_context, nullptr), 1);
    EXPECT_EQ(module.execute_sensor_scan(1), 3) << "no module was kept";
    uint32_t size = 99;
    EXPECT_EQ(module.get_module_information_sync(nullptr, &size, false), 2);
    EXPECT_EQ(initialise(), 0) << "a later initialisation with a callback works";
}

struct bad_setting_case {
    const char* name;
    std::string key;
    std::string value;
    std::string reason;
};

// Cases print as their name in test output.
void PrintTo(const bad_setting_case& c, std::ostream* out) {
    *out << c.name;
}

class BadSettingValue : public ModuleExports, public ::testing::WithParamInterface<bad_setting_case> {};

// A create that throws is not traced as ended: the reason stands where the End line would.
TEST_P(BadSettingValue, FailsCreationWithItsReasonInsteadOfAnEndLine) {
    ASSERT_EQ(initialise(), 0);
    message_log::instance().take();
    wire::SensorData data;
    ASSERT_TRUE(data.ParseFromString(dns_v2_sensor()));
    (*data.mutable_settings())[GetParam().key] = GetParam().value;
    const auto settings = data.SerializeAsString();
    EXPECT_EQ(module.create_sensor_instance(2, bytes_of(settings), size_of(settings)), 2);
    const auto lines = message_log::instance().take_runtime_lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(),
              "### Begin vantrel::kelvane::libwexohelper::module::module_instance_adapter::create_sensor_instance ###");
    EXPECT_EQ(lines.back(), "CreateSensorInstance failed: " + GetParam().reason);
    EXPECT_FALSE(any_line_contains(lines, "### End")) << "the operation did not return";
    EXPECT_EQ(module.destroy_sensor_instance(2), 6) << "no sensor was made";
}

INSTANTIATE_TEST_SUITE_P(
    Exports, BadSettingValue,
    ::testing::Values(bad_setting_case{"UnknownIpVersion", "ipversion", "ipv6",
                                       "Value \"ipv6\" could not be parsed into selection type \"ipversion\"."},
                      bad_setting_case{"TimeoutNotAWholeNumber", "timeout", "5s", "Bad optional access"},
                      bad_setting_case{"IntervalBeyondAnyNumber", "interval", "99999999999999999999",
                                       "Bad optional access"}),
    [](const auto& info) { return info.param.name; });

TEST(ModuleReload, UnloadingAndLoadingAgainInOneProcessWorks) {
    for (int round = 0; round < 3; ++round) {
        loaded_module again;
        ASSERT_EQ(again.initialize(first_context, &message_log::callback), 0) << "round " << round;
        uint32_t size = 0;
        EXPECT_EQ(again.get_module_information_sync(nullptr, &size, false), 0);
        EXPECT_EQ(again.cleanup(), 0);
    }
    message_log::instance().take();
}

TEST_F(ModuleExports, EveryOperationIsTracedWithBeginAndEnd) {
    ASSERT_EQ(initialise(), 0);
    message_log::instance().take();
    EXPECT_EQ(module.execute_sensor_scan(3), 6);
    const auto lines = message_log::instance().take_runtime_lines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.front(),
              "### Begin vantrel::kelvane::libwexohelper::module::module_instance_adapter::execute_sensor_scan ###");
    EXPECT_EQ(lines.back(),
              "### End   vantrel::kelvane::libwexohelper::module::module_instance_adapter::execute_sensor_scan ###");
}

} // namespace
} // namespace vantrel::kelvane::tests
