#pragma once

#include "probe_service.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::probe::service {

// One sensor as the status page shows it, copied under the sensor's lock.
struct sensor_snapshot {
    std::string name;
    std::string kind;
    std::string asks; // what it asks, in a few words
    std::string state;
    std::string message;
    std::vector<channel_row> channels;
    double last_scan_time = 0;          // seconds since the epoch, 0 for never
    double last_change_time = 0;        // likewise
    std::string answer;                 // dns_v2: the last record set, one line
    std::vector<double> response_times; // seconds, oldest first
    std::vector<std::string> log;
};

std::vector<sensor_snapshot> snapshot(const probe_service& service);

// Text made safe for HTML content and attribute values.
std::string html_escape(std::string_view text);

// A small inline SVG line chart of response times (seconds), or a note when
// there are fewer than two.
std::string response_time_svg(const std::vector<double>& seconds);

// The status page: a table of every sensor, readable without JavaScript.
// Every text that comes from an answer or a setting is escaped.
std::string render_status_html(const std::vector<sensor_snapshot>& sensors, double now);
// The same as JSON, for programs.
std::string render_status_json(const std::vector<sensor_snapshot>& sensors);

} // namespace vantrel::kelvane::probe::service
