#include "manifest_pieces.hpp"

namespace vantrel::kelvane::dns::manifest_pieces {
namespace {

// "MetaData"
constexpr std::string_view metadata = R"json(  "MetaData": {
    "Vendor": "vantrel",
    "Name": "DNS",
    "Contact": "support@vantrel.com",
    "Version": "1.20.1.22482",
    "Display": "DNS Server",
    "Description": "Monitoring module to bundle DNS server-related sensors."
  })json";

// "Sensors"
constexpr std::string_view sensors = R"json(  "Sensors": {
    "dns_v2": {
      "Name": "dns_v2",
      "Display": "DNS v2",
      "Description": "Monitors a DNS server",
      "Help": "Shows the response time of a Domain Name System (DNS) server and whether it resolved records of the requested type; add this sensor to the device that runs the DNS service.",
      "ManualLink": "/help/dns_v2_sensor.htm",
      "ResourceUsage": 3,
      "Compatibility": ["SystemCompatibilityIPv4", "SystemCompatibilityIPv6"],
      "Family": ["FamilyKindAvailability", "FamilyKindTCP", "FamilyKindUDP"],
      "RequiredChecks": ["dns_check"],
      "Settings": {
        "Sections": ["dns_sensor_section"]
      },
      "Tags": ["dns", "dnssensor"]
    },
    "ip_reputation_score_sensor": {
      "Name": "ip_reputation_score_sensor",
      "Display": "IP Reputation Score",
      "Description": "Checks the IP address of the parent device against DNS blacklist servers",
      "Help": "Checks the IP address of the parent device against a configurable list of DNS blacklist (DNSBL) servers.",
      "ManualLink": "/help/ip_reputation_score_sensor.htm",
      "ResourceUsage": 2,
      "Compatibility": ["SystemCompatibilityIPv4", "SystemCompatibilityIPv6"],
      "Family": ["FamilyKindEmail", "FamilyKindInfrastructure", "FamilyKindTCP"],
      "Flag": "SensorFlagIsReleaseCandidate",
      "RequiredChecks": ["true_check"],
      "Settings": {
        "Sections": ["ip_reputation_score_section"]
      },
      "Tags": ["dns", "dnsbl", "dnsblacklist"]
    }
  })json";

// "Checks"
constexpr std::string_view checks = R"json(  "Checks": {
    "true_check": {
      "Name": "true_check",
      "Sections": []
    },
    "dns_check": {
      "Name": "dns_check",
      "Sections": []
    }
  })json";

// "Sections"
constexpr std::string_view sections = R"json(  "Sections": {
    "dns_sensor_section": {
      "Name": "dns_sensor_section",
      "Display": "Specific Sensor Settings",
      "Scope": "SettingSectionScopeSensor",
      "Groups": ["dns_sensor_group"]
    },
    "ip_reputation_score_section": {
      "Name": "ip_reputation_score_section",
      "Display": "Specific Sensor Settings",
      "Scope": "SettingSectionScopeSensor",
      "Groups": ["ip_reputation_score_group"]
    }
  })json";

// "Revision"
constexpr std::string_view revision = R"json(  "Revision": 54)json";

// "MetaScans"
constexpr std::string_view metascans = R"json(  "MetaScans": {})json";

// "Groups"
constexpr std::string_view groups = R"json(  "Groups": {
    "dns_sensor_group": {
      "Name": "dns_sensor_group",
      "Items": [
        {
          "Setting": {
            "Name": "domain",
            "Display": "Domain Name",
            "Help": "Enter the DNS name to resolve. For a PTR query, enter the reverse representation of the IP address, which ends in [i]in-addr.arpa[/i], for example [i]1.0.0.127.in-addr.arpa[/i].",
            "Default": "",
            "Text": {},
            "Flags": ["SettingFlagRequired"]
          }
        },
        {
          "Setting": {
            "Name": "record_type",
            "Display": "Query Type",
            "Help": "Select the type of query that the sensor sends to the DNS server.",
            "Default": "A",
            "Selection": {
              "Options": [
                {"Display": "Host address IPv4 (A) (default)", "Value": "A"},
                {"Display": "Host address IPv6 (AAAA)", "Value": "AAAA"},
                {"Display": "Canonical name for an alias (CNAME)", "Value": "CNAME"},
                {"Display": "Mail exchange (MX)", "Value": "MX"},
                {"Display": "Naming authority pointer (NAPTR)", "Value": "NAPTR"},
                {"Display": "Authoritative name server (NS)", "Value": "NS"},
                {"Display": "PTR resource record (PTR)", "Value": "PTR"},
                {"Display": "Start of authority (SOA)", "Value": "SOA"},
                {"Display": "Text resource record (TXT)", "Value": "TXT"},
                {"Display": "Any (depends on the DNS server configuration)", "Value": "ANY"}
              ]
            },
            "Flags": ["SettingFlagRequired"]
          }
        },
        {
          "Setting": {
            "Name": "query_timeout",
            "Display": "Timeout (Sec.)",
            "Help": "Enter a timeout in seconds for the request. If the reply takes longer than this value, Vemtor cancels the request and shows an error message. The default is 30 seconds, the maximum is 900 seconds (15 minutes). The timeout must be shorter than the scanning interval of the sensor.",
            "Default": "30",
            "IntegerSigned": {"IsMinimumSet": true, "Minimum": 0, "IsMaximumSet": true, "Maximum": 900},
            "Flags": ["SettingFlagRequired"]
          }
        },
        {
          "Setting": {
            "Name": "apply_filter",
            "Display": "Filter Usage",
            "Help": "Select whether the sensor counts the records that match a filter value. [b]Match any of the comma-separated values in the sensor message[/b] counts every record that matches one of the comma-separated values, in which an asterisk (*) is a wildcard. [b]Match the sensor message as an exact string[/b] counts a match only if the whole sensor message equals the filter value.",
            "Default": "disabled",
            "Selection": {
              "Options": [
                {"Display": "Do not use a filter (default)", "Value": "disabled"},
                {
                  "Display": "Match any of the comma-separated values in the sensor message",
                  "Value": "enabled"
                },
                {"Display": "Match the sensor message as an exact string", "Value": "enabled_match_exact"}
              ]
            }
          }
        },
        {
          "DependsOn": "apply_filter",
          "Condition": "enabled,enabled_match_exact",
          "Setting": {
            "Name": "filter",
            "Display": "Filter Value",
            "Help": "Enter the value to filter for. To match any of several values, enter them separated by commas, for example [i]127.0.0.1, 10.*.1[/i]; an asterisk (*) stands for any characters. To match the sensor message as an exact string, enter the complete expected message with the record type prefixes but without the [i]OK:[/i] prefix, for example [i]A=127.0.0.1, 127.0.0.2[/i].",
            "Default": "",
            "Text": {}
          }
        },
        {
          "Setting": {
            "Name": "port",
            "Display": "Port",
            "Help": "Enter the port of the DNS service on the parent device. The default port is 53. Vemtor supports ports from 1 to 65535.",
            "Default": "53",
            "IntegerSigned": {"IsMinimumSet": true, "Minimum": 1, "IsMaximumSet": true, "Maximum": 65535},
            "Flags": ["SettingFlagRequired"]
          }
        }
      ]
    },
    "ip_reputation_score_group": {
      "Name": "ip_reputation_score_group",
      "Items": [
        {
          "Setting": {
            "Name": "dns_resolver",
            "Display": "DNS Resolver",
            "Help": "Select which resolver the sensor sends the requests to.",
            "Default": "system",
            "Selection": {
              "Options": [
                {"Display": "System (default)", "Value": "system"},
                {"Display": "Custom", "Value": "custom"}
              ]
            }
          }
        },
        {
          "DependsOn": "dns_resolver",
          "Condition": "custom",
          "Setting": {
            "Name": "custom_resolver",
            "Display": "Custom Resolver",
            "Help": "Enter the IP address or hostname of the custom resolver.",
            "Default": "",
            "Text": {},
            "Flags": ["SettingFlagRequired"]
          }
        },
        {
          "DependsOn": "dns_resolver",
          "Condition": "custom",
          "Setting": {
            "Name": "custom_resolver_port",
            "Display": "Port",
            "Help": "Enter the port for the connection to the custom DNS resolver.",
            "Default": "53",
            "IntegerSigned": {"IsMinimumSet": true, "Minimum": 1, "IsMaximumSet": true, "Maximum": 65535},
            "Flags": ["SettingFlagRequired"]
          }
        },
        {
          "Setting": {
            "Name": "blacklist_servers",
            "Display": "Blacklist Servers",
            "Help": "Enter the DNS blacklist servers to check, one per line, in the format [i]domain=filter*score[/i]. [b]domain[/b] is the host name of the DNSBL zone. [b]filter[/b] is optional and restricts which answer addresses count as a listing: write each of the four octets as an exact value (2), as a list of values in square brackets separated by semicolons ([2;4;10]), or as a range in square brackets with two full stops ([2..11]). [b]score[/b] is optional and sets the points that each matching answer adds (default 1). Examples:[br]zen.spamhaus.org=127.0.0.[2..11]*5[br]bl.spamcop.net=127.0.0.2*3",
            "Default": "bl.spamcop.net",
            "Text": {"Multiline": true},
            "Flags": ["SettingFlagRequired"]
          }
        }
      ]
    }
  })json";

// "Lookups"
constexpr std::string_view lookups = R"json(  "Lookups": {
    "lookup_records_found": {
      "Name": "lookup_records_found",
      "Mode": "LookupDisplayModeBoolean",
      "LookupValues": [
        {"Name": "no", "Display": "No", "Value": 0, "State": "LookupValueStateError"},
        {"Name": "yes", "Display": "Yes", "Value": 1, "State": "LookupValueStateOk"}
      ]
    }
  })json";

constexpr std::array<std::string_view, 8> pieces = {metadata, sensors,   checks, sections,
                                                    revision, metascans, groups, lookups};

} // namespace

std::span<const std::string_view> structure() noexcept {
    return pieces;
}

} // namespace vantrel::kelvane::dns::manifest_pieces
