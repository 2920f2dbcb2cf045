#include "status_page.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace vantrel::kelvane::probe::service {
namespace {

std::string describe(const sensor_config& config) {
    const std::string host = setting_value(config.settings, "host");
    if (config.kind == "dns_v2") {
        return setting_value(config.settings, "record_type") + " " + setting_value(config.settings, "domain") + " at " +
               host;
    }
    if (config.kind == "ip_reputation_score_sensor") {
        std::size_t lines = 0;
        const std::string list = setting_value(config.settings, "blacklist_servers");
        std::size_t start = 0;
        while (start <= list.size()) {
            const std::size_t end = std::min(list.find_first_of("\r\n", start), list.size());
            lines += list.find_first_not_of(" \t", start) < end ? 1 : 0;
            start = end + 1;
        }
        return host + " in " + std::to_string(lines) + " blacklist" + (lines == 1 ? "" : "s");
    }
    return host;
}

std::string utc(double epoch_seconds) {
    if (epoch_seconds <= 0) {
        return "never";
    }
    const auto t = static_cast<std::time_t>(epoch_seconds);
    std::tm parts{};
    gmtime_r(&t, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
    return text;
}

std::string fixed(double value, int decimals) {
    char text[48];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

constexpr const char* style = R"(body{font-family:sans-serif;margin:1.5em;color:#222}
table{border-collapse:collapse;width:100%}th,td{border-bottom:1px solid #ddd;padding:.4em;text-align:left;vertical-align:top}
th{background:#f4f4f4}.ok{color:#17692b}.warning{color:#9a6700}.error{color:#b42318}.waiting,.pending{color:#555}
td.message{max-width:30em;overflow-wrap:anywhere}ul{margin:0;padding-left:1em}svg{background:#fafafa})";

} // namespace

std::vector<sensor_snapshot> snapshot(const probe_service& service) {
    std::vector<sensor_snapshot> all;
    for (const auto& s : service.sensors()) {
        std::lock_guard lock(s->mutex);
        sensor_snapshot snap;
        snap.name = s->config.name;
        snap.kind = s->config.kind;
        snap.asks = describe(s->config);
        snap.state = status_name(s->status);
        snap.message = s->reason;
        if (auto view = service.last_view(*s)) {
            if (snap.message.empty()) {
                snap.message = std::move(view->message);
            }
            snap.channels = std::move(view->channels);
        }
        snap.last_scan_time = s->last_scan_time;
        snap.last_change_time = s->last_change_time;
        if (s->answers.last()) {
            snap.answer = answer_text(*s->answers.last());
        }
        snap.response_times.assign(s->response_times.begin(), s->response_times.end());
        snap.log.assign(s->log.begin(), s->log.end());
        all.push_back(std::move(snap));
    }
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return all;
}

std::string html_escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string response_time_svg(const std::vector<double>& seconds) {
    if (seconds.size() < 2) {
        return "<span class=\"pending\">not enough scans</span>";
    }
    constexpr double width = 180;
    constexpr double height = 36;
    const double top = std::max(*std::max_element(seconds.begin(), seconds.end()), 1e-6);
    std::string points;
    for (std::size_t i = 0; i < seconds.size(); ++i) {
        const double x = width * static_cast<double>(i) / static_cast<double>(seconds.size() - 1);
        const double y = height - 2 - (height - 4) * std::clamp(seconds[i] / top, 0.0, 1.0);
        points += (points.empty() ? "" : " ") + fixed(x, 1) + "," + fixed(y, 1);
    }
    return "<svg width=\"180\" height=\"36\" viewBox=\"0 0 180 36\" role=\"img\"><title>response time of the last " +
           std::to_string(seconds.size()) + " scans, at most " + fixed(top * 1000, 1) +
           " ms</title><polyline fill=\"none\" stroke=\"#2563eb\" stroke-width=\"1.5\" points=\"" + points +
           "\"/></svg>";
}

std::string render_status_html(const std::vector<sensor_snapshot>& sensors, double now) {
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                       "<meta http-equiv=\"refresh\" content=\"30\"><title>wexo-probe</title><style>";
    page += style;
    page += "</style></head><body><h1>wexo-probe</h1><p>" + std::to_string(sensors.size()) + " sensors, as of " +
            utc(now) +
            ". <a href=\"/metrics\">Metrics</a> · <a href=\"/api/sensors\">JSON</a></p>\n"
            "<table id=\"sensors\"><thead><tr><th>Sensor</th><th>Kind</th><th>Asks</th><th>State</th>"
            "<th>Message</th><th>Channels</th><th>Last scan</th><th>Last answer change</th>"
            "<th>Response time</th></tr></thead><tbody>\n";
    for (const auto& s : sensors) {
        const std::string name = html_escape(s.name);
        page += "<tr class=\"sensor\" id=\"sensor-" + name + "\"><td class=\"name\"><a href=\"/sensors/" + name +
                "/log\">" + name + "</a></td><td class=\"kind\">" + html_escape(s.kind) + "</td><td class=\"asks\">" +
                html_escape(s.asks) + "</td><td class=\"state " + html_escape(s.state) + "\">" + html_escape(s.state) +
                "</td><td class=\"message\">" + html_escape(s.message) + "</td><td class=\"channels\"><ul>";
        for (const auto& c : s.channels) {
            page += "<li class=\"channel " + std::string(state_name(c.state)) + "\" data-channel=\"" +
                    html_escape(c.name) + "\">" + html_escape(c.name) + ": <span class=\"value\">" +
                    html_escape(c.display) + "</span></li>";
        }
        page += "</ul></td><td class=\"last-scan\">" + utc(s.last_scan_time) + "</td><td class=\"last-change\">" +
                (s.kind == "dns_v2" ? utc(s.last_change_time) : std::string("—")) + "</td><td class=\"chart\">" +
                response_time_svg(s.response_times) + "</td></tr>\n";
    }
    page += "</tbody></table></body></html>\n";
    return page;
}

std::string render_status_json(const std::vector<sensor_snapshot>& sensors) {
    auto all = nlohmann::json::array();
    for (const auto& s : sensors) {
        auto channels = nlohmann::json::array();
        for (const auto& c : s.channels) {
            channels.push_back({{"name", c.name},
                                {"value", c.value},
                                {"display", c.display},
                                {"unit", c.unit},
                                {"state", state_name(c.state)}});
        }
        nlohmann::json entry = {{"name", s.name},
                                {"kind", s.kind},
                                {"asks", s.asks},
                                {"state", s.state},
                                {"message", s.message},
                                {"channels", channels},
                                {"last_scan_timestamp", s.last_scan_time},
                                {"response_times_seconds", s.response_times}};
        if (s.kind == "dns_v2") {
            entry["answer"] = s.answer;
            entry["last_answer_change_timestamp"] = s.last_change_time;
        }
        all.push_back(std::move(entry));
    }
    // Texts from answers need not be UTF-8; replace what is not, never throw.
    return nlohmann::json{{"sensors", all}}.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

} // namespace vantrel::kelvane::probe::service
