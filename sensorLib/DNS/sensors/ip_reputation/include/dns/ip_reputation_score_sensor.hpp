#pragma once

// Looks the device's address up in a list of DNS blacklist zones and reports
// the total score of the listings and the share of zones that answered.

#include <dns/blacklist_server_definition.hpp>
#include <dns/concurrent_lookups.hpp>
#include <dns/dns_client_interface.hpp>
#include <dns/dns_helper_factory.hpp>
#include <dns/ip_reputation_settings.hpp>
#include <libwexohelper/sensors/sensor_base.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::dns {

class ip_reputation_score_sensor final
    : public libwexohelper::sensors::sensor_base<settings::ip_reputation_score_sensor> {
public:
    enum channel : int { score = 0, servers_reached = 1 };

    // "score", "servers_reached"; "" for any other id.
    static std::string_view channel_name(int id) noexcept;

    // Logs the start-up lines, takes the DNS client factory from the container
    // (throws factory_not_available when there is none) and declares the two
    // channels. Sends no DNS query.
    ip_reputation_score_sensor(std::shared_ptr<libwexohelper::utils::service_container> container, int id,
                               settings::ip_reputation_score_sensor settings, std::map<int, std::string> channels,
                               std::map<std::string, std::string> persistent_data);
    ~ip_reputation_score_sensor() override;

    // The list as the last successful build left it; empty before one.
    const std::vector<blacklist_server_definition>& definitions() const noexcept { return definitions_; }

private:
    // On the first scan that gets so far, makes the client and the list; then
    // queries every zone and sends the score and the percentage reached.
    // Throws what the list build throws (a bad line, a zone failing the test
    // entry, an unusable device address); a failed query of one zone is
    // logged and never ends the scan.
    void scan_work() override;

    std::unique_ptr<dns_client_interface> make_client() const;
    // Every line parsed and proved a DNSBL, or an exception; never a part.
    std::vector<blacklist_server_definition> build_definitions();
    // Writes the lines the client logged while asking, then throws
    // exceptions::dnsbl_initial_check_failed naming the zone unless its test
    // entry answered with a 127.x.x.x address.
    void check_test_entry(const blacklist_server_definition& definition, const lookup_outcome& outcome);
    void write_client_lines(const lookup_outcome& outcome);

    dns_helper_factory factory_;
    // The sensor's client (made on the first scan and kept) and, for a list of
    // several zones, the further ones that ask at the same time.
    lookup_clients clients_{nullptr};
    std::vector<blacklist_server_definition> definitions_;
    std::vector<std::string> query_names_; // of definitions_, in order
};

} // namespace vantrel::kelvane::dns
