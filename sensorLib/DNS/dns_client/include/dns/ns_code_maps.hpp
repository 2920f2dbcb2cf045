#pragma once

// The four name/number maps of DNS codes: record types ("ns-type-map"),
// classes ("ns-class-map"), opcodes ("ns-opcode-map") and response codes
// ("ns-rcode-map"). The tables are constant data, so every function here is
// thread-safe and allocates nothing on success.
//
// A lookup that finds nothing throws; nothing falls back to a number. Names
// must match exactly (upper case); callers upper-case user input first.

#include <cstdint>
#include <string_view>

namespace vantrel::kelvane::dns {

// Throws exceptions::invalid_ns_type with the id in decimal.
std::string_view ns_type_name(std::uint32_t type);
// Throws exceptions::invalid_ns_type_name with the name.
std::uint32_t ns_type_id(std::string_view name);

// Throws exceptions::invalid_ns_class with the id in decimal.
std::string_view ns_class_name(std::uint32_t dns_class);
// Throws an exceptions::exception keyed "error.invalid_ns_class_name".
std::uint32_t ns_class_id(std::string_view name);

// Throws exceptions::invalid_ns_opcode with the id in decimal.
std::string_view ns_opcode_name(std::uint32_t opcode);
// Throws an exceptions::exception keyed "error.invalid_ns_opcode_name".
std::uint32_t ns_opcode_id(std::string_view name);

// Throws exceptions::invalid_ns_rcode with the id in decimal.
std::string_view ns_rcode_name(std::uint32_t rcode);
// Throws an exceptions::exception keyed "error.invalid_ns_rcode_name".
std::uint32_t ns_rcode_id(std::string_view name);

} // namespace vantrel::kelvane::dns
