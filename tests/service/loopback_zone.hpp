#pragma once

// A fake DNS server on port 53 of a loopback address of its own (the check
// of dns_v2 always asks port 53), answering from a small table.

#include <test_support/fake_dns_server.hpp>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace vantrel::kelvane::tests {

using test_support::dns_action;
using test_support::dns_request;
using test_support::fake_dns_server;

// A records by name; the root NS question (the check) and every other
// question get an empty NOERROR answer, a name ending in ".nx" NXDOMAIN.
struct zone {
    std::map<std::string, std::vector<std::string>> a;
    std::map<std::string, std::vector<std::pair<int, std::string>>> mx;
};

inline dns_action answer_from(const zone& z, const dns_request& r) {
    if (r.name.ends_with(".nx")) {
        return dns_action::answer(ARES_RCODE_NXDOMAIN);
    }
    auto action = dns_action::answer();
    if (r.type == ARES_REC_TYPE_A) {
        if (const auto it = z.a.find(r.name); it != z.a.end()) {
            for (const auto& address : it->second) {
                action.a(r.name, address);
            }
        }
    } else if (r.type == ARES_REC_TYPE_MX) {
        if (const auto it = z.mx.find(r.name); it != z.mx.end()) {
            for (const auto& [preference, exchange] : it->second) {
                action.mx(r.name, static_cast<std::uint16_t>(preference), exchange);
            }
        }
    }
    return action;
}

// Binds `address`:53, or says why the test has to be skipped (binding port
// 53 is not allowed here) in `skip`. Any other failure is a test failure.
inline std::unique_ptr<fake_dns_server> serve_zone(const std::string& address, zone z, std::string& skip) {
    std::unique_ptr<fake_dns_server> server;
    try {
        server = std::make_unique<fake_dns_server>(fake_dns_server::options{address, 53});
    } catch (const std::system_error& e) {
        if (e.code() == std::errc::permission_denied || e.code() == std::errc::operation_not_permitted) {
            skip = "not allowed to bind " + address + ":53 (" + e.what() + ")";
            return nullptr;
        }
        ADD_FAILURE() << "cannot bind " << address << ":53: " << e.what();
        return nullptr;
    }
    server->on_request([z = std::move(z)](const dns_request& r) { return answer_from(z, r); });
    return server;
}

} // namespace vantrel::kelvane::tests
