#pragma once

// The whole parsed response of one query, as the DNS client returns it. A plain
// value owned by the caller; the records are shared and may outlive it.

#include <dns/dns_result_record.hpp>

#include <cstdint>
#include <memory>
#include <vector>

namespace vantrel::kelvane::dns {

struct dns_query_result {
    std::uint16_t id = 0;
    std::uint32_t opcode = 0;
    std::uint32_t rcode = 0;
    // From just before the channel was created to the completion callback.
    std::int64_t response_time_ms = 0;
    bool aa = false;
    bool tc = false;
    bool rd = false;
    bool ra = false;
    bool ad = false;
    bool cd = false;
    std::vector<dns_question_record> questions;
    // Only records the model can represent, in the order of the response.
    std::vector<std::shared_ptr<dns_result_record>> answers;
    std::vector<std::shared_ptr<dns_result_record>> authorities;
    std::vector<std::shared_ptr<dns_result_record>> additionals;
};

} // namespace vantrel::kelvane::dns
