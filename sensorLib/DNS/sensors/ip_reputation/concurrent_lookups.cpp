#include <dns/concurrent_lookups.hpp>

#include <liblog/log_interface.hpp>

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>

namespace vantrel::kelvane::dns {
namespace {

// Keeps one question's client lines until they can be written in list order.
class line_buffer final : public liblog::log_interface {
public:
    explicit line_buffer(std::vector<std::pair<std::int32_t, std::string>>& lines) : lines_(lines) {}
    void log(std::int32_t level, const std::string& message) override { lines_.emplace_back(level, message); }

private:
    std::vector<std::pair<std::int32_t, std::string>>& lines_;
};

void ask(dns_client_interface& client, const std::string& name, lookup_outcome& outcome, bool keep_lines) {
    try {
        if (keep_lines) {
            line_buffer buffer(outcome.lines);
            outcome.answer = client.query(name, "A", buffer);
        } else {
            liblog::null_logger drop;
            outcome.answer = client.query(name, "A", drop);
        }
    } catch (...) {
        outcome.error = std::current_exception();
    }
}

} // namespace

void lookup_clients::ensure(std::size_t count) {
    count = std::max<std::size_t>(count, 1);
    while (clients_.size() < count) {
        clients_.push_back(make_());
    }
}

std::vector<lookup_outcome> look_up_concurrently(const std::vector<std::string>& names, lookup_clients& clients,
                                                 bool keep_lines) {
    std::vector<lookup_outcome> outcomes(names.size());
    const std::size_t workers = std::min(names.size(), max_lookups_in_flight);
    clients.ensure(workers);

    std::atomic<std::size_t> next{0};
    const auto work = [&](std::size_t worker) {
        for (std::size_t index = next++; index < names.size(); index = next++) {
            ask(clients[worker], names[index], outcomes[index], keep_lines);
        }
    };
    std::vector<std::thread> helpers;
    helpers.reserve(workers > 0 ? workers - 1 : 0);
    for (std::size_t worker = 1; worker < workers; ++worker) {
        try {
            helpers.emplace_back(work, worker);
        } catch (const std::system_error&) {
            break; // fewer helpers only means less parallelism: every question is still asked
        }
    }
    work(0);
    for (auto& helper : helpers) {
        helper.join();
    }
    return outcomes;
}

} // namespace vantrel::kelvane::dns
