#pragma once

// Asks several DNS questions at once and hands the outcomes back in the order
// the questions were given, each with the log lines its client wrote, so that
// the caller can process them exactly as if they had been asked one by one.

#include <dns/dns_client_interface.hpp>
#include <dns/dns_query_result.hpp>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vantrel::kelvane::dns {

// How many questions are in flight at most: a list of thousands of zones must
// not open thousands of sockets (and c-ares event threads) at once.
inline constexpr std::size_t max_lookups_in_flight = 16;

// The outcome of one question, kept until its turn comes.
struct lookup_outcome {
    dns_query_result answer;                                 // when error is empty
    std::exception_ptr error;                                // whatever the query threw
    std::vector<std::pair<std::int32_t, std::string>> lines; // what the client logged meanwhile
};

// The clients that ask concurrently: the client requires one per query in
// flight. The first is made on first use and kept, as every scan reuses the
// sensor's client; more are made as a list needs them and kept too.
class lookup_clients {
public:
    using maker = std::function<std::unique_ptr<dns_client_interface>()>;
    explicit lookup_clients(maker make) : make_(std::move(make)) {}

    bool empty() const noexcept { return clients_.empty(); }
    // Makes clients until there are `count` (at least one). Throws what the maker throws.
    void ensure(std::size_t count);
    dns_client_interface& operator[](std::size_t index) const { return *clients_[index]; }
    std::size_t size() const noexcept { return clients_.size(); }

private:
    maker make_;
    std::vector<std::unique_ptr<dns_client_interface>> clients_;
};

// Asks every (name, type A) question on at most max_lookups_in_flight
// clients at once and returns one outcome per name, in the order of `names`.
// The calling thread asks too; extra threads live only for the call. With
// `keep_lines` false the clients get a logger that drops everything.
// Throws only what making the clients throws; query errors are in the outcomes.
std::vector<lookup_outcome> look_up_concurrently(const std::vector<std::string>& names, lookup_clients& clients,
                                                 bool keep_lines);

} // namespace vantrel::kelvane::dns
