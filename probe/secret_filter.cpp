#include "secret_filter.hpp"

#include "terminal_text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace vantrel::kelvane::probe {

void secret_filter::add(std::string value) {
    if (value.empty()) {
        return;
    }
    // Also as the probe's renderers write it: escaped for a terminal, and
    // escaped inside a JSON string.
    std::string json_form = nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    json_form = json_form.substr(1, json_form.size() - 2);
    for (auto form : {escape_controls(value), std::move(json_form), std::move(value)}) {
        if (!form.empty() && std::find(secrets_.begin(), secrets_.end(), form) == secrets_.end()) {
            secrets_.push_back(std::move(form));
        }
    }
    std::stable_sort(secrets_.begin(), secrets_.end(),
                     [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
}

void secret_filter::add_from_arguments(const std::vector<std::string>& arguments,
                                       const std::vector<std::string>& secure_names) {
    for (const auto& argument : arguments) {
        for (const auto& name : secure_names) {
            if (name.empty()) {
                continue;
            }
            for (auto at = argument.find(name); at != std::string::npos; at = argument.find(name, at + 1)) {
                const auto value_start = at + name.size() + 1;
                if (value_start < argument.size()) {
                    add(argument.substr(value_start));
                }
            }
        }
    }
}

std::string secret_filter::redact(std::string_view text) const {
    std::string out(text);
    for (const auto& secret : secrets_) {
        for (auto at = out.find(secret); at != std::string::npos; at = out.find(secret, at + mask.size())) {
            out.replace(at, secret.size(), mask);
        }
    }
    return out;
}

} // namespace vantrel::kelvane::probe
