// /probe of wexo-probe serve under load: requests per second with 1 and with
// 64 concurrent clients, each asking one dns_v2 probe after the other over a
// kept-alive connection, beside the bare c-ares pattern's queries per second
// at the same concurrency (one thread per client, one channel per query).
// A probe costs more than one query: the precondition's root NS question, the
// sensor's creation, its A question, its destruction and the HTTP exchange.
//
//   probe_bench [--seconds 5] [--clients 1,64]
//
// The DNS servers run in this process on loopback: 127.96.0.1:53 for the
// probes (the precondition of dns_v2 asks port 53), an ephemeral port of
// 127.0.0.1 for the bare pattern. Binding port 53 needs the right to.

#include "bare_cares_pattern.hpp"

#include <http_endpoints.hpp>
#include <probe_service.hpp>
#include <test_support/fake_dns_server.hpp>

#include <ares.h>
#include <httplib.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
namespace service = vantrel::kelvane::probe::service;
using vantrel::kelvane::test_support::dns_action;
using vantrel::kelvane::test_support::dns_request;
using vantrel::kelvane::test_support::fake_dns_server;

constexpr const char* device = "127.96.0.1";

dns_action answer(const dns_request& r) {
    auto action = dns_action::answer();
    if (r.type == ARES_REC_TYPE_A) {
        action.a(r.name, "192.0.2.1");
    }
    return action;
}

// Runs `clients` threads, each calling `one` until `seconds` have passed;
// the successful calls per second.
template <typename F> double rate(int clients, double seconds, F make_client) {
    std::atomic<bool> stop{false};
    std::atomic<long> done{0};
    std::atomic<long> failed{0};
    std::vector<std::thread> threads;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < clients; ++i) {
        threads.emplace_back([&] {
            auto one = make_client();
            long mine = 0;
            long bad = 0;
            while (!stop.load(std::memory_order_relaxed)) {
                (one() ? mine : bad) += 1;
            }
            done += mine;
            failed += bad;
        });
    }
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    stop = true;
    for (auto& t : threads) {
        t.join();
    }
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (failed != 0) {
        std::fprintf(stderr, "  %ld calls failed\n", failed.load());
    }
    return static_cast<double>(done) / elapsed;
}

} // namespace

int main(int argc, char** argv) {
    double seconds = 5;
    std::vector<int> concurrency = {1, 64};
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--seconds") == 0) {
            seconds = std::stod(argv[i + 1]);
        } else if (std::strcmp(argv[i], "--clients") == 0) {
            concurrency.clear();
            std::stringstream list(argv[i + 1]);
            for (std::string n; std::getline(list, n, ',');) {
                concurrency.push_back(std::stoi(n));
            }
        }
    }
    ares_library_init(ARES_LIB_INIT_ALL);
    fake_dns_server probed(fake_dns_server::options{device, 53});
    probed.on_request(answer);
    fake_dns_server bare_server;
    bare_server.on_request(answer);

    std::ostringstream quiet;
    service::service_log log(quiet, "text", "error");
    const service::steady_clock clock;
    service::service_options options;
    options.module_path = WEXO_MODULE_PATH;
    service::probe_service probes(options, log, clock);
    probes.start(service::service_config{});
    int max_clients = 1;
    for (const int c : concurrency) {
        max_clients = std::max(max_clients, c);
    }
    service::http_endpoints http(
        probes, [] { return std::string(); }, static_cast<std::size_t>(max_clients));
    const auto port = http.listen("127.0.0.1", 0);
    const std::string path = std::string("/probe?kind=dns_v2&target=") + device + "&domain=www.bench.test";

    const vantrel::kelvane::bench::bare_cares_pattern pattern(bare_server.port(), 5000);
    std::printf("%-8s %14s %14s %8s\n", "clients", "/probe req/s", "bare query/s", "ratio");
    for (const int clients : concurrency) {
        const double probe_rate = rate(clients, seconds, [&] {
            auto client = std::make_shared<httplib::Client>("127.0.0.1", port);
            client->set_keep_alive(true);
            client->set_tcp_nodelay(true);
            client->set_read_timeout(10s);
            return [client, &path] {
                const auto res = client->Get(path);
                return res && res->status == 200 &&
                       res->body.find("wexo_probe_success{domain=\"www.bench.test\",record_type=\"A\"} 1") !=
                           std::string::npos;
            };
        });
        const double bare_rate =
            rate(clients, seconds, [&] { return [&pattern] { return pattern.query("www.bench.test") == 1; }; });
        std::printf("%-8d %14.0f %14.0f %8.3f%s\n", clients, probe_rate, bare_rate, probe_rate / bare_rate,
                    clients == 64 ? " (target >= 0.90)" : "");
    }
    http.stop();
    probes.stop();
    ares_library_cleanup();
    return 0;
}
