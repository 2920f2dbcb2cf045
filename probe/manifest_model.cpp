#include "manifest_model.hpp"

#include <libstringutils/format.hpp>
#include <libstringutils/json_skim.hpp>

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

namespace skim = libstringutils::json_skim;

// The text of a JSON string (its quotes included). Catalogue texts rarely hold
// an escape: those go through the JSON parser, the others are their bytes.
std::optional<std::string> decode_string(std::string_view token) {
    if (token.size() < 2 || token.front() != '"' || token.back() != '"') {
        return std::nullopt;
    }
    if (token.find('\\') == std::string_view::npos) {
        return std::string(token.substr(1, token.size() - 2));
    }
    const auto value = json::parse(token, nullptr, false);
    if (!value.is_string()) {
        return std::nullopt;
    }
    return value.get<std::string>();
}

// Calls `entry(key, value_begin, value_end)` for each member of the object
// that starts at json[begin], its key decoded; `entry` returns false for a
// member it finds broken. A value of another type has no members. False when
// the text is broken.
template <class F> bool for_each_entry(std::string_view json, std::size_t begin, F entry) {
    if (begin >= json.size() || json[begin] != '{') {
        return true;
    }
    bool intact = true;
    const bool walked =
        skim::for_each_member(json, begin, [&](std::string_view raw, std::size_t value_begin, std::size_t value_end) {
            const auto key = raw.find('\\') == std::string_view::npos ? std::optional<std::string>(raw)
                                                                      : decode_string("\"" + std::string(raw) + "\"");
            intact = key && entry(*key, value_begin, value_end);
            return intact;
        });
    return walked && intact;
}

// The "Display" text of the catalogue entry at json[begin], empty when it has
// none (or one that is not a string); nullopt when the entry is broken.
std::optional<std::string> display_text(std::string_view json, std::size_t begin) {
    std::string display;
    const bool intact = for_each_entry(json, begin, [&](const std::string& key, std::size_t b, std::size_t e) {
        if (key != "Display" || json[b] != '"') {
            return true;
        }
        auto text = decode_string(json.substr(b, e - b));
        display = text.value_or(std::string());
        return text.has_value();
    });
    return intact ? std::optional<std::string>(std::move(display)) : std::nullopt;
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

manifest_model::manifest_model(const std::string& manifest_json, const std::vector<std::string>& languages) {
    // The text catalogue is most of the manifest and is only ever looked up by
    // key: it is read into tables without a parse (only English and the
    // languages asked for, when some are), and the rest of the document,
    // rebuilt from its members, is parsed.
    std::string structure;
    std::optional<std::size_t> texts;
    const bool walked = skim::for_each_member(manifest_json, skim::skip_space(manifest_json, 0),
                                              [&](std::string_view key, std::size_t begin, std::size_t end) {
                                                  if (key == "Text" && !texts) {
                                                      texts = begin;
                                                      return true;
                                                  }
                                                  structure += structure.empty() ? "{\"" : ",\"";
                                                  structure.append(key).append("\":");
                                                  structure.append(manifest_json, begin, end - begin);
                                                  return true;
                                              });
    // A text the walk did not take as an object gets its verdict from the parser.
    doc_ = json::parse(walked ? (structure.empty() ? "{}" : structure + "}") : manifest_json, nullptr, false);
    if (doc_.is_discarded() || !doc_.is_object()) {
        throw std::runtime_error("The module's manifest is not a JSON object.");
    }
    if (walked && texts && !read_catalogues(manifest_json, *texts, languages)) {
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

bool manifest_model::read_catalogues(std::string_view json, std::size_t begin, const std::vector<std::string>& wanted) {
    return for_each_entry(json, begin, [&](const std::string& language, std::size_t b, std::size_t) {
        catalogue texts;
        const bool read = wanted.empty() || language == "English" ||
                          std::any_of(wanted.begin(), wanted.end(),
                                      [&](const std::string& w) { return lower(w) == lower(language); });
        const bool intact =
            !read || for_each_entry(json, b, [&](const std::string& member, std::size_t tb, std::size_t) {
                return member != "Translation" ||
                       for_each_entry(json, tb, [&](const std::string& key, std::size_t eb, std::size_t) {
                           auto display = display_text(json, eb);
                           if (display) {
                               texts.insert_or_assign(key, std::move(*display));
                           }
                           return display.has_value();
                       });
            });
        const auto same = std::find_if(catalogues_.begin(), catalogues_.end(),
                                       [&](const auto& entry) { return entry.first == language; });
        if (same != catalogues_.end()) {
            same->second = std::move(texts);
        } else {
            catalogues_.emplace_back(language, std::move(texts));
        }
        return intact;
    });
}

const manifest_model::catalogue* manifest_model::texts_of(const std::string& language) const {
    const auto it = std::find_if(catalogues_.begin(), catalogues_.end(),
                                 [&](const auto& entry) { return entry.first == language; });
    return it == catalogues_.end() ? nullptr : &it->second;
}

std::vector<std::string> manifest_model::languages() const {
    std::vector<std::string> names;
    for (const auto& [language, texts] : catalogues_) {
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

const std::string* manifest_model::find_text(const std::string& key, const std::string& language) const {
    // Every result of every scan is translated: no copies of the language
    // names or of the text on the way.
    static const std::string english = "English";
    for (const std::string* lang : {&language, &english}) {
        if (const auto* texts = texts_of(*lang)) {
            if (const auto entry = texts->find(key); entry != texts->end()) {
                return &entry->second;
            }
        }
    }
    return nullptr;
}

std::optional<std::string> manifest_model::text(const std::string& key, const std::string& language) const {
    if (const auto* t = find_text(key, language)) {
        return *t;
    }
    return std::nullopt;
}

std::string manifest_model::translate(const std::string& key, const std::vector<std::string>& arguments,
                                      const std::string& language, const std::string& fallback) const {
    if (key.empty()) {
        return fallback;
    }
    const auto* t = find_text(key, language);
    if (t == nullptr) {
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
    if (const auto* t = find_text("lookup." + lookup + "." + std::to_string(value), language)) {
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
