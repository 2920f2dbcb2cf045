#include "settings_builder.hpp"

#include "setting_check.hpp"
#include "terminal_text.hpp"

#include <nlohmann/json.hpp>

#include <charconv>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vantrel::kelvane::probe {
namespace {

std::string valid_keys(const kind_description& kind) {
    std::string list;
    for (const auto& s : kind.settings) {
        list += "\n  " + s.key;
    }
    return list;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("Cannot read " + path + ".");
    }
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

// The argument itself is not quoted: without its "=" there is no telling
// which part is a key and which a secret.
std::pair<std::string, std::string> split_assignment(const std::string& option, const std::string& assignment,
                                                     std::size_t position) {
    const auto eq = assignment.find('=');
    if (eq == std::string::npos || eq == 0) {
        throw std::runtime_error(option + " number " + std::to_string(position) +
                                 " is not KEY=VALUE (its text is not shown, it may hold a secret).");
    }
    return {assignment.substr(0, eq), assignment.substr(eq + 1)};
}

using json = nlohmann::json;

std::string where_in(const std::string& text, std::size_t byte) {
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = 0; i + 1 < byte && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

// The file's text may hold a secret, so no message here quotes it: a syntax
// error gives its place, a wrong value its key and JSON type.
json parse_settings_file(const std::string& path, const std::string& text) {
    try {
        return json::parse(text);
    } catch (const json::parse_error& e) {
        throw std::runtime_error("The settings file " + path + " is not valid JSON (error at " +
                                 where_in(text, e.byte) + ").");
    }
}

const std::string& text_member(const std::string& path, const std::string& key, const json& value) {
    if (!value.is_string()) {
        throw std::runtime_error("In the settings file " + path + ", the value of \"" + escape_controls(key) +
                                 "\" is a JSON " + value.type_name() + "; settings are JSON strings.");
    }
    return value.get_ref<const std::string&>();
}

const json& object_member(const std::string& path, const json& doc, const char* key) {
    static const json empty = json::object();
    const auto it = doc.find(key);
    if (it == doc.end()) {
        return empty;
    }
    if (!it->is_object()) {
        throw std::runtime_error("In the settings file " + path + ", \"" + key + "\" is a JSON " + it->type_name() +
                                 ", not an object.");
    }
    return *it;
}

// A settings message (an object with "settings", and maybe "kind",
// "channels", "persistent_data") or a flat object of key -> text.
host_wire::SensorData read_settings_file(const std::string& path) {
    const std::string text = read_file(path);
    const json doc = parse_settings_file(path, text);
    if (!doc.is_object()) {
        throw std::runtime_error("The settings file " + path + " holds a JSON " + doc.type_name() + ", not an object.");
    }
    host_wire::SensorData data;
    const auto settings = doc.find("settings");
    if (settings == doc.end() || !settings->is_object()) {
        for (const auto& [key, value] : doc.items()) {
            (*data.mutable_settings())[key] = text_member(path, key, value);
        }
        return data;
    }
    for (const auto& [key, value] : doc.items()) {
        if (key != "kind" && key != "settings" && key != "channels" && key != "persistent_data") {
            throw std::runtime_error("The settings file " + path + " has a member \"" + escape_controls(key) +
                                     "\" that a settings message does not have.");
        }
    }
    if (const auto kind = doc.find("kind"); kind != doc.end()) {
        data.set_kind(text_member(path, "kind", *kind));
    }
    for (const auto& [key, value] : settings->items()) {
        (*data.mutable_settings())[key] = text_member(path, key, value);
    }
    for (const auto& [key, value] : object_member(path, doc, "channels").items()) {
        std::int32_t id = 0;
        const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), id);
        if (key.empty() || error != std::errc() || end != key.data() + key.size()) {
            throw std::runtime_error("In the settings file " + path + ", the channel id \"" + escape_controls(key) +
                                     "\" is not a whole number.");
        }
        (*data.mutable_channels())[id] = text_member(path, key, value);
    }
    for (const auto& [key, value] : object_member(path, doc, "persistent_data").items()) {
        (*data.mutable_persistent_data())[key] = text_member(path, key, value);
    }
    return data;
}

bool condition_holds(const setting_description& s, const host_wire::SensorData& data, const kind_description& kind) {
    if (s.depends_on.empty()) {
        return true;
    }
    for (const auto& other : kind.settings) {
        if (other.name == s.depends_on && !other.common) {
            const auto it = data.settings().find(other.key);
            const std::string value = it == data.settings().end() ? "" : it->second;
            std::stringstream conditions(s.condition);
            for (std::string c; std::getline(conditions, c, ',');) {
                if (c == value) {
                    return true;
                }
            }
            return false;
        }
    }
    return true;
}

} // namespace

std::string unescape(const std::string& value) {
    std::string out;
    out.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            switch (value[i + 1]) {
            case 'n':
                out += '\n';
                ++i;
                continue;
            case 'r':
                out += '\r';
                ++i;
                continue;
            case 't':
                out += '\t';
                ++i;
                continue;
            case '\\':
                out += '\\';
                ++i;
                continue;
            default:
                break;
            }
        }
        out += value[i];
    }
    return out;
}

const setting_description& resolve_setting(const kind_description& kind, const std::string& key) {
    for (const auto& s : kind.settings) {
        if (s.key == key) {
            return s;
        }
    }
    const setting_description* match = nullptr;
    std::string candidates;
    for (const auto& s : kind.settings) {
        if (s.name == key) {
            candidates += "\n  " + s.key;
            if (match != nullptr) {
                throw std::runtime_error("\"" + key + "\" is the name of several settings of " + kind.name +
                                         "; give the full key:" + candidates);
            }
            match = &s;
        }
    }
    if (match == nullptr) {
        throw std::runtime_error("\"" + key + "\" is not a setting of " + kind.name +
                                 ". Valid keys:" + valid_keys(kind));
    }
    return *match;
}

std::optional<std::string> missing_required(const kind_description& kind, const host_wire::SensorData& data) {
    for (const auto& s : kind.settings) {
        const auto it = data.settings().find(s.key);
        if (s.required && (it == data.settings().end() || it->second.empty()) && condition_holds(s, data, kind)) {
            return kind.name + " needs a value for " + s.key + " (" + s.display + "): add --set " + s.name + "=...";
        }
    }
    return std::nullopt;
}

host_wire::SensorData build_settings(const kind_description& kind, const settings_request& request,
                                     secret_filter* secrets) {
    host_wire::SensorData data;
    data.set_kind(kind.name);
    auto& settings = *data.mutable_settings();
    const auto assign = [&](const std::string& key, std::string value) {
        const auto& setting = resolve_setting(kind, key);
        if (setting.secure && secrets != nullptr) {
            secrets->add(value);
        }
        settings[setting.key] = std::move(value);
    };
    for (const auto& s : kind.settings) {
        settings[s.key] = s.default_value;
    }
    if (request.verbose) {
        settings["logging"] = "enabled";
    }
    if (!request.settings_file.empty()) {
        const auto from_file = read_settings_file(request.settings_file);
        for (const auto& [key, value] : from_file.settings()) {
            assign(key, value);
        }
        for (const auto& [id, name] : from_file.channels()) {
            (*data.mutable_channels())[id] = name;
        }
        for (const auto& [key, value] : from_file.persistent_data()) {
            (*data.mutable_persistent_data())[key] = value;
        }
    }
    std::size_t position = 0;
    for (const auto& assignment : request.assignments) {
        const auto [key, value] = split_assignment("--set", assignment, ++position);
        assign(key, unescape(value));
    }
    position = 0;
    for (const auto& assignment : request.file_assignments) {
        const auto [key, path] = split_assignment("--set-file", assignment, ++position);
        assign(key, read_file(path));
    }
    if (auto missing = missing_required(kind, data)) {
        throw std::runtime_error(*missing);
    }
    // Every value, also of a setting its condition hides: the module reads them all.
    for (const auto& s : kind.settings) {
        if (auto error = check_setting_value(s, settings[s.key])) {
            throw std::runtime_error(*error);
        }
    }
    return data;
}

} // namespace vantrel::kelvane::probe
