#include <libwexohelper/settings/kinds.hpp>
#include <libwexohelper/settings/sensor_data_wrapper.hpp>
#include <libwexohelper/utils/exceptions.hpp>
#include <testing/sensor_data.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wexo.pb.h>

namespace vantrel::kelvane::libwexohelper::settings {
namespace {

TEST(KindInteger, ParsesWholeDecimalNumbersOnly) {
    EXPECT_EQ(kind_integer::parse_and_validate("42", validation_rules::none()), 42);
    EXPECT_EQ(kind_integer::parse_and_validate("-7", validation_rules::none()), -7);
    EXPECT_EQ(kind_integer::parse_and_validate("+7", validation_rules::none()), 7);
    for (const char* bad : {"", "abc", "4 2", " 42", "42 ", "1.5", "0x10", "99999999999999999999", "+", "-"}) {
        EXPECT_FALSE(kind_integer::parse_and_validate(bad, validation_rules::none()).has_value()) << bad;
    }
}

TEST(KindInteger, RulesGiveTheirOwnErrors) {
    EXPECT_THAT([&] { kind_integer::parse_and_validate("-1", validation_rules::at_least(0)); },
                ::testing::ThrowsMessage<utils::exceptions::setting_invalid_less_min>(
                    ::testing::StrEq("Setting value -1 is less than the allowed value of 0.")));
    EXPECT_THAT([&] { kind_integer::parse_and_validate("901", validation_rules::between(0, 900)); },
                ::testing::ThrowsMessage<utils::exceptions::setting_invalid_bigger_max>(
                    ::testing::StrEq("Setting value 901 is bigger than the allowed value of 900.")));
    EXPECT_EQ(kind_integer::parse_and_validate("900", validation_rules::between(0, 900)), 900);
    EXPECT_EQ(kind_integer::parse_and_validate("0", validation_rules::between(0, 900)), 0);
}

TEST(KindString, LengthIsLimitedByTheRulesOrTheDefault) {
    EXPECT_EQ(kind_string::parse_and_validate("abc", validation_rules::at_most(3)), "abc");
    EXPECT_THAT(
        [&] { kind_securestring::parse_and_validate("abcd", validation_rules::at_most(3), "vantrelcloudapikey"); },
        ::testing::ThrowsMessage<utils::exceptions::string_too_long>(::testing::StrEq(
            "vantrelcloudapikey's value with length 4 is longer than the maximum allowed length of 3.")));
    const std::string long_text(default_max_text_length + 1, 'x');
    EXPECT_THROW(kind_string::parse_and_validate(long_text, validation_rules::none()),
                 utils::exceptions::string_too_long);
}

TEST(SensorDataWrapper, LooksUpSettingsChannelsAndPersistentData) {
    wire::SensorData data;
    data.set_kind("dns_v2");
    (*data.mutable_settings())["host"] = "127.0.0.1";
    (*data.mutable_settings())["empty"] = "";
    (*data.mutable_channels())[2] = "Response Time";
    (*data.mutable_persistent_data())["last"] = "x";
    const auto wrapper = testing::wrap(data.SerializeAsString());
    ASSERT_TRUE(wrapper.valid());
    EXPECT_EQ(wrapper.kind(), "dns_v2");
    EXPECT_EQ(wrapper.get_value("host"), "127.0.0.1");
    bool found = false;
    EXPECT_EQ(wrapper.get_value("empty", found), "");
    EXPECT_TRUE(found);
    EXPECT_EQ(wrapper.get_value("missing", found), "");
    EXPECT_FALSE(found);
    EXPECT_THAT([&] { wrapper.get_value("missing"); },
                ::testing::ThrowsMessage<utils::exceptions::setting_not_available>(
                    ::testing::StrEq("The setting \"missing\" was not available.")));
    EXPECT_EQ(wrapper.get_channels(), (std::map<int, std::string>{{2, "Response Time"}}));
    EXPECT_EQ(wrapper.get_persistent_data().at("last"), "x");
}

TEST(SensorDataWrapper, InvalidBytesLeaveAnInvalidWrapperWithAReason) {
    const std::string garbage = "\x0a\xff\xff\xff\x0f";
    const auto wrapper = testing::wrap(garbage);
    EXPECT_FALSE(wrapper.valid());
    EXPECT_EQ(wrapper.error(), "Settings data of 5 bytes is not a valid settings message.");
    EXPECT_EQ(wrapper.to_json(), "{}");
    EXPECT_THROW(wrapper.get_value("host"), utils::exceptions::setting_not_available);

    const sensor_data_wrapper null_with_size(nullptr, 3);
    EXPECT_FALSE(null_with_size.valid());
    const sensor_data_wrapper empty(nullptr, 0);
    EXPECT_TRUE(empty.valid()) << "zero bytes are an empty settings message";
    EXPECT_EQ(empty.kind(), "");
}

// Serialised by hand: protobuf's own writer would complain about the bytes
// that these cases are about.
std::string delimited(char tag, const std::string& payload) {
    return std::string(1, tag) + static_cast<char>(payload.size()) + payload;
}
std::string settings_entry(const std::string& key, const std::string& value) {
    return delimited('\x12', delimited('\x0a', key) + delimited('\x12', value));
}

TEST(SensorDataWrapper, TextThatIsNotUtf8IsRefusedNamingTheSetting) {
    struct refusal {
        std::string bytes;
        const char* reason;
    };
    const refusal cases[] = {
        {settings_entry("host", "192.0.2.1") + settings_entry("dns_sensor_section.dns_sensor_group.domain", "caf\xe9"),
         "Settings data is refused: the value of setting 'dns_sensor_section.dns_sensor_group.domain' is not valid "
         "UTF-8 text."},
        {settings_entry("do\xffmain", "x"), "Settings data is refused: the name of setting 'do\\255main' is not valid "
                                            "UTF-8 text."},
        {delimited('\x0a', "dns\xc0"), "Settings data is refused: the kind is not valid UTF-8 text."},
        {delimited('\x1a', std::string("\x08\x03\x12\x01\x80", 5)),
         "Settings data is refused: the name of channel 3 is not valid UTF-8 text."},
    };
    for (const auto& c : cases) {
        const auto wrapper = testing::wrap(c.bytes);
        EXPECT_FALSE(wrapper.valid());
        EXPECT_EQ(wrapper.error(), c.reason);
    }
    const std::string fine = delimited('\x0a', "dns_v2") + settings_entry("domain", "caf\xc3\xa9");
    const auto accepted = testing::wrap(fine);
    EXPECT_TRUE(accepted.valid()) << accepted.error();
    EXPECT_EQ(accepted.get_value("domain"), "caf\xc3\xa9");
}

TEST(SensorDataWrapper, JsonMasksEverySecureSetting) {
    wire::SensorData data;
    data.set_kind("dns_v2");
    (*data.mutable_settings())["vantrelcloudapikey"] = "top-secret";
    (*data.mutable_settings())["x.y.vantrelcloudapikey"] = "also-secret";
    (*data.mutable_settings())["host"] = "ns1";
    const auto wrapper = testing::wrap(data.SerializeAsString());
    const auto json = wrapper.to_json();
    EXPECT_EQ(json.find("secret"), std::string::npos) << json;
    EXPECT_NE(json.find("\"vantrelcloudapikey\":\"********\""), std::string::npos) << json;
    EXPECT_NE(json.find("\"host\":\"ns1\""), std::string::npos) << json;
    EXPECT_EQ(wrapper.get_value("vantrelcloudapikey"), "top-secret") << "masking is for the log only";
}

TEST(SensorDataWrapper, JsonListsEveryMapSortedByKey) {
    wire::SensorData data;
    data.set_kind("dns_v2");
    for (const auto* key : {"x.b", "host", "x.a", "b", "a.z"}) {
        (*data.mutable_settings())[key] = "v";
    }
    for (const int id : {10, 2, -3, 1000}) {
        (*data.mutable_channels())[id] = "c";
    }
    (*data.mutable_persistent_data())["z"] = "1";
    (*data.mutable_persistent_data())["m"] = "2";
    const auto wrapper = testing::wrap(data.SerializeAsString());
    EXPECT_EQ(wrapper.to_json(), R"({"kind":"dns_v2","settings":{"a.z":"v","b":"v","host":"v","x.a":"v","x.b":"v"},)"
                                 R"("channels":{"-3":"c","2":"c","10":"c","1000":"c"},)"
                                 R"("persistent_data":{"m":"2","z":"1"}})");
}

} // namespace
} // namespace vantrel::kelvane::libwexohelper::settings
