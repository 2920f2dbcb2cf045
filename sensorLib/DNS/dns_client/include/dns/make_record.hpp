#pragma once

// Copies one c-ares resource record into the module's record model.

#include <dns/dns_result_record.hpp>

#include <memory>

struct ares_dns_rr;

namespace vantrel::kelvane::dns {

// A new record for a class IN record of type A, NS, CNAME, SOA, PTR, MX, TXT,
// AAAA, SRV or NAPTR; null for any other class or type, for a TXT record
// without data, and when a field the record needs is missing. `rr` is only
// read and not kept. Throws exceptions::ip_conversion_failed when an address
// cannot be made into text. Thread-safe.
std::shared_ptr<dns_result_record> make_record(const ares_dns_rr* rr);

} // namespace vantrel::kelvane::dns
