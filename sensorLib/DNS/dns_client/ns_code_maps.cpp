#include <dns/ns_code_maps.hpp>

#include <dns/exceptions.hpp>

#include <array>
#include <string>

namespace vantrel::kelvane::dns {
namespace {

struct code_entry {
    std::string_view name;
    std::uint32_t id;
};

// Small fixed tables: a linear scan beats any map at these sizes and needs no
// initialisation at all.
constexpr std::array<code_entry, 20> type_map{{
    {"A", 1},     {"NS", 2},     {"CNAME", 5}, {"SOA", 6},   {"PTR", 12},   {"HINFO", 13},     {"MX", 15},
    {"TXT", 16},  {"SIG", 24},   {"AAAA", 28}, {"SRV", 33},  {"NAPTR", 35}, {"OPT", 41},       {"TLSA", 52},
    {"SVCB", 64}, {"HTTPS", 65}, {"ANY", 255}, {"URI", 256}, {"CAA", 257},  {"RAW_RR", 65536},
}};

constexpr std::array<code_entry, 4> class_map{{{"IN", 1}, {"CHAOS", 3}, {"HS", 4}, {"ANY", 255}}};

constexpr std::array<code_entry, 5> opcode_map{{
    {"QUERY", 0},
    {"IQUERY", 1},
    {"STATUS", 2},
    {"NOTIFY", 4},
    {"UPDATE", 5},
}};

constexpr std::array<code_entry, 14> rcode_map{{
    {"NOERROR", 0},
    {"FORMERR", 1},
    {"SERVFAIL", 2},
    {"NXDOMAIN", 3},
    {"NOTIMP", 4},
    {"REFUSED", 5},
    {"YXDOMAIN", 6},
    {"YXRRSET", 7},
    {"NXRRSET", 8},
    {"NOTAUTH", 9},
    {"NOTZONE", 10},
    {"BADSIG", 16},
    {"BADKEY", 17},
    {"BADTIME", 18},
}};

template <class Error, std::size_t N> std::string_view name_of(const std::array<code_entry, N>& map, std::uint32_t id) {
    for (const auto& entry : map) {
        if (entry.id == id) {
            return entry.name;
        }
    }
    throw Error(std::to_string(id));
}

template <std::size_t N, class Raise>
std::uint32_t id_of(const std::array<code_entry, N>& map, std::string_view name, Raise raise) {
    for (const auto& entry : map) {
        if (entry.name == name) {
            return entry.id;
        }
    }
    raise(std::string(name));
    return 0; // not reached: raise throws
}

} // namespace

std::string_view ns_type_name(std::uint32_t type) {
    return name_of<exceptions::invalid_ns_type>(type_map, type);
}

std::uint32_t ns_type_id(std::string_view name) {
    return id_of(type_map, name, [](std::string n) { throw exceptions::invalid_ns_type_name(std::move(n)); });
}

std::string_view ns_class_name(std::uint32_t dns_class) {
    return name_of<exceptions::invalid_ns_class>(class_map, dns_class);
}

std::uint32_t ns_class_id(std::string_view name) {
    return id_of(class_map, name,
                 [](std::string n) { throw exceptions::exception("error.invalid_ns_class_name", {std::move(n)}); });
}

std::string_view ns_opcode_name(std::uint32_t opcode) {
    return name_of<exceptions::invalid_ns_opcode>(opcode_map, opcode);
}

std::uint32_t ns_opcode_id(std::string_view name) {
    return id_of(opcode_map, name,
                 [](std::string n) { throw exceptions::exception("error.invalid_ns_opcode_name", {std::move(n)}); });
}

std::string_view ns_rcode_name(std::uint32_t rcode) {
    return name_of<exceptions::invalid_ns_rcode>(rcode_map, rcode);
}

std::uint32_t ns_rcode_id(std::string_view name) {
    return id_of(rcode_map, name,
                 [](std::string n) { throw exceptions::exception("error.invalid_ns_rcode_name", {std::move(n)}); });
}

} // namespace vantrel::kelvane::dns
