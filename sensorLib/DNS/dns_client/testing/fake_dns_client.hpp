#pragma once

// A DNS client for unit tests of sensors and checks: it goes into the
// service container in place of the c-ares client factory, records what it
// was made with and asked, and answers from a script.

#include <dns/dns_client_interface.hpp>
#include <dns/dns_helper_factory.hpp>

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantrel::kelvane::dns::testing {

// Shared by the test and every client the factory makes. Clients may ask
// from several threads at once (the IP reputation sensor does); the test
// reads the records after the scan.
struct fake_dns {
    std::mutex lock;
    std::vector<dns_helper_settings> made; // one entry per client made
    std::vector<std::string> asked;        // "TYPE name" per query, in order
    // Answers by query name; a reply may also throw.
    std::map<std::string, std::function<dns_query_result()>> replies;
    // For a name without a reply: `otherwise` if set, else `error` if set, else `response`.
    std::function<dns_query_result(const std::string& name)> otherwise;
    std::exception_ptr error;
    dns_query_result response;
    // The factory refuses this many times before it makes clients.
    int factory_failures = 0;
};

class fake_dns_client final : public dns_client_interface {
public:
    fake_dns_client(const dns_helper_settings& s, std::shared_ptr<fake_dns> dns)
        : dns_client_interface(s.server, s.ip_version, s.port, s.timeout_ms), dns_(std::move(dns)) {}

    dns_query_result query(const std::string& name, const std::string& type, liblog::log_interface&) override {
        std::unique_lock guard(dns_->lock);
        dns_->asked.push_back(type + " " + name);
        if (const auto it = dns_->replies.find(name); it != dns_->replies.end()) {
            const auto reply = it->second;
            guard.unlock();
            return reply();
        }
        if (dns_->otherwise) {
            const auto otherwise = dns_->otherwise;
            guard.unlock();
            return otherwise(name);
        }
        if (dns_->error) {
            std::rethrow_exception(dns_->error);
        }
        return dns_->response;
    }

private:
    std::shared_ptr<fake_dns> dns_;
};

// The factory to register under dns_helper_factory in a test's container.
inline dns_helper_factory fake_dns_factory(std::shared_ptr<fake_dns> dns) {
    return [dns = std::move(dns)](dns_helper_settings s) -> std::unique_ptr<dns_client_interface> {
        const std::lock_guard guard(dns->lock);
        if (dns->factory_failures > 0) {
            --dns->factory_failures;
            throw std::runtime_error("no client today");
        }
        dns->made.push_back(s);
        return std::make_unique<fake_dns_client>(s, dns);
    };
}

} // namespace vantrel::kelvane::dns::testing
