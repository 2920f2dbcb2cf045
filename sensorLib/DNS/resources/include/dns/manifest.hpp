#pragma once

#include <string_view>

namespace vantrel::kelvane::dns {

// Names the manifest gives to the module's parts. Sensors build their settings keys from these
// ("section.group.setting"), so that the names they read and the names the host sends agree.
namespace manifest_names {
inline constexpr std::string_view module_version = "1.20.1.22482";
inline constexpr std::string_view dns_v2_sensor = "dns_v2";
inline constexpr std::string_view ip_reputation_sensor = "ip_reputation_score_sensor";
inline constexpr std::string_view dns_check = "dns_check";
inline constexpr std::string_view dns_sensor_section = "dns_sensor_section";
inline constexpr std::string_view dns_sensor_group = "dns_sensor_group";
inline constexpr std::string_view ip_reputation_section = "ip_reputation_score_section";
inline constexpr std::string_view ip_reputation_group = "ip_reputation_score_group";
inline constexpr std::string_view records_found_lookup = "lookup_records_found";
} // namespace manifest_names

// The module's manifest: a JSON object whose members are, in order, "MetaData", "Sensors", "Checks",
// "Sections", "Revision", "MetaScans", "Groups", "Lookups" and "Text" (the catalogue in nine languages).
// The document is constant; it is joined from its stored pieces on the first call and kept for the life of the
// process. Thread-safe. The view stays valid until the process ends. Throws std::bad_alloc only.
std::string_view manifest_json();

// The same document without its "Text" member: every other byte, member order and formatting included, is the
// one manifest_json() returns. Built once, on the first call of either function; thread-safe; same lifetime.
std::string_view manifest_json_without_texts();

} // namespace vantrel::kelvane::dns
