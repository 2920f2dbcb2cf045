// The messages that write their envelope field by field must give the host
// exactly the bytes of the generated message: each case is encoded both ways
// and the bytes compared, then decoded to show the case holds what it names.

#include <libwexohelper/logging/host_log.hpp>
#include <libwexohelper/messaging/module_information_message.hpp>
#include <libwexohelper/responses/sensor_scan_result.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <gtest/gtest.h>
#include <wexo.pb.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>

namespace vantrel::kelvane::libwexohelper::messaging {
namespace {

using logging::log_message;
using logging::log_source;
using responses::check_result;
using responses::scan_response_codes;
using responses::sensor_scan_result;

// Keeps what a log line refers to alive beside it.
struct owned_log_line {
    std::string text;
    std::unique_ptr<log_message> message;
};

struct encoding_case {
    std::string name;
    std::function<std::shared_ptr<const wexo_message>()> make;
    // What the decoded envelope must show, beyond byte equality.
    std::function<void(const wire::Envelope&)> check;
};

void PrintTo(const encoding_case& c, std::ostream* out) {
    *out << c.name;
}

std::shared_ptr<const wexo_message> line(log_source source, std::int32_t id, std::int32_t level, std::string text) {
    auto owned = std::make_shared<owned_log_line>();
    owned->text = std::move(text);
    owned->message = std::make_unique<log_message>(source, id, level, owned->text);
    return std::shared_ptr<const wexo_message>(owned, owned->message.get());
}

std::shared_ptr<settings::channel_map> channels(std::initializer_list<int> ids) {
    auto map = std::make_shared<settings::channel_map>(std::map<int, std::string>{{42, "known to the host"}});
    for (const int id : ids) {
        channels::dynamic_channel_options options;
        options.id = id;
        map->register_definition(options);
    }
    return map;
}

std::shared_ptr<const wexo_message> result(std::int32_t sensor, std::vector<std::pair<int, std::int64_t>> values,
                                           libi18n::i18n_msg message, scan_response_codes code,
                                           std::int32_t error_code = 0) {
    auto r = std::make_shared<sensor_scan_result>(sensor, channels({0, 1, 2, 3}));
    for (const auto& [id, value] : values) {
        r->set_value(id, value);
    }
    r->set_response_message(std::move(message)).set_response_code(code).set_error_code(error_code);
    return r;
}

const std::string bad_bytes = "caf\xE9 \xED\xA0\x80 \xC3";

const encoding_case cases[] = {
    {"RuntimeLine", [] { return line(log_source::runtime, 0, 7, "### Begin execute_sensor_scan ###"); },
     [](const wire::Envelope& e) {
         EXPECT_EQ(e.log_message().source(), wire::LogMessage::RUNTIME);
         EXPECT_EQ(e.log_message().level(), 7);
     }},
    {"SensorLineWithItsId", [] { return line(log_source::sensor, 12345, 3, "answer"); },
     [](const wire::Envelope& e) {
         EXPECT_EQ(e.log_message().source(), wire::LogMessage::SENSOR);
         EXPECT_EQ(e.log_message().sensor_id(), 12345);
     }},
    {"NegativeIdAndLevelZeroAndEmptyText", [] { return line(log_source::sensor, -1, 0, ""); },
     [](const wire::Envelope& e) {
         EXPECT_TRUE(e.has_log_message());
         EXPECT_EQ(e.log_message().sensor_id(), -1);
     }},
    {"LineOfTwoHundredBytesHasATwoByteLength", [] { return line(log_source::runtime, 0, 7, std::string(200, 'x')); },
     [](const wire::Envelope& e) { EXPECT_EQ(e.log_message().text().size(), 200u); }},
    {"LineLargerThanTheStackBuffer",
     [] { return line(log_source::sensor, 7, 7, std::string(70000, 'y') + "\xE6\x97\xA5"); },
     [](const wire::Envelope& e) { EXPECT_EQ(e.log_message().text().size(), 70003u); }},
    {"LineWithBytesThatAreNotUtf8", [] { return line(log_source::sensor, 1, 7, bad_bytes); },
     [](const wire::Envelope& e) { EXPECT_EQ(e.log_message().text(), "caf\\233 \\237\\160\\128 \\195"); }},
    {"ResultWithValues",
     [] {
         return result(3, {{0, 1}, {1, 0}, {2, -5}, {42, std::numeric_limits<std::int64_t>::max()}},
                       libi18n::i18n_msg::plain("OK: A=192.0.2.1, 192.0.2.2"), scan_response_codes::ok);
     },
     [](const wire::Envelope& e) {
         ASSERT_EQ(e.sensor_scan_result().values_size(), 4);
         EXPECT_EQ(e.sensor_scan_result().values(1).value(), 0);
         EXPECT_EQ(e.sensor_scan_result().values(2).value(), -5);
         EXPECT_EQ(e.sensor_scan_result().message().english(), "OK: A=192.0.2.1, 192.0.2.2");
     }},
    {"ResultOfACatalogueMessage",
     [] {
         return result(-7, {{3, 0}}, libi18n::i18n_msg("error.empty_result", {}), scan_response_codes::warning, -2);
     },
     [](const wire::Envelope& e) {
         EXPECT_EQ(e.sensor_scan_result().message().key(), "error.empty_result");
         EXPECT_EQ(e.sensor_scan_result().error_code(), -2);
     }},
    {"ResultWithNothingSet", [] { return std::make_shared<sensor_scan_result>(0, channels({})); },
     [](const wire::Envelope& e) {
         EXPECT_TRUE(e.has_sensor_scan_result());
         EXPECT_TRUE(e.sensor_scan_result().has_message());
     }},
    {"ErrorResultWithArgumentsThatAreNotUtf8",
     [] {
         const utils::exceptions::setting_selection_parse_error error(std::vector<std::string>{bad_bytes, "", "x"});
         auto r = std::make_shared<sensor_scan_result>(9, error);
         r->set_error_code(5).set_response_code(scan_response_codes::error);
         return r;
     },
     [](const wire::Envelope& e) {
         ASSERT_EQ(e.sensor_scan_result().message().arguments_size(), 3);
         EXPECT_EQ(e.sensor_scan_result().message().arguments(0), "caf\\233 \\237\\160\\128 \\195");
         EXPECT_EQ(e.sensor_scan_result().message().arguments(1), "");
     }},
    {"ErrorResultOfAPlainException",
     [] {
         auto r = std::make_shared<sensor_scan_result>(4, std::runtime_error(bad_bytes + std::string(300, 'z')));
         r->set_response_code(scan_response_codes::error);
         return r;
     },
     [](const wire::Envelope& e) { EXPECT_EQ(e.sensor_scan_result().message().key(), ""); }},
    {"PassedCheck",
     [] {
         auto c = std::make_shared<check_result>(1 << 30);
         c->set_success(true);
         return c;
     },
     [](const wire::Envelope& e) { EXPECT_TRUE(e.check_result().success()); }},
    {"FailedCheckWithIdZero", [] { return std::make_shared<check_result>(0); },
     [](const wire::Envelope& e) { EXPECT_TRUE(e.has_check_result()); }},
    {"ModuleInformationWithTexts",
     [] { return std::make_shared<module_information_message>(R"({"a": "Gr\u00f6\u00dfe", "Text": {}})", true); },
     [](const wire::Envelope& e) { EXPECT_TRUE(e.module_information().include_texts()); }},
    {"ModuleInformationWithoutTexts",
     [] { return std::make_shared<module_information_message>(R"({"Text": {}, "a": 1})", false); },
     [](const wire::Envelope& e) { EXPECT_EQ(e.module_information().manifest_json(), R"({"a": 1})"); }},
};

class EnvelopeEncoding : public ::testing::TestWithParam<encoding_case> {
protected:
    EnvelopeEncoding() { utils::exceptions::register_platform_texts(); }
};

TEST_P(EnvelopeEncoding, WritesTheBytesOfTheGeneratedMessage) {
    const auto message = GetParam().make();
    wire::Envelope generic;
    message->fill(generic);
    const std::string expected = generic.SerializeAsString();

    const auto bytes = message->serialize();
    ASSERT_EQ(std::string(bytes.begin(), bytes.end()), expected);

    wire::Envelope decoded;
    ASSERT_TRUE(decoded.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    GetParam().check(decoded);
}

INSTANTIATE_TEST_SUITE_P(Messages, EnvelopeEncoding, ::testing::ValuesIn(cases),
                         [](const auto& info) { return info.param.name; });

} // namespace
} // namespace vantrel::kelvane::libwexohelper::messaging
