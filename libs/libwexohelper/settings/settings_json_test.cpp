#include "settings_json.hpp"

#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>
#include <wexo_reflection.pb.h>

#include <string>
#include <vector>

namespace vantrel::kelvane::libwexohelper::settings {
namespace {

// What protobuf's own JSON printer makes of the same settings message. Each
// map holds at most one entry, so that its (unspecified) map order cannot matter.
std::string printed_by_protobuf(const std::string& kind, const std::map<std::string, std::string>& settings,
                                const std::map<int, std::string>& channels,
                                const std::map<std::string, std::string>& persistent_data) {
    reflection_wire::SensorData message;
    message.set_kind(kind);
    message.mutable_settings()->insert(settings.begin(), settings.end());
    message.mutable_channels()->insert(channels.begin(), channels.end());
    message.mutable_persistent_data()->insert(persistent_data.begin(), persistent_data.end());
    google::protobuf::util::JsonPrintOptions options;
    options.preserve_proto_field_names = true;
    std::string json;
    EXPECT_TRUE(google::protobuf::util::MessageToJsonString(message, &json, options).ok());
    return json;
}

// The entries of std::maps, which are sorted already (channel ids as numbers).
struct entries_of {
    entries_of(const std::map<std::string, std::string>& settings, const std::map<int, std::string>& channel_map,
               const std::map<std::string, std::string>& persistent) {
        for (const auto& [key, value] : settings) {
            settings_entries.emplace_back(key, value);
        }
        ids.reserve(channel_map.size());
        for (const auto& [id, text] : channel_map) {
            channels.emplace_back(ids.emplace_back(std::to_string(id)), text);
        }
        for (const auto& [key, value] : persistent) {
            persistent_data.emplace_back(key, value);
        }
    }
    std::string render(std::string_view kind) const {
        return render_settings_json({kind, settings_entries, channels, persistent_data});
    }
    std::vector<json_entry> settings_entries;
    std::vector<std::string> ids;
    std::vector<json_entry> channels;
    std::vector<json_entry> persistent_data;
};

struct json_case {
    const char* name;
    std::string kind;
    std::map<std::string, std::string> settings;
    std::map<int, std::string> channels;
    std::map<std::string, std::string> persistent_data;
};
void PrintTo(const json_case& c, std::ostream* out) {
    *out << c.name;
}

class SettingsJson : public ::testing::TestWithParam<json_case> {};

TEST_P(SettingsJson, SameTextAsProtobufsPrinter) {
    const auto& c = GetParam();
    EXPECT_EQ(entries_of(c.settings, c.channels, c.persistent_data).render(c.kind),
              printed_by_protobuf(c.kind, c.settings, c.channels, c.persistent_data));
}

INSTANTIATE_TEST_SUITE_P(
    Messages, SettingsJson,
    ::testing::Values(json_case{"Empty", "", {}, {}, {}},
                      json_case{"EveryField", "dns_v2", {{"host", "ns1"}}, {{-2, "Response Time"}}, {{"last", "x"}}},
                      json_case{"EmptyValueStays", "dns_v2", {{"filter", ""}}, {}, {}},
                      json_case{"KindLeftOut", "", {}, {{7, "c"}}, {}},
                      json_case{"QuotesAndBackslashes", "k\"\\", {{"a\"b", "c\\d"}}, {}, {}},
                      json_case{
                          "ControlCharacters", "dns_v2", {{"blacklist_servers", "a\nb\tc\r\b\f\x01\x1f\x7f"}}, {}, {}},
                      json_case{"AngleBracketsForHtml", "dns_v2", {{"<b>", "</script>"}}, {}, {}},
                      json_case{"Utf8PassesThrough",
                                "dns_v2",
                                {{"domain", "b\xC3\xBC"
                                            "cher.example"}},
                                {},
                                {}}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace vantrel::kelvane::libwexohelper::settings
