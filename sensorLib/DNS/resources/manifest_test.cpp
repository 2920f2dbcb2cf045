#include <dns/manifest.hpp>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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

std::vector<std::string> keys_of(const ordered& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) {
        keys.push_back(key);
    }
    return keys;
}

using strings = std::vector<std::string>;

TEST(manifest, top_level_members_stand_in_the_host_s_order) {
    EXPECT_EQ(keys_of(manifest()), (strings{"MetaData", "Sensors", "Checks", "Sections", "Revision", "MetaScans",
                                            "Groups", "Lookups", "Text"}));
    EXPECT_EQ(manifest().at("Revision"), 54);
    EXPECT_TRUE(manifest().at("MetaScans").is_object());
    EXPECT_TRUE(manifest().at("MetaScans").empty());
}

TEST(manifest, metadata_describes_the_module) {
    const auto& meta = manifest().at("MetaData");
    EXPECT_EQ(keys_of(meta), (strings{"Vendor", "Name", "Contact", "Version", "Display", "Description"}));
    EXPECT_EQ(meta.at("Vendor"), "vantrel");
    EXPECT_EQ(meta.at("Name"), "DNS");
    EXPECT_NE(meta.at("Contact").get<std::string>().find('@'), std::string::npos);
    EXPECT_EQ(meta.at("Version"), "1.20.1.22482");
    EXPECT_EQ(meta.at("Version"), std::string(manifest_names::module_version));
    EXPECT_EQ(meta.at("Display"), "DNS Server");
    EXPECT_EQ(meta.at("Description"), "Monitoring module to bundle DNS server-related sensors.");
}

TEST(manifest, dns_v2_sensor) {
    const auto& sensors = manifest().at("Sensors");
    EXPECT_EQ(keys_of(sensors), (strings{"dns_v2", "ip_reputation_score_sensor"}));
    const auto& s = sensors.at("dns_v2");
    EXPECT_EQ(keys_of(s), (strings{"Name", "Display", "Description", "Help", "ManualLink", "ResourceUsage",
                                   "Compatibility", "Family", "RequiredChecks", "Settings", "Tags"}));
    EXPECT_EQ(s.at("Name"), std::string(manifest_names::dns_v2_sensor));
    EXPECT_EQ(s.at("Display"), "DNS v2");
    EXPECT_EQ(s.at("Description"), "Monitors a DNS server");
    EXPECT_NE(s.at("Help").get<std::string>().find("response time"), std::string::npos);
    EXPECT_EQ(s.at("ManualLink"), "/help/dns_v2_sensor.htm");
    EXPECT_EQ(s.at("ResourceUsage"), 3);
    EXPECT_EQ(s.at("Compatibility"), ordered({"SystemCompatibilityIPv4", "SystemCompatibilityIPv6"}));
    EXPECT_EQ(s.at("Family"), ordered({"FamilyKindAvailability", "FamilyKindTCP", "FamilyKindUDP"}));
    EXPECT_EQ(s.at("RequiredChecks"), ordered({"dns_check"}));
    EXPECT_EQ(s.at("Settings"), ordered::parse(R"({"Sections": ["dns_sensor_section"]})"));
    EXPECT_EQ(s.at("Tags"), ordered({"dns", "dnssensor"}));
}

TEST(manifest, ip_reputation_sensor) {
    const auto& s = manifest().at("Sensors").at("ip_reputation_score_sensor");
    EXPECT_EQ(keys_of(s), (strings{"Name", "Display", "Description", "Help", "ManualLink", "ResourceUsage",
                                   "Compatibility", "Family", "Flag", "RequiredChecks", "Settings", "Tags"}));
    EXPECT_EQ(s.at("Name"), std::string(manifest_names::ip_reputation_sensor));
    EXPECT_EQ(s.at("Display"), "IP Reputation Score");
    EXPECT_EQ(s.at("Description"), "Checks the IP address of the parent device against DNS blacklist servers");
    EXPECT_EQ(s.at("Help"), "Checks the IP address of the parent device against a configurable list of DNS "
                            "blacklist (DNSBL) servers.");
    EXPECT_EQ(s.at("ManualLink"), "/help/ip_reputation_score_sensor.htm");
    EXPECT_EQ(s.at("ResourceUsage"), 2);
    EXPECT_EQ(s.at("Compatibility"), ordered({"SystemCompatibilityIPv4", "SystemCompatibilityIPv6"}));
    EXPECT_EQ(s.at("Family"), ordered({"FamilyKindEmail", "FamilyKindInfrastructure", "FamilyKindTCP"}));
    EXPECT_EQ(s.at("Flag"), "SensorFlagIsReleaseCandidate");
    EXPECT_EQ(s.at("RequiredChecks"), ordered({"true_check"}));
    EXPECT_EQ(s.at("Settings"), ordered::parse(R"({"Sections": ["ip_reputation_score_section"]})"));
    EXPECT_EQ(s.at("Tags"), ordered({"dns", "dnsbl", "dnsblacklist"}));
}

TEST(manifest, checks_and_sections) {
    EXPECT_EQ(manifest().at("Checks"), ordered::parse(R"({"true_check": {"Name": "true_check", "Sections": []},
                                                          "dns_check": {"Name": "dns_check", "Sections": []}})"));
    EXPECT_EQ(keys_of(manifest().at("Checks")), (strings{"true_check", "dns_check"}));

    const auto& sections = manifest().at("Sections");
    EXPECT_EQ(keys_of(sections), (strings{"dns_sensor_section", "ip_reputation_score_section"}));
    for (const auto& [name, group] :
         {std::pair{manifest_names::dns_sensor_section, manifest_names::dns_sensor_group},
          std::pair{manifest_names::ip_reputation_section, manifest_names::ip_reputation_group}}) {
        SCOPED_TRACE(name);
        const auto& section = sections.at(std::string(name));
        EXPECT_EQ(keys_of(section), (strings{"Name", "Display", "Scope", "Groups"}));
        EXPECT_EQ(section.at("Name"), std::string(name));
        EXPECT_EQ(section.at("Display"), "Specific Sensor Settings");
        EXPECT_EQ(section.at("Scope"), "SettingSectionScopeSensor");
        EXPECT_EQ(section.at("Groups"), ordered({std::string(group)}));
    }
}

TEST(manifest, lookup_of_the_records_resolved_channel) {
    EXPECT_EQ(manifest().at("Lookups"), ordered::parse(R"({"lookup_records_found": {
        "Name": "lookup_records_found", "Mode": "LookupDisplayModeBoolean", "LookupValues": [
          {"Name": "no", "Display": "No", "Value": 0, "State": "LookupValueStateError"},
          {"Name": "yes", "Display": "Yes", "Value": 1, "State": "LookupValueStateOk"}]}})"));
    // ordered_json compares member order too, but say it once explicitly for the entries.
    const auto& lookup = manifest().at("Lookups").at(std::string(manifest_names::records_found_lookup));
    EXPECT_EQ(keys_of(lookup), (strings{"Name", "Mode", "LookupValues"}));
    EXPECT_EQ(keys_of(lookup.at("LookupValues").at(0)), (strings{"Name", "Display", "Value", "State"}));
}

// What the host must see of one setting; help texts are checked separately.
struct expected_setting {
    std::string name;
    std::string display;
    std::string default_value;
    ordered type; // {"<type name>": {...}}
    bool required;
    std::string depends_on; // empty: always shown
    std::string condition;
};

ordered integer(int minimum, int maximum) {
    return {{"IntegerSigned",
             {{"IsMinimumSet", true}, {"Minimum", minimum}, {"IsMaximumSet", true}, {"Maximum", maximum}}}};
}

ordered selection(std::vector<std::pair<std::string, std::string>> options) {
    ordered list = ordered::array();
    for (const auto& [value, display] : options) {
        list.push_back({{"Display", display}, {"Value", value}});
    }
    return {{"Selection", {{"Options", list}}}};
}

const ordered text = {{"Text", ordered::object()}};

void expect_group(std::string_view group_name, const std::vector<expected_setting>& expected) {
    const auto& group = manifest().at("Groups").at(std::string(group_name));
    EXPECT_EQ(keys_of(group), (strings{"Name", "Items"}));
    EXPECT_EQ(group.at("Name"), std::string(group_name));
    const auto& items = group.at("Items");
    ASSERT_EQ(items.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const auto& want = expected[i];
        SCOPED_TRACE(want.name);
        const auto& item = items.at(i);
        if (want.depends_on.empty()) {
            EXPECT_EQ(keys_of(item), (strings{"Setting"}));
        } else {
            EXPECT_EQ(keys_of(item), (strings{"DependsOn", "Condition", "Setting"}));
            EXPECT_EQ(item.at("DependsOn"), want.depends_on);
            EXPECT_EQ(item.at("Condition"), want.condition);
        }
        const auto& setting = item.at("Setting");
        strings keys{"Name", "Display", "Help", "Default", want.type.begin().key()};
        if (want.required) {
            keys.push_back("Flags");
            EXPECT_EQ(setting.at("Flags"), ordered({"SettingFlagRequired"}));
        }
        EXPECT_EQ(keys_of(setting), keys);
        EXPECT_EQ(setting.at("Name"), want.name);
        EXPECT_EQ(setting.at("Display"), want.display);
        ASSERT_TRUE(setting.at("Default").is_string()) << "the host reads every default as text";
        EXPECT_EQ(setting.at("Default"), want.default_value);
        EXPECT_EQ(setting.at(want.type.begin().key()), want.type.begin().value());
        EXPECT_FALSE(setting.at("Help").get<std::string>().empty());
    }
}

TEST(manifest, dns_sensor_group_settings) {
    expect_group(manifest_names::dns_sensor_group,
                 {
                     {"domain", "Domain Name", "", text, true, "", ""},
                     {"record_type", "Query Type", "A",
                      selection({{"A", "Host address IPv4 (A) (default)"},
                                 {"AAAA", "Host address IPv6 (AAAA)"},
                                 {"CNAME", "Canonical name for an alias (CNAME)"},
                                 {"MX", "Mail exchange (MX)"},
                                 {"NAPTR", "Naming authority pointer (NAPTR)"},
                                 {"NS", "Authoritative name server (NS)"},
                                 {"PTR", "PTR resource record (PTR)"},
                                 {"SOA", "Start of authority (SOA)"},
                                 {"TXT", "Text resource record (TXT)"},
                                 {"ANY", "Any (depends on the DNS server configuration)"}}),
                      true, "", ""},
                     {"query_timeout", "Timeout (Sec.)", "30", integer(0, 900), true, "", ""},
                     {"apply_filter", "Filter Usage", "disabled",
                      selection({{"disabled", "Do not use a filter (default)"},
                                 {"enabled", "Match any of the comma-separated values in the sensor message"},
                                 {"enabled_match_exact", "Match the sensor message as an exact string"}}),
                      false, "", ""},
                     {"filter", "Filter Value", "", text, false, "apply_filter", "enabled,enabled_match_exact"},
                     {"port", "Port", "53", integer(1, 65535), true, "", ""},
                 });
}

TEST(manifest, ip_reputation_group_settings) {
    const ordered multiline = {{"Text", {{"Multiline", true}}}};
    expect_group(manifest_names::ip_reputation_group,
                 {
                     {"dns_resolver", "DNS Resolver", "system",
                      selection({{"system", "System (default)"}, {"custom", "Custom"}}), false, "", ""},
                     {"custom_resolver", "Custom Resolver", "", text, true, "dns_resolver", "custom"},
                     {"custom_resolver_port", "Port", "53", integer(1, 65535), true, "dns_resolver", "custom"},
                     {"blacklist_servers", "Blacklist Servers", "bl.spamcop.net", multiline, true, "", ""},
                 });
}

TEST(manifest, blacklist_default_is_one_bare_zone_name) {
    // The sensor parses the default like any user line: a zone name alone, no filter, no score.
    const auto value = manifest()
                           .at("Groups")
                           .at("ip_reputation_score_group")
                           .at("Items")
                           .at(3)
                           .at("Setting")
                           .at("Default")
                           .get<std::string>();
    ASSERT_FALSE(value.empty());
    EXPECT_EQ(value.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.-"), std::string::npos) << value;
    EXPECT_NE(value.find('.'), std::string::npos) << value;
}

std::string help_of(std::string_view group, std::string_view setting) {
    for (const auto& item : manifest().at("Groups").at(std::string(group)).at("Items")) {
        if (item.at("Setting").at("Name") == setting) {
            return item.at("Setting").at("Help").get<std::string>();
        }
    }
    ADD_FAILURE() << "no setting " << setting;
    return {};
}

TEST(manifest, help_texts_state_defaults_and_limits) {
    const auto timeout = help_of("dns_sensor_group", "query_timeout");
    for (const auto* part : {"Vemtor", "30", "900", "scanning interval"}) {
        EXPECT_NE(timeout.find(part), std::string::npos) << part;
    }
    const auto port = help_of("dns_sensor_group", "port");
    for (const auto* part : {"Vemtor", "53", "1", "65535"}) {
        EXPECT_NE(port.find(part), std::string::npos) << part;
    }
    EXPECT_NE(help_of("dns_sensor_group", "domain").find("in-addr.arpa"), std::string::npos);
    EXPECT_NE(help_of("dns_sensor_group", "filter").find("OK:"), std::string::npos);
    const auto blacklist = help_of("ip_reputation_score_group", "blacklist_servers");
    for (const auto* part : {"domain=filter*score", "[2;4;10]", "[2..11]", "[br]"}) {
        EXPECT_NE(blacklist.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(help_of("ip_reputation_score_group", "dns_resolver"),
              "Select which resolver the sensor sends the requests to.");
    EXPECT_EQ(help_of("ip_reputation_score_group", "custom_resolver"),
              "Enter the IP address or hostname of the custom resolver.");
    EXPECT_EQ(help_of("ip_reputation_score_group", "custom_resolver_port"),
              "Enter the port for the connection to the custom DNS resolver.");
}

TEST(manifest, every_name_refers_to_an_entry_and_every_entry_is_reachable) {
    const auto& m = manifest();
    std::set<std::string> named_sections;
    std::set<std::string> named_groups;
    for (const auto& [kind, sensor] : m.at("Sensors").items()) {
        EXPECT_EQ(sensor.at("Name"), kind);
        for (const auto& check : sensor.at("RequiredChecks")) {
            EXPECT_TRUE(m.at("Checks").contains(check.get<std::string>())) << check;
        }
        for (const auto& section : sensor.at("Settings").at("Sections")) {
            ASSERT_TRUE(m.at("Sections").contains(section.get<std::string>())) << section;
            named_sections.insert(section.get<std::string>());
        }
    }
    for (const auto& [name, check] : m.at("Checks").items()) {
        EXPECT_EQ(check.at("Name"), name);
    }
    for (const auto& [name, section] : m.at("Sections").items()) {
        EXPECT_EQ(section.at("Name"), name);
        EXPECT_TRUE(named_sections.contains(name)) << name << " is named by no sensor";
        for (const auto& group : section.at("Groups")) {
            ASSERT_TRUE(m.at("Groups").contains(group.get<std::string>())) << group;
            named_groups.insert(group.get<std::string>());
        }
    }
    for (const auto& [name, group] : m.at("Groups").items()) {
        EXPECT_EQ(group.at("Name"), name);
        EXPECT_TRUE(named_groups.contains(name)) << name << " is named by no section";
    }
    for (const auto& [name, lookup] : m.at("Lookups").items()) {
        EXPECT_EQ(lookup.at("Name"), name);
    }
}

TEST(manifest, conditions_name_an_option_of_a_selection_in_the_same_group) {
    for (const auto& [name, group] : manifest().at("Groups").items()) {
        std::set<std::string> setting_names;
        for (const auto& item : group.at("Items")) {
            const auto setting = item.at("Setting").at("Name").get<std::string>();
            EXPECT_TRUE(setting_names.insert(setting).second) << "duplicate setting " << setting;
            if (!item.contains("DependsOn")) {
                continue;
            }
            const ordered* selector = nullptr;
            for (const auto& other : group.at("Items")) {
                if (other.at("Setting").at("Name") == item.at("DependsOn")) {
                    selector = &other.at("Setting");
                }
            }
            ASSERT_NE(selector, nullptr) << setting;
            ASSERT_TRUE(selector->contains("Selection")) << setting;
            std::set<std::string> values;
            for (const auto& option : selector->at("Selection").at("Options")) {
                values.insert(option.at("Value").get<std::string>());
            }
            std::string condition = item.at("Condition").get<std::string>();
            for (std::size_t start = 0; start <= condition.size();) {
                const auto end = std::min(condition.find(',', start), condition.size());
                EXPECT_TRUE(values.contains(condition.substr(start, end - start))) << setting << ": " << condition;
                start = end + 1;
            }
        }
    }
}

TEST(manifest, defaults_are_valid_choices) {
    for (const auto& [name, group] : manifest().at("Groups").items()) {
        for (const auto& item : group.at("Items")) {
            const auto& setting = item.at("Setting");
            const auto value = setting.at("Default").get<std::string>();
            SCOPED_TRACE(setting.at("Name").get<std::string>());
            if (setting.contains("Selection")) {
                bool found = false;
                for (const auto& option : setting.at("Selection").at("Options")) {
                    found = found || option.at("Value") == value;
                }
                EXPECT_TRUE(found) << value;
            } else if (setting.contains("IntegerSigned")) {
                const auto& limits = setting.at("IntegerSigned");
                const auto number = std::stoll(value);
                EXPECT_GE(number, limits.at("Minimum").get<long long>());
                EXPECT_LE(number, limits.at("Maximum").get<long long>());
            }
        }
    }
}

TEST(manifest, without_texts_is_the_manifest_minus_its_text_member) {
    const auto full = manifest_json();
    const auto bare = manifest_json_without_texts();
    auto expected = manifest();
    expected.erase("Text");
    EXPECT_EQ(ordered::parse(bare), expected);

    // Byte for byte: the bare document is the full one cut before ",\n  \"Text\"" and closed again.
    const auto cut = full.find(",\n  \"Text\": {");
    ASSERT_NE(cut, std::string_view::npos);
    EXPECT_EQ(std::string(full.substr(0, cut)) + "\n}\n", bare);
    EXPECT_EQ(full.rfind("\"Text\""), cut + 4) << "\"Text\" must be the last member";
    EXPECT_EQ(manifest_json_without_texts().data(), bare.data()) << "built once and kept";
}

} // namespace
} // namespace vantrel::kelvane::dns
