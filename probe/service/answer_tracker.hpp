#pragma once

#include <wexo_host.pb.h>

#include <optional>
#include <string>
#include <vector>

namespace vantrel::kelvane::probe::service {

// The records a dns_v2 scan reported, as "TYPE=value" items sorted byte-wise.
// The order in which a server lists its records does not matter, and neither
// does a TTL (the result does not carry it): two answers are the same when
// they hold the same items. An empty list is the answer "no records of the
// type" (NODATA), which is an answer like any other.
using answer_set = std::vector<std::string>;

// The answer of a successful dns_v2 result: read from its message "OK: A=1.2.3.4,
// 5.6.7.8, AAAA=::1" (one group per type) or the empty-result message. Nothing
// for a failed scan, which says nothing about the record set.
std::optional<answer_set> answer_of(const host_wire::SensorScanResult& result);

// The answer as one line, items joined by ", ", for logs and pages.
std::string answer_text(const answer_set& answer);

// Remembers the last answer of one sensor and tells when it changes. The
// first answer is not a change; failed scans are not observed at all. Not
// thread-safe: the owner's lock guards it.
class answer_tracker {
public:
    struct change {
        answer_set before;
        answer_set after;
    };

    // The change this answer makes, if it makes one.
    std::optional<change> observe(answer_set answer);
    const std::optional<answer_set>& last() const { return last_; }

private:
    std::optional<answer_set> last_;
};

} // namespace vantrel::kelvane::probe::service
