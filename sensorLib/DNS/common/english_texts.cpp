#include <dns/english_texts.hpp>

namespace vantrel::kelvane::dns {
namespace {

constexpr libi18n::text_entry texts[] = {
    {"module.display", "DNS Server"},
    {"module.description", "Monitoring module to bundle DNS server-related sensors."},
    {"channel.matched_record_count", "Matched Record Count"},
    {"channel.record_count", "Record Count"},
    {"channel.records_resolved", "Records Resolved"},
    {"channel.response_time", "Response Time"},
    {"channel.score", "Score"},
    {"channel.servers_reached", "Servers Reachable"},
    {"error.dns_server_definition_invalid", "The blacklist server entry (%0:s) is invalid."},
    {"error.dns_server_filter_invalid", "The address filter (%0:s) is invalid."},
    {"error.dns_server_filter_invalid_range",
     "The range %0:s is invalid. The lower bound must be smaller than the upper bound."},
    {"error.dns_server_filter_invalid_value", "The value %0:s is out of range. The value must be between 0 and 255."},
    {"error.dnsbl_initial_check_failed",
     "The server '%0:s' failed the initial response check. Make sure that the server is available as a DNS "
     "blacklist server."},
    {"error.empty_result", "DNS query returned no records."},
    {"error.invalid_answer",
     "An error has occurred while querying the DNS server: Invalid answer. Message is not a response."},
    {"error.invalid_buffer", "An error has occurred while querying the DNS server: Invalid answer buffer or length. "
                             "The message from the server was truncated."},
    {"error.invalid_ip_conversion", "An error occurred when converting the IP address to a string."},
    {"error.invalid_ns_class", "Invalid NS class: ID %0:s not found in ns-class-map."},
    {"error.invalid_ns_class_name", "Invalid NS class: Name %0:s not found in ns-class-map."},
    {"error.invalid_ns_opcode", "Invalid NS opcode: ID %0:s not found in ns-opcode-map."},
    {"error.invalid_ns_opcode_name", "Invalid NS opcode: Name %0:s not found in ns-opcode-map."},
    {"error.invalid_ns_rcode", "Invalid NS rcode: ID %0:s not found in ns-rcode-map."},
    {"error.invalid_ns_rcode_name", "Invalid NS rcode: Name %0:s not found in ns-rcode-map."},
    {"error.invalid_ns_type", "Invalid NS type: ID %0:s not found in ns-type-map."},
    {"error.invalid_ns_type_name", "Invalid NS type: Name %0:s not found in ns-type-map."},
    {"error.ip_parse_failed",
     "An error has occurred while parsing the domain: %0:s is not a valid IPv4 or IPv6 address."},
    {"error.memory_allocation_failed", "Could not allocate memory for the DNS request."},
    {"error.query_failed", "Error %0:s occurred: %1:s."},
    {"error.resolve_failed", "Unable to resolve an IP address for '%0:s'."},
    {"error.truncated_buffer",
     "An error has occurred while querying the DNS server: Truncated buffer for result record."},
    {"error.unsupported_address_family", "Unsupported address family encountered while resolving '%0:s'."},
    {"lookup.lookup_records_found.0", "No"},
    {"lookup.lookup_records_found.1", "Yes"},
};

} // namespace

std::span<const libi18n::text_entry> english_texts() { return texts; }

void register_english_texts() {
    static const bool once = (libi18n::add_english_texts(texts), true);
    (void)once;
}

} // namespace vantrel::kelvane::dns
