// Answer handling on any bytes a server could send: what c-ares parses is
// copied into the record model and rendered dig-style; a bad answer is only
// ever one of the module's own errors.

#include <dns/cares/channel_setup.hpp>
#include <dns/dns_query_result.hpp>
#include <dns/exceptions.hpp>
#include <dns/render_response.hpp>

#include <ares.h>

#include <cstddef>
#include <cstdint>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vantrel::kelvane;
    ares_dns_record_t* record = nullptr;
    if (ares_dns_parse(data, size, 0, &record) != ARES_SUCCESS) {
        return 0;
    }
    dns::dns_query_result result{};
    try {
        cares::parse_response(result, ARES_SUCCESS, record);
        std::ostringstream out;
        dns::render_response(out, result);
    } catch (const dns::exceptions::exception&) {
    }
    ares_dns_record_destroy(record);
    return 0;
}
