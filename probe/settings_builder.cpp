#include "settings_builder.hpp"

#include <google/protobuf/util/json_util.h>

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

std::pair<std::string, std::string> split_assignment(const std::string& assignment) {
    const auto eq = assignment.find('=');
    if (eq == std::string::npos || eq == 0) {
        throw std::runtime_error("\"" + assignment + "\" is not KEY=VALUE.");
    }
    return {assignment.substr(0, eq), assignment.substr(eq + 1)};
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
            case 'n': out += '\n'; ++i; continue;
            case 'r': out += '\r'; ++i; continue;
            case 't': out += '\t'; ++i; continue;
            case '\\': out += '\\'; ++i; continue;
            default: break;
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
        throw std::runtime_error("\"" + key + "\" is not a setting of " + kind.name + ". Valid keys:" +
                                 valid_keys(kind));
    }
    return *match;
}

host_wire::SensorData build_settings(const kind_description& kind, const settings_request& request) {
    host_wire::SensorData data;
    data.set_kind(kind.name);
    auto& settings = *data.mutable_settings();
    for (const auto& s : kind.settings) {
        settings[s.key] = s.default_value;
    }
    if (request.verbose) {
        settings["logging"] = "enabled";
    }
    if (!request.settings_file.empty()) {
        const std::string text = read_file(request.settings_file);
        host_wire::SensorData from_file;
        google::protobuf::util::JsonParseOptions options;
        auto status = google::protobuf::util::JsonStringToMessage(text, &from_file, options);
        if (!status.ok() || (from_file.settings().empty() && from_file.kind().empty())) {
            // Not a SensorData: read it as a flat object of key -> text.
            from_file.Clear();
            status = google::protobuf::util::JsonStringToMessage("{\"settings\":" + text + "}", &from_file, options);
        }
        if (!status.ok()) {
            throw std::runtime_error("Could not create the settings message from " + request.settings_file + ": " +
                                     std::string(status.message()));
        }
        for (const auto& [key, value] : from_file.settings()) {
            settings[resolve_setting(kind, key).key] = value;
        }
        for (const auto& [id, name] : from_file.channels()) {
            (*data.mutable_channels())[id] = name;
        }
        for (const auto& [key, value] : from_file.persistent_data()) {
            (*data.mutable_persistent_data())[key] = value;
        }
    }
    for (const auto& assignment : request.assignments) {
        const auto [key, value] = split_assignment(assignment);
        settings[resolve_setting(kind, key).key] = unescape(value);
    }
    for (const auto& assignment : request.file_assignments) {
        const auto [key, path] = split_assignment(assignment);
        settings[resolve_setting(kind, key).key] = read_file(path);
    }
    for (const auto& s : kind.settings) {
        if (s.required && settings[s.key].empty() && condition_holds(s, data, kind)) {
            throw std::runtime_error(kind.name + " needs a value for " + s.key + " (" + s.display +
                                     "): add --set " + s.name + "=...");
        }
    }
    return data;
}

} // namespace vantrel::kelvane::probe
