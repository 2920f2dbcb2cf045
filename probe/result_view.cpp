#include "result_view.hpp"

#include "terminal_text.hpp"

#include <nlohmann/json.hpp>

#include <iomanip>
#include <sstream>

namespace vantrel::kelvane::probe {
namespace {

constexpr std::int32_t unit_response_time_ms = 6;
constexpr std::int32_t unit_count = 10;

std::string unit_text(std::int32_t unit) {
    switch (unit) {
    case unit_response_time_ms:
        return "ms";
    case unit_count:
        return "#";
    default:
        return "";
    }
}

void judge(channel_row& row, const host_wire::ChannelOptions& o, const manifest_model& manifest,
           const std::string& language) {
    row.state = limit_state(o, row.value);
    if (row.state == channel_state::error) {
        row.limit_message = manifest.translate(o.limit_error_message_key(), {}, language, o.limit_error_message_key());
    } else if (row.state == channel_state::warning) {
        row.limit_message =
            manifest.translate(o.limit_warning_message_key(), {}, language, o.limit_warning_message_key());
    }
}

const char* status_of(std::int32_t response_code, bool any_error, bool any_warning) {
    if (response_code >= 2 || any_error) {
        return "error";
    }
    return response_code == 1 || any_warning ? "warning" : "ok";
}

// A Nagios-style host splits a plug-in's line at the first "|" into message
// and performance data, and takes further lines as long output: the message
// has neither, so a DNS answer cannot add a status line or forge data.
std::string nagios_message(const std::string& text) {
    std::string out;
    for (const char c : escape_controls(text)) {
        if (c == '|') {
            out += "\\124";
        } else {
            out += c;
        }
    }
    return out;
}

// A performance label is quoted; quotes, "=" and "|" would end it early.
std::string nagios_label(const std::string& name) {
    std::string label = escape_controls(name);
    for (auto& c : label) {
        if (c == '\'' || c == '=' || c == '|') {
            c = '_';
        }
    }
    return label;
}

std::string padded(const std::string& text, std::size_t width) {
    const std::size_t shown = display_width(text);
    return shown >= width ? text + ' ' : text + std::string(width - shown, ' ');
}

} // namespace

channel_state limit_state(const host_wire::ChannelOptions& o, std::int64_t value) {
    if (o.limit_mode() == 0) {
        return channel_state::ok;
    }
    const double v = static_cast<double>(value);
    if ((o.has_lower_error_limit() && v < o.lower_error_limit()) ||
        (o.has_upper_error_limit() && v > o.upper_error_limit())) {
        return channel_state::error;
    }
    if ((o.has_lower_warning_limit() && v < o.lower_warning_limit()) ||
        (o.has_upper_warning_limit() && v > o.upper_warning_limit())) {
        return channel_state::warning;
    }
    return channel_state::ok;
}

const char* judge_status(const host_wire::SensorScanResult& result,
                         const std::map<std::int32_t, host_wire::ChannelOptions>& channels) {
    bool any_error = false;
    bool any_warning = false;
    for (const auto& value : result.values()) {
        if (const auto it = channels.find(value.channel_id()); it != channels.end()) {
            const auto state = limit_state(it->second, value.value());
            any_error = any_error || state == channel_state::error;
            any_warning = any_warning || state == channel_state::warning;
        }
    }
    return status_of(result.response_code(), any_error, any_warning);
}

const char* state_name(channel_state state) {
    switch (state) {
    case channel_state::warning:
        return "warning";
    case channel_state::error:
        return "error";
    default:
        return "ok";
    }
}

scan_view evaluate(const std::string& kind, const host_wire::SensorScanResult& result,
                   const std::map<std::int32_t, host_wire::ChannelOptions>& channels, const manifest_model& manifest,
                   const std::string& language) {
    scan_view view;
    view.kind = kind;
    view.response_code = result.response_code();
    view.error_code = result.error_code();
    const auto& m = result.message();
    view.message = manifest.translate(m.key(), {m.arguments().begin(), m.arguments().end()}, language, m.english());

    bool any_error = false;
    bool any_warning = false;
    std::string first_limit_message;
    for (const auto& value : result.values()) {
        channel_row row;
        row.id = value.channel_id();
        row.value = value.value();
        const auto it = channels.find(row.id);
        if (it != channels.end()) {
            const auto& o = it->second;
            row.name = manifest.translate(o.name_key(), {}, language, o.name_key());
            row.unit = unit_text(o.unit());
            if (!o.lookup_name().empty()) {
                row.display = manifest.lookup_text(o.lookup_name(), row.value, language);
            }
            judge(row, o, manifest, language);
        } else {
            row.name = "Channel " + std::to_string(row.id);
        }
        if (row.display.empty()) {
            row.display = std::to_string(row.value) + (row.unit == "ms" ? " ms" : "");
        }
        any_error = any_error || row.state == channel_state::error;
        any_warning = any_warning || row.state == channel_state::warning;
        if (first_limit_message.empty() && row.state != channel_state::ok) {
            first_limit_message = row.limit_message;
        }
        view.channels.push_back(std::move(row));
    }
    view.status = status_of(view.response_code, any_error, any_warning);
    if (view.response_code == 0 && !first_limit_message.empty()) {
        view.message = first_limit_message + " (" + view.message + ")";
    }
    return view;
}

std::string render_text(const scan_view& view) {
    std::ostringstream out;
    std::string status = view.status;
    for (auto& c : status) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    out << escape_controls(view.kind) << ": " << status << " - " << escape_controls(view.message) << '\n';
    if (view.response_code != 0 || view.error_code != 0) {
        out << "  response code " << view.response_code << ", error code " << view.error_code << '\n';
    }
    std::size_t width = 0;
    for (const auto& c : view.channels) {
        width = std::max(width, display_width(escape_controls(c.name)));
    }
    for (const auto& c : view.channels) {
        out << "  " << padded(escape_controls(c.name), width + 2) << padded(escape_controls(c.display), 12)
            << state_name(c.state);
        if (!c.limit_message.empty()) {
            out << "  " << escape_controls(c.limit_message);
        }
        out << '\n';
    }
    return out.str();
}

std::string render_json(const scan_view& view) {
    nlohmann::ordered_json doc;
    doc["kind"] = view.kind;
    doc["status"] = view.status;
    doc["response_code"] = view.response_code;
    doc["error_code"] = view.error_code;
    doc["message"] = view.message;
    doc["channels"] = nlohmann::ordered_json::array();
    for (const auto& c : view.channels) {
        doc["channels"].push_back({{"id", c.id},
                                   {"name", c.name},
                                   {"value", c.value},
                                   {"display", c.display},
                                   {"unit", c.unit},
                                   {"state", state_name(c.state)},
                                   {"limit_message", c.limit_message}});
    }
    // Bytes that are not UTF-8 become U+FFFD instead of an exception; control
    // characters are written as \u escapes by the JSON encoder itself.
    return doc.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

int nagios_exit_code(const scan_view& view) {
    if (view.status == "error") {
        return 2;
    }
    return view.status == "warning" ? 1 : 0;
}

std::string render_nagios(const scan_view& view) {
    static const char* words[] = {"OK", "WARNING", "CRITICAL"};
    std::ostringstream out;
    out << "DNS " << words[nagios_exit_code(view)] << " - " << nagios_message(view.message);
    if (!view.channels.empty()) {
        out << " |";
        for (const auto& c : view.channels) {
            out << " '" << nagios_label(c.name) << "'=" << c.value << (c.unit == "ms" ? "ms" : "") << ";;;";
        }
    }
    out << '\n';
    return out.str();
}

} // namespace vantrel::kelvane::probe
