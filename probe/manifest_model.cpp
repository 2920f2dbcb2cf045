#include "manifest_model.hpp"

#include <libstringutils/format.hpp>

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace vantrel::kelvane::probe {
namespace {

using json = nlohmann::ordered_json;

std::string str(const json& j, const char* key) {
    const auto it = j.find(key);
    return it != j.end() && it->is_string() ? it->get<std::string>() : std::string();
}

// The member, or an empty object: never a temporary, so it can be iterated safely.
const json& member(const json& j, const char* key) {
    static const json empty = json::object();
    const auto it = j.find(key);
    return it == j.end() ? empty : *it;
}

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

setting_description read_setting(const json& item, const std::string& section, const std::string& group) {
    const json& s = item.at("Setting");
    setting_description d;
    d.name = str(s, "Name");
    d.key = section + "." + group + "." + d.name;
    d.display = str(s, "Display");
    d.help = str(s, "Help");
    d.default_value = str(s, "Default");
    d.depends_on = str(item, "DependsOn");
    d.condition = str(item, "Condition");
    if (const auto text = s.find("Text"); text != s.end()) {
        d.type = text->value("Multiline", false) ? "multiline text" : "text";
    } else if (const auto selection = s.find("Selection"); selection != s.end()) {
        d.type = "selection";
        for (const auto& option : selection->value("Options", json::array())) {
            d.options.emplace_back(str(option, "Value"), str(option, "Display"));
        }
    } else if (const auto integer = s.find("IntegerSigned"); integer != s.end()) {
        d.type = "integer";
        if (integer->value("IsMinimumSet", false)) {
            d.minimum = integer->value("Minimum", std::int64_t{0});
        }
        if (integer->value("IsMaximumSet", false)) {
            d.maximum = integer->value("Maximum", std::int64_t{0});
        }
    } else if (s.contains("Password")) {
        d.type = "secret";
        d.secure = true;
    } else {
        d.type = "text";
    }
    for (const auto& flag : s.value("Flags", json::array())) {
        d.required = d.required || flag == "SettingFlagRequired";
    }
    return d;
}

std::vector<setting_description> read_sections(const json& doc, const json& section_names) {
    std::vector<setting_description> settings;
    for (const auto& section_name : section_names) {
        const auto& section = doc.at("Sections").at(section_name.get<std::string>());
        for (const auto& group_name : section.value("Groups", json::array())) {
            const auto& group = doc.at("Groups").at(group_name.get<std::string>());
            for (const auto& item : group.value("Items", json::array())) {
                settings.push_back(read_setting(item, section_name.get<std::string>(), group_name.get<std::string>()));
            }
        }
    }
    return settings;
}

} // namespace

std::vector<setting_description> common_settings() {
    auto make = [](std::string key, std::string display, std::string def, std::string type, std::string help) {
        setting_description d;
        d.key = d.name = std::move(key);
        d.display = std::move(display);
        d.default_value = std::move(def);
        d.type = std::move(type);
        d.help = std::move(help);
        d.common = true;
        return d;
    };
    auto host = make("host", "Device address", "", "text", "IP address or host name of the monitored device.");
    host.required = true;
    auto logging = make("logging", "Sensor log", "disabled", "selection", "Writes the sensor log (see --verbose).");
    logging.options = {{"disabled", "Disabled"}, {"enabled", "Enabled"}};
    auto interval = make("interval", "Scanning interval (s)", "60", "integer", "Seconds between two scans.");
    interval.minimum = 1;
    auto timeout = make("timeout", "Timeout (s)", "10", "integer", "Seconds a request may take.");
    timeout.minimum = 0;
    auto ipversion = make("ipversion", "IP version", "IPv4", "selection", "IP version used to reach the device.");
    // The module also takes the digits 0 and 1 for the two versions.
    ipversion.options = {{"IPv4", "IPv4"}, {"IPv6", "IPv6"}, {"0", "IPv4"}, {"1", "IPv6"}};
    auto key = make("vantrelcloudapikey", "Cloud API key", "", "secret", "Never shown in any log.");
    key.secure = true;
    return {host, logging, interval, timeout, ipversion, key};
}

std::vector<std::string> secure_setting_names(const std::vector<kind_description>& kinds) {
    std::vector<std::string> names;
    for (const auto& kind : kinds) {
        for (const auto& s : kind.settings) {
            if (s.secure) {
                for (const auto& n : {s.name, s.key}) {
                    if (std::find(names.begin(), names.end(), n) == names.end()) {
                        names.push_back(n);
                    }
                }
            }
        }
    }
    return names;
}

manifest_model::manifest_model(const std::string& manifest_json) {
    doc_ = json::parse(manifest_json, nullptr, false);
    if (doc_.is_discarded() || !doc_.is_object()) {
        throw std::runtime_error("The module's manifest is not a JSON object.");
    }
    try {
        for (const auto& [name, sensor] : member(doc_, "Sensors").items()) {
            kind_description k;
            k.name = name;
            k.display = str(sensor, "Display");
            k.description = str(sensor, "Description");
            for (const auto& check : sensor.value("RequiredChecks", json::array())) {
                k.required_checks.push_back(check.get<std::string>());
            }
            k.settings = common_settings();
            const auto own =
                read_sections(doc_, sensor.value("Settings", json::object()).value("Sections", json::array()));
            k.settings.insert(k.settings.end(), own.begin(), own.end());
            kinds_.push_back(std::move(k));
        }
        for (const auto& [name, check] : member(doc_, "Checks").items()) {
            kind_description k;
            k.name = name;
            k.display = name;
            k.is_check = true;
            k.settings = common_settings();
            const auto own = read_sections(doc_, check.value("Sections", json::array()));
            k.settings.insert(k.settings.end(), own.begin(), own.end());
            kinds_.push_back(std::move(k));
        }
    } catch (const json::exception& e) {
        throw std::runtime_error(std::string("The module's manifest is inconsistent: ") + e.what());
    }
}

const kind_description* manifest_model::find_kind(const std::string& name) const {
    const auto it = std::find_if(kinds_.begin(), kinds_.end(), [&](const auto& k) { return k.name == name; });
    return it == kinds_.end() ? nullptr : &*it;
}

std::vector<std::string> manifest_model::kind_names(bool checks) const {
    std::vector<std::string> names;
    for (const auto& k : kinds_) {
        if (k.is_check == checks) {
            names.push_back(k.name);
        }
    }
    return names;
}

std::vector<std::string> manifest_model::languages() const {
    std::vector<std::string> names;
    for (const auto& [language, texts] : member(doc_, "Text").items()) {
        names.push_back(language);
    }
    return names;
}

std::string manifest_model::language_named(const std::string& name) const {
    for (const auto& language : languages()) {
        if (lower(language) == lower(name)) {
            return language;
        }
    }
    return {};
}

std::optional<std::string> manifest_model::text(const std::string& key, const std::string& language) const {
    // member() refers into the document: value() would copy every language's
    // catalogue on each look-up, which a service that judges thousands of
    // results a second cannot afford.
    const auto& texts = member(doc_, "Text");
    for (const auto& lang : {language, std::string("English")}) {
        const auto l = texts.find(lang);
        if (l == texts.end()) {
            continue;
        }
        const auto& translation = member(*l, "Translation");
        if (const auto entry = translation.find(key); entry != translation.end()) {
            return str(*entry, "Display");
        }
    }
    return std::nullopt;
}

std::string manifest_model::translate(const std::string& key, const std::vector<std::string>& arguments,
                                      const std::string& language, const std::string& fallback) const {
    if (key.empty()) {
        return fallback;
    }
    const auto t = text(key, language);
    if (!t) {
        return fallback.empty() ? key : fallback;
    }
    try {
        return libstringutils::format(*t, arguments);
    } catch (const std::exception&) {
        return fallback.empty() ? *t : fallback;
    }
}

std::string manifest_model::lookup_text(const std::string& lookup, std::int64_t value,
                                        const std::string& language) const {
    if (const auto t = text("lookup." + lookup + "." + std::to_string(value), language)) {
        return *t;
    }
    const auto& lookups = member(doc_, "Lookups");
    if (const auto l = lookups.find(lookup); l != lookups.end()) {
        for (const auto& v : l->value("LookupValues", json::array())) {
            if (v.value("Value", std::int64_t{-1}) == value) {
                return str(v, "Display");
            }
        }
    }
    return {};
}

} // namespace vantrel::kelvane::probe
