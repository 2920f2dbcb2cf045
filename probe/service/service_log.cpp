#include "service_log.hpp"

#include <nlohmann/json.hpp>

#include <chrono>
#include <ctime>
#include <ostream>
#include <stdexcept>

namespace vantrel::kelvane::probe::service {
namespace {

const char* level_name(log_level level) {
    switch (level) {
    case log_level::error:
        return "error";
    case log_level::warning:
        return "warning";
    case log_level::info:
        return "info";
    default:
        return "debug";
    }
}

std::string utc_now() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm tm{};
    gmtime_r(&seconds, &tm);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", tm.tm_year + 1900, tm.tm_mon + 1,
                  tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(millis));
    return text;
}

// A text value stays on its line and cannot pass for another field.
std::string quoted_if_needed(const std::string& value) {
    bool plain = !value.empty();
    for (const unsigned char c : value) {
        plain = plain && c > ' ' && c != '"' && c != '=' && c != '\\' && c != 0x7f;
    }
    if (plain) {
        return value;
    }
    std::string out = "\"";
    for (const unsigned char c : value) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < ' ' || c == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

} // namespace

service_log::service_log(std::ostream& out, const std::string& format, const std::string& level) : out_(out) {
    if (format == "json") {
        json_ = true;
    } else if (format != "text") {
        throw std::invalid_argument("the log format is text or json, not \"" + format + "\"");
    }
    for (const auto l : {log_level::error, log_level::warning, log_level::info, log_level::debug}) {
        if (level == level_name(l)) {
            threshold_ = l;
            return;
        }
    }
    throw std::invalid_argument("the log level is error, warning, info or debug, not \"" + level + "\"");
}

void service_log::write(log_level level, const std::string& event, const fields& details) {
    if (!enabled(level)) {
        return;
    }
    std::string line;
    if (json_) {
        nlohmann::ordered_json j;
        j["time"] = utc_now();
        j["level"] = level_name(level);
        j["event"] = event;
        for (const auto& [key, value] : details) {
            j[key] = value;
        }
        line = j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    } else {
        line = utc_now() + " " + level_name(level) + " " + event;
        for (const auto& [key, value] : details) {
            line += " " + key + "=" + quoted_if_needed(value);
        }
    }
    line += '\n';
    std::lock_guard lock(mutex_);
    out_ << line << std::flush;
}

} // namespace vantrel::kelvane::probe::service
