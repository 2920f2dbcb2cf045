#include "probe_request.hpp"

#include "setting_check.hpp"
#include "settings_builder.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>

namespace vantrel::kelvane::probe::service {
namespace {

// Longest name or value quoted back to the client.
constexpr std::size_t quote_limit = 64;

const std::set<std::string> own_parameters = {"kind", "module", "target", "debug"};

std::string in_quotes(const std::string& text) {
    return "\"" + (text.size() > quote_limit ? text.substr(0, quote_limit) + "..." : text) + "\"";
}

// The settings builder lists keys one per line, for a terminal; an HTTP
// reason is one line.
std::string one_line(std::string text) {
    for (const auto& [from, to] : {std::pair<std::string, std::string>{":\n  ", ": "}, {"\n  ", ", "}, {"\n", " "}}) {
        for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
    }
    return text;
}

std::string names(const std::vector<std::string>& all) {
    std::string list;
    for (const auto& n : all) {
        list += (list.empty() ? "" : ", ") + n;
    }
    return list;
}

std::string escaped(const std::string& value) {
    // build_settings undoes command-line escapes; a request's value is literal.
    std::string out;
    for (const char c : value) {
        out += c == '\\' ? "\\\\" : std::string(1, c);
    }
    return out;
}

bool is_timeout(const setting_description& s) {
    return s.type == "integer" && (s.name == "timeout" || s.name.ends_with("_timeout"));
}

} // namespace

probe_request parse_probe_request(const std::vector<std::pair<std::string, std::string>>& parameters,
                                  const std::map<std::string, module_preset>& presets, const manifest_model& manifest,
                                  std::optional<double> scrape_timeout) {
    std::map<std::string, std::string> own;
    for (const auto& [name, value] : parameters) {
        if (own_parameters.count(name) != 0 && !own.emplace(name, value).second) {
            throw bad_probe_request(name + " is given twice");
        }
    }
    probe_request request;
    const auto kind_given = own.find("kind");
    const auto module_given = own.find("module");
    if (kind_given != own.end() && module_given != own.end()) {
        throw bad_probe_request("give kind or module, not both");
    }
    const module_preset* preset = nullptr;
    if (module_given != own.end()) {
        const auto it = presets.find(module_given->second);
        if (it == presets.end()) {
            std::vector<std::string> known;
            for (const auto& [name, p] : presets) {
                known.push_back(name);
            }
            throw bad_probe_request(
                "unknown module " + in_quotes(module_given->second) +
                (known.empty() ? "; the configuration has no modules" : "; known: " + names(known)));
        }
        preset = &it->second;
        request.module = it->first;
        request.kind = preset->kind;
    } else if (kind_given != own.end()) {
        request.kind = kind_given->second;
    } else {
        throw bad_probe_request("kind or module is missing");
    }
    const auto* kind = manifest.find_kind(request.kind);
    if (kind == nullptr || kind->is_check) {
        throw bad_probe_request("unknown sensor kind " + in_quotes(request.kind) +
                                "; known: " + names(manifest.kind_names(false)));
    }
    const auto target = own.find("target");
    if (target == own.end() || target->second.empty()) {
        throw bad_probe_request("target is missing: the device to ask, as target=HOST");
    }
    request.target = target->second;
    if (const auto debug = own.find("debug"); debug != own.end()) {
        if (debug->second != "true" && debug->second != "false") {
            throw bad_probe_request("debug must be true or false, not " + in_quotes(debug->second));
        }
        request.debug = debug->second == "true";
    }

    settings_request built;
    if (preset != nullptr) {
        for (const auto& [key, value] : preset->settings.settings()) {
            built.assignments.push_back(key + "=" + escaped(value));
        }
    }
    std::set<std::string> given;
    for (const auto& [name, value] : parameters) {
        if (own_parameters.count(name) != 0) {
            continue;
        }
        const setting_description* setting = nullptr;
        try {
            setting = &resolve_setting(*kind, name);
        } catch (const std::exception& e) {
            throw bad_probe_request(one_line(e.what()));
        }
        if (setting->key == "host") {
            throw bad_probe_request("the device is given as target, not as " + name);
        }
        if (!given.insert(setting->key).second) {
            throw bad_probe_request(in_quotes(name) + " names " + setting->key + ", which is already set");
        }
        // The check never quotes the value of a secure setting.
        if (const auto problem = check_setting_value(*setting, value)) {
            throw bad_probe_request(*problem);
        }
        built.assignments.push_back(setting->key + "=" + escaped(value));
    }
    built.assignments.push_back("host=" + escaped(request.target));
    try {
        request.settings = build_settings(*kind, built);
        if (request.debug) {
            // Over the preset's value: the log is what debug answers with.
            (*request.settings.mutable_settings())["logging"] = "enabled";
        }
    } catch (const std::exception& e) {
        std::string reason = one_line(e.what());
        if (const auto hint = reason.find(": add --set"); hint != std::string::npos) {
            reason = reason.substr(0, hint) + ": add it as a parameter";
        }
        throw bad_probe_request(reason);
    }
    if (scrape_timeout && *scrape_timeout > 0) {
        // Half a second for everything around the queries, at least one second for them.
        const auto ceiling = std::max<std::int64_t>(1, static_cast<std::int64_t>(std::floor(*scrape_timeout - 0.5)));
        for (const auto& s : kind->settings) {
            auto& value = (*request.settings.mutable_settings())[s.key];
            std::int64_t seconds = 0;
            const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
            if (is_timeout(s) && error == std::errc() && seconds > ceiling) {
                value = std::to_string(ceiling);
            }
        }
    }
    return request;
}

} // namespace vantrel::kelvane::probe::service
