#include <dns/manifest.hpp>
#include <libstringutils/utf8.hpp>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace vantrel::kelvane::dns {
namespace {

using ordered = nlohmann::ordered_json;

const ordered& manifest() {
    static const ordered m = ordered::parse(manifest_json());
    return m;
}

const ordered& translation(const std::string& language) {
    return manifest().at("Text").at(language).at("Translation");
}

std::string english(const std::string& key) {
    return translation("English").at(key).at("Display");
}

// Markup tags and placeholders of a text, sorted: a translation may move them, but must keep each one.
std::vector<std::string> tokens(const std::string& text) {
    static const std::regex token(R"(\[/?(?:b|i|br)\]|%\d:s)");
    std::vector<std::string> found;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), token); it != std::sregex_iterator(); ++it) {
        found.push_back(it->str());
    }
    std::sort(found.begin(), found.end());
    return found;
}

TEST(tokens, finds_markup_and_placeholders_only) {
    EXPECT_EQ(tokens("[b]a[/b] [2..11] %1:s [br] %0:s [x] 50%"),
              (std::vector<std::string>{"%0:s", "%1:s", "[/b]", "[b]", "[br]"}));
}

const std::set<std::string> lookup_keys = {"lookup.lookup_records_found.0", "lookup.lookup_records_found.1"};

// Keys left out of the six languages that have no texts for the IP reputation sensor yet.
std::set<std::string> ip_reputation_keys() {
    std::set<std::string> keys = {"channel.score",
                                  "channel.servers_reached",
                                  "error.dns_server_definition_invalid",
                                  "error.dns_server_filter_invalid",
                                  "error.dns_server_filter_invalid_range",
                                  "error.dns_server_filter_invalid_value",
                                  "error.dnsbl_initial_check_failed",
                                  "ip_reputation_score_section.display",
                                  "dns_sensor_group.apply_filter.option.enabled_match_exact"};
    for (const auto& [key, entry] : translation("English").items()) {
        if (key.starts_with("ip_reputation_score_group.") || key.starts_with("ip_reputation_score_sensor.")) {
            keys.insert(key);
        }
    }
    return keys;
}

struct language_case {
    std::string name;
    std::size_t count;
    bool has_ip_reputation;
    bool has_lookup;
};

std::ostream& operator<<(std::ostream& out, const language_case& c) {
    return out << c.name;
}

class language : public testing::TestWithParam<language_case> {};

TEST_P(language, holds_only_translation_entries_with_only_display) {
    const auto& object = manifest().at("Text").at(GetParam().name);
    ASSERT_EQ(object.size(), 1u);
    ASSERT_TRUE(object.contains("Translation"));
    for (const auto& [key, entry] : object.at("Translation").items()) {
        ASSERT_TRUE(entry.is_object()) << key;
        ASSERT_EQ(entry.size(), 1u) << key;
        ASSERT_TRUE(entry.contains("Display")) << key;
        ASSERT_TRUE(entry.at("Display").is_string()) << key;
        EXPECT_FALSE(entry.at("Display").get<std::string>().empty()) << key;
    }
}

TEST_P(language, has_every_english_key_except_the_untranslated_ones) {
    const auto& c = GetParam();
    const auto& texts = translation(c.name);
    EXPECT_EQ(texts.size(), c.count);

    std::set<std::string> expected_missing;
    if (!c.has_lookup) {
        expected_missing.insert(lookup_keys.begin(), lookup_keys.end());
    }
    if (!c.has_ip_reputation) {
        const auto keys = ip_reputation_keys();
        ASSERT_EQ(keys.size(), 22u);
        expected_missing.insert(keys.begin(), keys.end());
    }
    std::set<std::string> missing;
    for (const auto& [key, entry] : translation("English").items()) {
        if (!texts.contains(key)) {
            missing.insert(key);
        }
    }
    EXPECT_EQ(missing, expected_missing);
    for (const auto& [key, entry] : texts.items()) {
        EXPECT_TRUE(translation("English").contains(key)) << "no English text for " << key;
    }
}

TEST_P(language, keeps_markup_and_placeholders_of_the_english_text) {
    for (const auto& [key, entry] : translation(GetParam().name).items()) {
        EXPECT_EQ(tokens(entry.at("Display")), tokens(english(key))) << key;
    }
}

TEST_P(language, texts_are_valid_utf8) {
    for (const auto& [key, entry] : translation(GetParam().name).items()) {
        EXPECT_TRUE(libstringutils::is_valid_utf8(entry.at("Display").get<std::string>())) << key;
    }
}

TEST_P(language, keeps_product_names) {
    for (const auto& [key, entry] : translation(GetParam().name).items()) {
        const auto text = entry.at("Display").get<std::string>();
        for (const auto* name : {"Vemtor", "DNSBL", "IPv4", "IPv6", "in-addr.arpa", "ns-type-map"}) {
            if (english(key).find(name) != std::string::npos) {
                EXPECT_NE(text.find(name), std::string::npos) << key << " lost " << name;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    catalogue, language,
    testing::Values(language_case{"Russian", 92, false, false}, language_case{"Brazilian", 92, false, false},
                    language_case{"Dutch", 92, false, false}, language_case{"Japanese", 92, false, false},
                    language_case{"French", 92, false, false}, language_case{"Spanish", 114, true, false},
                    language_case{"English", 116, true, true}, language_case{"German", 114, true, false},
                    language_case{"SimplifiedChinese", 92, false, false}),
    [](const auto& info) { return info.param.name; });

TEST(catalogue, languages_stand_in_the_host_s_order) {
    std::vector<std::string> names;
    for (const auto& [name, language] : manifest().at("Text").items()) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Russian", "Brazilian", "Dutch", "Japanese", "French", "Spanish",
                                               "English", "German", "SimplifiedChinese"}));
}

TEST(catalogue, sentences_are_translated) {
    // A sentence left in English would pass every other check; short labels ("Port", "DNS v2") may stay.
    for (const auto& [language, object] : manifest().at("Text").items()) {
        if (language == "English") {
            continue;
        }
        for (const auto& [key, entry] : object.at("Translation").items()) {
            const auto source = english(key);
            if (std::count(source.begin(), source.end(), ' ') >= 4) {
                EXPECT_NE(entry.at("Display").get<std::string>(), source) << language << ": " << key;
            }
        }
    }
}

TEST(catalogue, english_key_families) {
    const std::vector<std::pair<std::string, std::size_t>> families = {
        {"libparser.error.", 2},
        {"libjsonparser.error.", 6},
        {"libi18n.error.", 1},
        {"libwexohelper.error.", 31},
        {"module.", 2},
        {"channel.", 6},
        {"error.", 23},
        {"lookup.", 2},
        {"dns_v2.", 3},
        {"ip_reputation_score_sensor.", 3},
        {"dns_sensor_section.", 1},
        {"ip_reputation_score_section.", 1},
        {"dns_sensor_group.", 25},
        {"ip_reputation_score_group.", 10},
    };
    std::map<std::string, std::size_t> counted;
    for (const auto& [key, entry] : translation("English").items()) {
        const auto family =
            std::find_if(families.begin(), families.end(), [&key](const auto& f) { return key.starts_with(f.first); });
        ASSERT_NE(family, families.end()) << "key of no family: " << key;
        ++counted[family->first];
    }
    for (const auto& [prefix, count] : families) {
        EXPECT_EQ(counted[prefix], count) << prefix;
    }
}

// Every display and help text the manifest shows, under the key the host looks it up by.
std::map<std::string, std::string> manifest_texts() {
    const auto& m = manifest();
    std::map<std::string, std::string> texts;
    texts["module.display"] = m.at("MetaData").at("Display");
    texts["module.description"] = m.at("MetaData").at("Description");
    for (const auto& [kind, sensor] : m.at("Sensors").items()) {
        texts[kind + ".display"] = sensor.at("Display");
        texts[kind + ".description"] = sensor.at("Description");
        texts[kind + ".help"] = sensor.at("Help");
    }
    for (const auto& [name, section] : m.at("Sections").items()) {
        texts[name + ".display"] = section.at("Display");
    }
    for (const auto& [group, entry] : m.at("Groups").items()) {
        for (const auto& item : entry.at("Items")) {
            const auto& setting = item.at("Setting");
            const auto prefix = group + "." + setting.at("Name").get<std::string>();
            texts[prefix + ".display"] = setting.at("Display");
            texts[prefix + ".help"] = setting.at("Help");
            if (setting.contains("Selection")) {
                for (const auto& option : setting.at("Selection").at("Options")) {
                    texts[prefix + ".option." + option.at("Value").get<std::string>()] = option.at("Display");
                }
            }
        }
    }
    for (const auto& [name, lookup] : m.at("Lookups").items()) {
        for (const auto& value : lookup.at("LookupValues")) {
            texts["lookup." + name + "." + std::to_string(value.at("Value").get<int>())] = value.at("Display");
        }
    }
    return texts;
}

TEST(catalogue, english_display_and_help_texts_equal_the_manifest_s) {
    const auto texts = manifest_texts();
    EXPECT_EQ(texts.size(), 2u + 6u + 2u + 25u + 10u + 2u);
    for (const auto& [key, text] : texts) {
        ASSERT_TRUE(translation("English").contains(key)) << key;
        EXPECT_EQ(english(key), text) << key;
    }
}

TEST(catalogue, english_markup_is_balanced) {
    for (const auto& [key, entry] : translation("English").items()) {
        const auto t = tokens(entry.at("Display"));
        EXPECT_EQ(std::count(t.begin(), t.end(), "[b]"), std::count(t.begin(), t.end(), "[/b]")) << key;
        EXPECT_EQ(std::count(t.begin(), t.end(), "[i]"), std::count(t.begin(), t.end(), "[/i]")) << key;
    }
}

TEST(catalogue, whole_manifest_is_valid_utf8) {
    EXPECT_TRUE(libstringutils::is_valid_utf8(manifest_json()));
}

} // namespace
} // namespace vantrel::kelvane::dns
