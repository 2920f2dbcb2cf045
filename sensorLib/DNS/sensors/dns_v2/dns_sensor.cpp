#include <dns/cares/dns_client.hpp>
#include <dns/client_settings.hpp>
#include <dns/dns_helper_factory.hpp>
#include <dns/dns_sensor.hpp>
#include <dns/manifest.hpp>
#include <dns/record_listing.hpp>
#include <dns/render_response.hpp>
#include <libstringutils/utf8.hpp>

#include <array>
#include <sstream>
#include <string_view>

namespace vantrel::kelvane::dns {

namespace {

using libwexohelper::channels::dynamic_channel_options;
using libwexohelper::channels::limit_mode;
using libwexohelper::channels::unit_code;
using libwexohelper::channels::value_mode;
using libwexohelper::responses::scan_response_codes;

constexpr std::array<std::string_view, 4> channel_names{"records_resolved", "response_time", "record_count",
                                                        "matched_record_count"};

dynamic_channel_options channel_options(int id, unit_code unit) {
    dynamic_channel_options options;
    options.id = id;
    options.name_key = "channel." + dns_sensor::channel_name(id);
    options.mode = value_mode::integer;
    options.unit = unit;
    return options;
}

// The host, not the scan, turns a count below 1 into an error with this message.
dynamic_channel_options count_channel(int id, std::string limit_message) {
    auto options = channel_options(id, unit_code::count);
    options.limits = limit_mode::on;
    options.lower_error_limit = 1.0;
    options.limit_error_message = std::move(limit_message);
    return options;
}

bool ends_with(const std::string& text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

} // namespace

dns_sensor::dns_sensor(std::shared_ptr<libwexohelper::utils::service_container> container, int id,
                       settings::dns_v2 settings, std::map<int, std::string> channels,
                       std::map<std::string, std::string> persistent_data)
    : sensor_base(std::move(container), id, std::move(settings), std::move(channels), std::move(persistent_data)) {
    log("#################### Initializing ####################");
    log("DNS v2 version is: " + std::string(manifest_names::module_version) + "\n");

    auto records_resolved = channel_options(records_resolved_channel, unit_code::custom);
    records_resolved.lookup_name = std::string(manifest_names::records_found_lookup);
    add_channel(records_resolved);

    auto response_time = channel_options(response_time_channel, unit_code::response_time_ms);
    response_time.decimal_places = 0;
    response_time.chart_minimum = 0;
    response_time.chart_maximum = 0;
    add_channel(response_time);

    add_channel(count_channel(record_count_channel, "No records of the requested type found."));

    // With the filter off the matched count is only declared for a host that
    // already shows it, so that an existing channel keeps its limit.
    if (this->settings().apply_filter != settings::apply_filter::disabled ||
        has_channel(matched_record_count_channel)) {
        add_channel(count_channel(matched_record_count_channel,
                                  "No records of the requested type which match the filter value found."));
    }
}

dns_sensor::~dns_sensor() {
    filter_regex_.reset();
    dns_client_.reset();
    log("#################### Cleaning Up  ####################");
}

std::string dns_sensor::channel_name(int channel_id) {
    if (channel_id < 0 || channel_id >= static_cast<int>(channel_names.size())) {
        return {};
    }
    return std::string(channel_names[static_cast<std::size_t>(channel_id)]);
}

dns_client_interface& dns_sensor::client() {
    if (!dns_client_) {
        const auto& s = settings();
        auto client_settings = device_client_settings(s, static_cast<std::uint16_t>(s.port), s.query_timeout * 1000);
        dns_client_ = container()->get_factory<dns_helper_factory>()(std::move(client_settings));
    }
    return *dns_client_;
}

const record_filter& dns_sensor::filter_regex() {
    if (!filter_regex_) {
        filter_regex_.emplace(settings().filter);
    }
    return *filter_regex_;
}

void dns_sensor::scan_work() {
    // Its message is set below, once the answer is known.
    auto result = result_with_message(libi18n::i18n_msg(), scan_response_codes::ok);
    auto& dns = client();
    const auto& s = settings();

    const std::string type_text(settings::record_type_name(s.record_type));
    // Reverse names are sent as given; anything else must be an address to reverse.
    // Both suffix tests are case-sensitive on purpose.
    std::string reversed;
    if (s.record_type == settings::record_type::PTR && !ends_with(s.domain, ".in-addr.arpa") &&
        !ends_with(s.domain, ".ip6.arpa")) {
        reversed = cares::dns_client::reverse_lookup_name(s.domain);
    }
    const std::string& name = reversed.empty() ? s.domain : reversed;

    const dns_query_result response = dns.query(name, type_text, sensor_log());
    const bool logging = sensor_log().enabled();
    if (logging) {
        std::ostringstream rendered;
        render_response(rendered, response);
        log(rendered.str());
    } else {
        // An answer that cannot be rendered fails the scan either way.
        check_renderable(response);
    }

    auto records = collect_records(response, type_text);
    std::int64_t matched_count = 0;
    if (records.empty()) {
        result.set_response_message(libi18n::i18n_msg("error.empty_result", {}));
    } else {
        constexpr std::string_view ok = "OK: ";
        std::string message = list_records(records, ok);
        switch (s.apply_filter) {
        case settings::apply_filter::disabled:
            matched_count = static_cast<std::int64_t>(records.size());
            break;
        case settings::apply_filter::enabled_match_exact:
            matched_count = count_exact_match(std::string_view(message).substr(ok.size()), s.filter);
            break;
        case settings::apply_filter::enabled:
            matched_count = count_matching(records, filter_regex());
            break;
        }
        result.set_response_message(libi18n::i18n_msg::plain(std::move(message)));
    }

    set_value(result, records_resolved_channel, records.empty() ? 0 : 1);
    set_value(result, response_time_channel, response.response_time_ms);
    set_value(result, record_count_channel, static_cast<std::int64_t>(records.size()));
    if (has_channel(matched_record_count_channel)) {
        set_value(result, matched_record_count_channel, matched_count);
    }
    if (logging) {
        // One line, whatever the records hold.
        log("Response Message is: " + libstringutils::escape_control_characters(result.response_message()));
    }
    send(result);
}

} // namespace vantrel::kelvane::dns
