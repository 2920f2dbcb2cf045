// /probe of wexo-probe serve under load: requests per second with 1 and with
// 64 concurrent clients, each asking one dns_v2 probe after the other over a
// kept-alive connection, beside the bare c-ares pattern's queries per second
// at the same concurrency (one thread per client, one channel per query).
//
// A probe costs more than one query: the sensor's creation, its A question,
// its destruction, the HTTP exchange, and the precondition's root NS question
// unless that passed for the same settings within the last minute. Both are
// shown: the same target asked again and again (as Prometheus asks), and a new
// domain in each request (so its check runs every time).
//
// The parts of a probe are shown too: the service's probe() called by threads
// of its own process (no HTTP), and a sensor made, scanned and destroyed
// through the module's exports by a minimal host in the client process.
//
// Three processes share the work, so that each figure counts only its own
// side: the DNS servers, the clients (HTTP clients, the minimal host or the
// bare pattern), and the service (this process). CPU per request is the service process's; CPU
// per query is the querying process's; the clients' own CPU per request is
// shown beside. The machine is shared: the load average is printed with every
// figure, and the rows take turns for several rounds, each round's /probe rate
// divided by the bare rate of the same round; the median of those is the result.
//
//   probe_bench [--seconds 5] [--rounds 3] [--clients 1,64] [--only same,new,http,probe,module,bare]
//
// The probes' server binds 127.96.0.1:53 (the precondition of dns_v2 asks
// port 53), which needs the right to bind port 53.

#include "bare_cares_pattern.hpp"
#include "forked_child.hpp"
#include "process_usage.hpp"
#include "server_child.hpp"

#include <host_session.hpp>
#include <http_endpoints.hpp>
#include <probe_request.hpp>
#include <probe_service.hpp>

#include <ares.h>
#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

using namespace std::chrono_literals;
namespace bench = vantrel::kelvane::bench;
namespace service = vantrel::kelvane::probe::service;

constexpr const char* device = "127.96.0.1";

enum class load { same_target, new_domain, healthy, module, bare };

struct command {
    load what = load::bare;
    int clients = 1;
    double seconds = 5;
    std::uint16_t port = 0; // the service's or the bare server's
};

struct outcome {
    long done = 0;
    long failed = 0;
    double elapsed = 0;
    double cpu = 0;      // of the client process
    double switches = 0; // context switches of the client process
};

// Runs `clients` threads, each calling its own `one` until `seconds` have passed.
template <typename F> outcome closed_loop(int clients, double seconds, F make_client) {
    std::atomic<bool> stop{false};
    std::atomic<long> done{0};
    std::atomic<long> failed{0};
    std::vector<std::thread> threads;
    const auto before = bench::process_usage::now();
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < clients; ++i) {
        threads.emplace_back([&, i] {
            auto one = make_client(i);
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
    outcome o;
    o.done = done;
    o.failed = failed;
    o.elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const auto used = bench::process_usage::now() - before;
    o.cpu = used.cpu_seconds;
    o.switches = static_cast<double>(used.switches);
    return o;
}

// A dns_v2 sensor made, scanned and destroyed through the module's exports,
// with the settings /probe gives it: what a probe costs without HTTP.
outcome module_load(const command& c) {
    static vantrel::kelvane::probe::host_session session(WEXO_MODULE_PATH);
    static const vantrel::kelvane::probe::manifest_model manifest(session.manifest(true));
    static const auto settings =
        service::parse_probe_request({{"kind", "dns_v2"}, {"target", device}, {"domain", "www.bench.test"}}, {},
                                     manifest)
            .settings;
    static std::atomic<std::int32_t> next_id{1};
    return closed_loop(c.clients, c.seconds, [&](int) {
        return [] {
            const std::int32_t id = next_id++;
            if (session.create_sensor(id, settings) != 0) {
                return false;
            }
            const auto code = session.scan(id);
            const auto result = session.take_scan_result(id);
            session.destroy(id);
            return code == 0 && result && result->response_code() == 0;
        };
    });
}

outcome run_load(const command& c) {
    if (c.what == load::module) {
        return module_load(c);
    }
    if (c.what == load::bare) {
        const bench::bare_cares_pattern pattern(c.port, 5000);
        return closed_loop(c.clients, c.seconds,
                           [&](int) { return [&pattern] { return pattern.query("www.bench.test") == 1; }; });
    }
    std::atomic<long> serial{0};
    return closed_loop(c.clients, c.seconds, [&](int) {
        auto client = std::make_shared<httplib::Client>("127.0.0.1", c.port);
        client->set_keep_alive(true);
        client->set_tcp_nodelay(true);
        client->set_read_timeout(10s);
        return [client, &c, &serial] {
            if (c.what == load::healthy) {
                const auto res = client->Get("/-/healthy");
                return res && res->status == 200;
            }
            const std::string domain =
                c.what == load::same_target ? "www.bench.test" : "q" + std::to_string(serial++) + ".bench.test";
            const auto res = client->Get("/probe?kind=dns_v2&target=" + std::string(device) + "&domain=" + domain);
            return res && res->status == 200 &&
                   res->body.find("wexo_probe_success{domain=\"" + domain + "\",record_type=\"A\"} 1") !=
                       std::string::npos;
        };
    });
}

// The clients in a child process of their own, forked before this process
// has threads; it runs one command after the other from a pipe.
class load_process {
public:
    load_process()
        : child_([](int from_parent, int to_parent) {
              ares_library_init(ARES_LIB_INIT_ALL);
              command c;
              while (bench::forked_child::get(from_parent, c)) {
                  bench::forked_child::put(to_parent, run_load(c));
              }
          }) {}

    outcome run(const command& c) {
        outcome o;
        if (!child_.send(c) || !child_.receive(o)) {
            std::cerr << "probe_bench: the client process did not answer\n";
        }
        return o;
    }

private:
    bench::forked_child child_;
};

// One row: the rate, then CPU and context switches per operation of the
// serving process (`serving`: the service, or the client process itself).
void print_row(int clients, const char* what, const outcome& o, const bench::process_usage& serving) {
    const double n = o.done == 0 ? 1 : static_cast<double>(o.done);
    std::printf("%-8d %-42s %7.0f/s %8.1f us %6.1f %8.1f us  (load %s)", clients, what,
                static_cast<double>(o.done) / o.elapsed, serving.cpu_seconds * 1e6 / n,
                static_cast<double>(serving.switches) / n, o.cpu * 1e6 / n, bench::load_average().c_str());
    if (o.failed != 0) {
        std::printf("  %ld failed", o.failed);
    }
    std::printf("\n");
    std::fflush(stdout);
}

// The client process's own usage, for rows where it does all the work.
bench::process_usage own(const outcome& o) {
    bench::process_usage u;
    u.cpu_seconds = o.cpu;
    u.switches = static_cast<std::int64_t>(o.switches);
    return u;
}

// The rows, in the order each round runs them.
struct row {
    const char* option;
    const char* label;
};
constexpr row rows[] = {
    {"same", "/probe, same target (check remembered)"},
    {"new", "/probe, new domain each time (check runs)"},
    {"http", "HTTP alone: /-/healthy"},
    {"probe", "service's probe() without HTTP"},
    {"module", "module: sensor made, scanned, destroyed"},
    {"bare", "bare c-ares pattern"},
};

constexpr std::size_t bare_row = std::size(rows) - 1;

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const auto middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::vector<std::string> split(const char* list) {
    std::vector<std::string> items;
    std::stringstream in(list);
    for (std::string item; std::getline(in, item, ',');) {
        items.push_back(item);
    }
    return items;
}

} // namespace

int main(int argc, char** argv) {
    double seconds = 5;
    int rounds = 3;
    std::vector<int> concurrency = {1, 64};
    std::vector<std::string> only;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--seconds") == 0) {
            seconds = std::stod(argv[i + 1]);
        } else if (std::strcmp(argv[i], "--rounds") == 0) {
            rounds = std::max(1, std::stoi(argv[i + 1]));
        } else if (std::strcmp(argv[i], "--clients") == 0) {
            concurrency.clear();
            for (const auto& n : split(argv[i + 1])) {
                concurrency.push_back(std::stoi(n));
            }
        } else if (std::strcmp(argv[i], "--only") == 0) {
            only = split(argv[i + 1]);
        } else {
            std::cerr << "usage: probe_bench [--seconds S] [--rounds R] [--clients N,N...]"
                         " [--only same,new,http,probe,module,bare]\n";
            return 2;
        }
    }
    const auto selected = [&](const row& r) {
        return only.empty() || std::find(only.begin(), only.end(), r.option) != only.end();
    };
    bench::server_child servers(device, "probe_bench");
    const std::uint16_t bare_port = servers.bare_port();
    if (!servers.running()) {
        std::cerr << "probe_bench: the servers did not start (binding " << device << ":53 needs the right to)\n";
        return 1;
    }
    int max_clients = 1;
    for (const int c : concurrency) {
        max_clients = std::max(max_clients, c);
    }
    {
        load_process clients;
        ares_library_init(ARES_LIB_INIT_ALL);
        std::ostringstream quiet;
        service::service_log log(quiet, "text", "error");
        const service::steady_clock clock;
        service::service_options options;
        options.module_path = WEXO_MODULE_PATH;
        service::probe_service probes(options, log, clock);
        probes.start(service::service_config{});
        service::http_endpoints http(
            probes, [] { return std::string(); }, static_cast<std::size_t>(max_clients));
        const auto port = http.listen("127.0.0.1", 0);
        const auto settings =
            service::parse_probe_request({{"kind", "dns_v2"}, {"target", device}, {"domain", "www.bench.test"}}, {},
                                         probes.manifest())
                .settings;

        std::printf("%-8s %-42s %9s %11s %6s %11s\n", "clients", "", "rate", "CPU/op", "cs/op", "client CPU");
        std::printf("%-8s %-42s %9s %11s %6s %11s\n", "", "", "", "(serving process)", "", "/op");
        for (const int n : concurrency) {
            // The rows take turns, round after round, so that each ratio
            // compares runs of the same few seconds of a shared machine.
            std::vector<double> ratios[2];
            for (int round = 0; round < rounds; ++round) {
                double rates[std::size(rows)] = {};
                for (std::size_t r = 0; r < std::size(rows); ++r) {
                    if (!selected(rows[r])) {
                        continue;
                    }
                    const std::string what = rows[r].option;
                    outcome o;
                    bench::process_usage serving;
                    if (what == "same" || what == "new" || what == "http") {
                        const auto before = bench::process_usage::now();
                        o = clients.run({what == "same"  ? load::same_target
                                         : what == "new" ? load::new_domain
                                                         : load::healthy,
                                         n, seconds, port});
                        serving = bench::process_usage::now() - before;
                    } else if (what == "probe") {
                        // The service's part without HTTP: its probe() called
                        // by threads of its own process.
                        const auto before = bench::process_usage::now();
                        o = closed_loop(n, seconds,
                                        [&](int) { return [&] { return probes.probe(settings, false).success; }; });
                        serving = bench::process_usage::now() - before;
                    } else {
                        o = clients.run({what == "module" ? load::module : load::bare, n, seconds,
                                         what == "bare" ? bare_port : std::uint16_t{0}});
                        serving = own(o);
                    }
                    print_row(n, rows[r].label, o, serving);
                    rates[r] = static_cast<double>(o.done) / o.elapsed;
                }
                // Only the rows that ran (--only may leave either out).
                std::string line;
                for (std::size_t k = 0; k < 2 && rates[bare_row] > 0; ++k) {
                    if (rates[k] > 0) {
                        ratios[k].push_back(rates[k] / rates[bare_row]);
                        char part[48];
                        std::snprintf(part, sizeof part, " %s %.3f", k == 0 ? "same target" : "new domain",
                                      rates[k] / rates[bare_row]);
                        line += part;
                    }
                }
                if (!line.empty()) {
                    std::printf("%-8d round %d, rate / bare:%s\n", n, round + 1, line.c_str());
                }
            }
            for (std::size_t k = 0; k < 2; ++k) {
                if (!ratios[k].empty()) {
                    std::printf("%-8d median rate / bare over %zu rounds, %s: %.3f%s\n", n, ratios[k].size(),
                                k == 0 ? "same target" : "new domain", median(ratios[k]),
                                k == 0 && n == 64 ? " (target >= 0.90)" : "");
                }
            }
        }
        http.stop();
        probes.stop();
    }
    servers.stop();
    ares_library_cleanup();
    return 0;
}
