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

bool is_timeout(const setting_description& s) {
    return s.type == "integer" && (s.name == "timeout" || s.name.ends_with("_timeout"));
}

// A problem of the settings as a whole, worded for a request rather than a
// command line.
std::string settings_problem(const std::string& what) {
    std::string reason = one_line(what);
    if (const auto hint = reason.find(": add --set"); hint != std::string::npos) {
        reason = reason.substr(0, hint) + ": add it as a parameter";
    }
    return reason;
}

} // namespace

probe_request_reader::probe_request_reader(std::map<std::string, module_preset> presets, const manifest_model& manifest)
    : presets_(std::move(presets)), manifest_(manifest) {
    for (const auto& kind : manifest_.kinds()) {
        if (!kind.is_check) {
            kind_bases_.emplace(kind.name, make_base(kind, nullptr));
        }
    }
    for (const auto& [name, preset] : presets_) {
        if (const auto* kind = manifest_.find_kind(preset.kind); kind != nullptr && !kind->is_check) {
            preset_bases_.emplace(name, make_base(*kind, &preset));
        }
    }
}

probe_request_reader::base_settings probe_request_reader::make_base(const kind_description& kind,
                                                                    const module_preset* preset) const {
    // As build_settings lays them: the defaults, then the preset's values.
    base_settings base;
    base.settings.set_kind(kind.name);
    auto& settings = *base.settings.mutable_settings();
    for (const auto& s : kind.settings) {
        settings[s.key] = s.default_value;
    }
    if (preset != nullptr) {
        for (const auto& [key, value] : preset->settings.settings()) {
            try {
                settings[resolve_setting(kind, key).key] = value;
            } catch (const std::exception& e) {
                base.error = settings_problem(e.what());
                return base;
            }
        }
    }
    base.problems.reserve(kind.settings.size());
    for (const auto& s : kind.settings) {
        base.problems.push_back(check_setting_value(s, settings.at(s.key)));
    }
    return base;
}

probe_request probe_request_reader::read(const probe_parameters& parameters,
                                         std::optional<double> scrape_timeout) const {
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
        const auto it = presets_.find(module_given->second);
        if (it == presets_.end()) {
            std::vector<std::string> known;
            for (const auto& [name, p] : presets_) {
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
    const auto* kind = manifest_.find_kind(request.kind);
    if (kind == nullptr || kind->is_check) {
        throw bad_probe_request("unknown sensor kind " + in_quotes(request.kind) +
                                "; known: " + names(manifest_.kind_names(false)));
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

    std::vector<std::pair<const setting_description*, const std::string*>> given;
    std::set<std::string> given_keys;
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
        if (!given_keys.insert(setting->key).second) {
            throw bad_probe_request(in_quotes(name) + " names " + setting->key + ", which is already set");
        }
        // The check never quotes the value of a secure setting.
        if (const auto problem = check_setting_value(*setting, value)) {
            throw bad_probe_request(*problem);
        }
        given.emplace_back(setting, &value);
    }

    const auto base = preset != nullptr ? preset_bases_.find(request.module) : kind_bases_.find(request.kind);
    if (base == (preset != nullptr ? preset_bases_.end() : kind_bases_.end())) {
        throw bad_probe_request("unknown sensor kind " + in_quotes(request.kind));
    }
    if (!base->second.error.empty()) {
        throw bad_probe_request(base->second.error);
    }
    request.settings = base->second.settings;
    auto& settings = *request.settings.mutable_settings();
    for (const auto& [setting, value] : given) {
        settings[setting->key] = *value;
    }
    const setting_description* host = nullptr;
    try {
        host = &resolve_setting(*kind, "host");
    } catch (const std::exception& e) {
        throw bad_probe_request(settings_problem(e.what()));
    }
    settings[host->key] = request.target;
    if (const auto missing = missing_required(*kind, request.settings)) {
        throw bad_probe_request(settings_problem(*missing));
    }
    // Every value, in the kind's order, as build_settings checks them: the
    // request's were checked as they were read, the rest when the reader was made.
    for (std::size_t i = 0; i < kind->settings.size(); ++i) {
        const auto& s = kind->settings[i];
        const auto problem = &s == host                     ? check_setting_value(s, request.target)
                             : given_keys.count(s.key) != 0 ? std::nullopt
                                                            : base->second.problems[i];
        if (problem) {
            throw bad_probe_request(settings_problem(*problem));
        }
    }
    if (request.debug) {
        // Over the preset's value: the log is what debug answers with.
        settings["logging"] = "enabled";
    }
    if (scrape_timeout && *scrape_timeout > 0) {
        // Half a second for everything around the queries, at least one second for them.
        const auto ceiling = std::max<std::int64_t>(1, static_cast<std::int64_t>(std::floor(*scrape_timeout - 0.5)));
        for (const auto& s : kind->settings) {
            auto& value = settings[s.key];
            std::int64_t seconds = 0;
            const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
            if (is_timeout(s) && error == std::errc() && seconds > ceiling) {
                value = std::to_string(ceiling);
            }
        }
    }
    return request;
}

probe_request parse_probe_request(const probe_parameters& parameters,
                                  const std::map<std::string, module_preset>& presets, const manifest_model& manifest,
                                  std::optional<double> scrape_timeout) {
    return probe_request_reader(presets, manifest).read(parameters, scrape_timeout);
}

} // namespace vantrel::kelvane::probe::service
