#pragma once

// Dig-style text of a whole response, for the sensors' diagnostic logs.

#include <dns/dns_query_result.hpp>

#include <ostream>

namespace vantrel::kelvane::dns {

// Writes banner, header, flags, the four sections and the query time, then
// flushes. Throws the code maps' exceptions (invalid_ns_opcode, _rcode,
// _class, _type) for a number without a name; what was written stays written.
void render_response(std::ostream& out, const dns_query_result& result);

// Throws exactly what render_response would throw for `result`, and nothing
// when it would succeed, without building any text: the same code-map
// look-ups (opcode, rcode, then class and type of every question and record,
// section by section) in the same order. A scan that does not log its answer
// calls this, so that its result never depends on logging.
void check_renderable(const dns_query_result& result);

// Same as render_response; returns `out`.
std::ostream& operator<<(std::ostream& out, const dns_query_result& result);

} // namespace vantrel::kelvane::dns
