#include <dns/ip_reputation_score_sensor.hpp>

#include <dns/device_address.hpp>
#include <dns/exceptions.hpp>
#include <dns/manifest.hpp>

#include <libi18n/i18n_msg.hpp>

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

namespace vantrel::kelvane::dns {
namespace {

using libwexohelper::channels::dynamic_channel_options;
using libwexohelper::channels::unit_code;
using libwexohelper::channels::value_mode;
using libwexohelper::responses::scan_response_codes;

constexpr const char* initializing_banner = "#################### Initializing ####################";
constexpr const char* cleaning_up_banner = "#################### Cleaning Up  ####################";
constexpr const char* display_name = "IP Reputation Score";
// The reversed form of 127.0.0.2, which every DNSBL lists by convention.
constexpr std::string_view test_entry = "2.0.0.127";

dynamic_channel_options channel_options(int id) {
    dynamic_channel_options options;
    options.id = id;
    options.name_key = "channel." + std::string(ip_reputation_score_sensor::channel_name(id));
    options.mode = value_mode::integer;
    options.unit = unit_code::custom;
    return options;
}

// Lines end at CR or at LF, so CR LF leaves an empty line between, which the
// caller skips like any other empty line.
std::vector<std::string_view> split_lines(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = text.find_first_of("\r\n", start);
        const std::size_t stop = end == std::string_view::npos ? text.size() : end;
        lines.push_back(text.substr(start, stop - start));
        start = stop + 1;
    }
    return lines;
}

// The total is a signed 32-bit number; adding in unsigned arithmetic keeps an
// overflowing total well defined (it wraps) instead of undefined.
std::int32_t add_wrapping(std::int32_t total, std::int32_t add) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(total) + static_cast<std::uint32_t>(add));
}

} // namespace

std::string_view ip_reputation_score_sensor::channel_name(int id) noexcept {
    switch (id) {
    case score:
        return "score";
    case servers_reached:
        return "servers_reached";
    default:
        return "";
    }
}

ip_reputation_score_sensor::ip_reputation_score_sensor(
    std::shared_ptr<libwexohelper::utils::service_container> container, int id,
    settings::ip_reputation_score_sensor settings, std::map<int, std::string> channels,
    std::map<std::string, std::string> persistent_data)
    : sensor_base(std::move(container), id, std::move(settings), std::move(channels), std::move(persistent_data)) {
    log(initializing_banner);
    log(std::string(display_name) + " version is: " + std::string(manifest_names::module_version));
    factory_ = this->container()->get_factory<dns_helper_factory>();
    clients_ = lookup_clients([this] { return make_client(); });
    add_channel(channel_options(score));
    add_channel(channel_options(servers_reached));
}

ip_reputation_score_sensor::~ip_reputation_score_sensor() {
    log(cleaning_up_banner);
}

std::unique_ptr<dns_client_interface> ip_reputation_score_sensor::make_client() const {
    dns_helper_settings client_settings;
    if (settings().dns_resolver == settings::dns_resolver::custom) {
        client_settings.server = settings().custom_resolver;
        client_settings.port = settings().custom_resolver_port;
    }
    // The IP version setting chooses which address of the device is looked
    // up; it says nothing about how the resolver itself is reached.
    client_settings.ip_version = 0;
    constexpr std::int64_t longest_seconds = std::numeric_limits<std::int64_t>::max() / 1000;
    client_settings.timeout_ms = std::min(settings().timeout, longest_seconds) * 1000;
    return factory_(std::move(client_settings));
}

void ip_reputation_score_sensor::write_client_lines(const lookup_outcome& outcome) {
    for (const auto& [level, text] : outcome.lines) {
        sensor_log().log(level, text);
    }
}

void ip_reputation_score_sensor::check_test_entry(const blacklist_server_definition& definition,
                                                  const lookup_outcome& outcome) {
    write_client_lines(outcome);
    try {
        if (outcome.error) {
            std::rethrow_exception(outcome.error);
        }
        for (const auto& record : outcome.answer.answers) {
            if (record->value().starts_with("127.")) {
                return;
            }
        }
    } catch (const exceptions::query_failed&) {
        // Not found, no data and timeouts all mean the same here: the zone
        // does not behave as a blacklist.
    }
    throw exceptions::dnsbl_initial_check_failed(definition.server);
}

std::vector<blacklist_server_definition> ip_reputation_score_sensor::build_definitions() {
    const std::vector<std::string_view> lines = split_lines(settings().blacklist_servers);
    const std::string reversed =
        reversed_address(resolve_device_address(settings().host, settings().ip_version_number()));
    // Every line is parsed before any zone is asked, so that the test entries
    // can be asked at once; the first bad line still fails the build only
    // after the zones above it have been checked, as in a line-by-line build.
    std::vector<blacklist_server_definition> definitions;
    std::exception_ptr bad_line;
    for (const std::string_view line : lines) {
        if (line.empty()) {
            continue;
        }
        try {
            definitions.push_back(parse_blacklist_server_definition(line, reversed));
        } catch (...) {
            bad_line = std::current_exception();
            break;
        }
    }
    std::vector<std::string> test_names;
    test_names.reserve(definitions.size());
    for (const auto& definition : definitions) {
        test_names.push_back(std::string(test_entry) + "." + definition.server);
    }
    const auto outcomes = look_up_concurrently(test_names, clients_, sensor_log().enabled());
    for (std::size_t index = 0; index < definitions.size(); ++index) {
        check_test_entry(definitions[index], outcomes[index]);
    }
    if (bad_line) {
        std::rethrow_exception(bad_line);
    }
    return definitions;
}

void ip_reputation_score_sensor::scan_work() {
    clients_.ensure(1);
    if (definitions_.empty()) {
        definitions_ = build_definitions();
        query_names_.clear();
        for (const auto& definition : definitions_) {
            query_names_.push_back(definition.query_name);
        }
    }

    auto result = result_with_message(libi18n::i18n_msg::plain("OK"), scan_response_codes::ok);
    const bool logging = sensor_log().enabled();
    std::int32_t total_score = 0;
    std::uint32_t reached = 0;
    // Asked at once, processed in list order: the lines, the score and the
    // share reached are those of asking one zone after the other, but a scan
    // of silent zones takes about one timeout, not one per zone.
    const auto outcomes = look_up_concurrently(query_names_, clients_, logging);
    for (std::size_t index = 0; index < definitions_.size(); ++index) {
        const auto& definition = definitions_[index];
        const auto& outcome = outcomes[index];
        write_client_lines(outcome);
        try {
            if (outcome.error) {
                std::rethrow_exception(outcome.error);
            }
            for (const auto& record : outcome.answer.answers) {
                const std::string value = record->value();
                const std::int32_t add = definition.score_for(value);
                if (logging) {
                    log(definition.query_name + " listed with value " + value + " (score: " + std::to_string(add) +
                        ")");
                }
                total_score = add_wrapping(total_score, add);
            }
            ++reached;
        } catch (const exceptions::dns_nodata&) {
            // The c-ares client returns NODATA as an empty answer; a client
            // that raises it still means the zone answered.
            if (logging) {
                log(definition.query_name + " not listed (NODATA)");
            }
            ++reached;
        } catch (const exceptions::dns_notfound&) {
            if (logging) {
                log(definition.query_name + " not listed (NXDOMAIN)");
            }
            ++reached;
        } catch (const exceptions::query_failed& e) {
            if (logging) {
                log("Query to " + definition.query_name + " failed: " + e.what());
            }
        }
    }

    const auto total = static_cast<std::uint32_t>(definitions_.size());
    const std::uint32_t percent = total == 0 ? 0 : reached * 100u / total;
    if (logging) {
        log("Score: " + std::to_string(total_score) + ", Servers reached: " + std::to_string(reached) + "/" +
            std::to_string(total) + " (" + std::to_string(percent) + "%)");
    }
    set_value(result, score, total_score);
    set_value(result, servers_reached, percent);
    if (logging) {
        log(result.response_message());
    }
    send(result);
}

} // namespace vantrel::kelvane::dns
