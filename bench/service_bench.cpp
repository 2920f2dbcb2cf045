// wexo-probe serve at scale: N dns_v2 sensors against a loopback server.
// Reports scans per second achieved against scheduled, how late scans start
// behind their due time (p50, p99, max), CPU seconds per scan beside the bare
// c-ares pattern's, and RSS per configured sensor. With --soak it runs until a
// number of scans and reports RSS after warm-up and at the end.
//
//   service_bench [--sensors 1000] [--interval 60] [--workers 64] [--soak 1000000]
//
// The DNS server runs in a child process, so that its CPU time is not counted
// as the service's. It binds port 53 of 127.95.0.1, which the precondition of
// dns_v2 asks, so this needs the right to bind port 53.

#include "bare_cares_pattern.hpp"

#include <probe_service.hpp>
#include <test_support/fake_dns_server.hpp>

#include <ares.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
namespace service = vantrel::kelvane::probe::service;
using vantrel::kelvane::test_support::dns_action;
using vantrel::kelvane::test_support::dns_request;
using vantrel::kelvane::test_support::fake_dns_server;

constexpr const char* device = "127.95.0.1";

struct settings {
    int sensors = 1000;
    int interval = 60;
    int workers = 64;
    long long soak = 0;
};

double cpu_seconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double rss_kib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::stod(line.substr(6));
        }
    }
    return 0;
}

// The server in a child process: 127.95.0.1:53 for the sensors, and an
// ephemeral port on 127.0.0.1 for the bare pattern, whose number it reports.
pid_t start_server(std::uint16_t& bare_port) {
    int ready[2];
    int done[2];
    if (pipe(ready) != 0 || pipe(done) != 0) {
        return -1;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        close(ready[0]);
        close(done[1]);
        std::uint16_t port = 0;
        try {
            const auto answer = [](const dns_request& r) {
                return r.type == ARES_REC_TYPE_A ? dns_action::answer().a(r.name, "192.0.2.1") : dns_action::answer();
            };
            fake_dns_server sensors(fake_dns_server::options{device, 53});
            fake_dns_server bare;
            sensors.on_request(answer);
            bare.on_request(answer);
            port = bare.port();
            (void)!write(ready[1], &port, sizeof port);
            char c;
            (void)!read(done[0], &c, 1); // until the parent ends
        } catch (const std::exception& e) {
            std::cerr << "service_bench: server: " << e.what() << '\n';
            (void)!write(ready[1], &port, sizeof port);
        }
        _exit(0);
    }
    close(ready[1]);
    close(done[0]);
    if (read(ready[0], &bare_port, sizeof bare_port) != sizeof bare_port || bare_port == 0) {
        return -1;
    }
    return pid;
}

std::string config_text(const settings& s) {
    std::ostringstream out;
    out << "workers: " << s.workers << "\nsensors:\n";
    for (int i = 0; i < s.sensors; ++i) {
        out << "  - {name: s" << i << ", kind: dns_v2, interval: " << s.interval << ", settings: {host: " << device
            << ", domain: host" << i << ".bench.test, query_timeout: 5}}\n";
    }
    return out.str();
}

struct lag_recorder {
    std::mutex mutex;
    std::vector<double> seconds;
    bool on = false;
    void add(service::duration lag) {
        std::lock_guard lock(mutex);
        if (on) {
            seconds.push_back(std::chrono::duration<double>(lag).count());
        }
    }
};

double percentile(std::vector<double>& v, double p) {
    if (v.empty()) {
        return 0;
    }
    const auto k = static_cast<std::size_t>(p * static_cast<double>(v.size() - 1));
    std::nth_element(v.begin(), v.begin() + static_cast<long>(k), v.end());
    return v[k];
}

std::uint64_t scans(service::probe_service& probe, int sensors) {
    std::uint64_t total = 0;
    for (int i = 0; i < sensors; ++i) {
        if (const auto stats = probe.schedule().stats("s" + std::to_string(i))) {
            total += stats->started;
        }
    }
    return total;
}

double bare_cpu_per_query(std::uint16_t port) {
    const vantrel::kelvane::bench::bare_cares_pattern pattern(port, 5000);
    constexpr int queries = 2000;
    for (int i = 0; i < 100; ++i) {
        pattern.query("warm.bench.test");
    }
    const double before = cpu_seconds();
    for (int i = 0; i < queries; ++i) {
        pattern.query("bare.bench.test");
    }
    return (cpu_seconds() - before) / queries;
}

int run(const settings& s) {
    std::uint16_t bare_port = 0;
    const pid_t server = start_server(bare_port);
    if (server <= 0) {
        std::cerr << "service_bench: the server did not start (binding " << device << ":53 needs the right to)\n";
        return 1;
    }
    ares_library_init(ARES_LIB_INIT_ALL);
    std::ostringstream log_text;
    service::service_log log(log_text, "text", "error");
    const service::steady_clock clock;
    lag_recorder lags;
    service::service_options options;
    options.module_path = WEXO_MODULE_PATH;
    options.on_scan_start = [&](service::duration lag) { lags.add(lag); };
    int code = 0;
    {
        service::probe_service probe(options, log, clock);
        const auto config = service::parse_config(config_text(s), "bench.yaml", probe.manifest());
        const double rss_before = rss_kib();
        probe.start(config);
        const auto interval = std::chrono::seconds(s.interval);

        if (s.soak > 0) {
            const long long warm_up = std::min<long long>(s.soak / 10, 100000);
            double rss_warm = 0;
            const auto begin = std::chrono::steady_clock::now();
            for (;;) {
                std::this_thread::sleep_for(1s);
                const auto done = static_cast<long long>(scans(probe, s.sensors));
                if (rss_warm == 0 && done >= warm_up) {
                    rss_warm = rss_kib();
                    std::printf("soak: RSS after %lld scans (warm-up): %.0f KiB\n", done, rss_warm);
                    std::fflush(stdout);
                }
                if (done >= s.soak) {
                    const double rss_end = rss_kib();
                    const double elapsed =
                        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
                    std::printf("soak: RSS after %lld scans (end, %.0f s): %.0f KiB, change %+.2f %%\n", done, elapsed,
                                rss_end, 100.0 * (rss_end - rss_warm) / rss_warm);
                    break;
                }
            }
        } else {
            // One interval for every sensor to be created and scanned once,
            // then one interval measured.
            std::this_thread::sleep_for(interval + 2s);
            const double rss_steady = rss_kib();
            const auto scans_before = scans(probe, s.sensors);
            const double cpu_before = cpu_seconds();
            {
                std::lock_guard lock(lags.mutex);
                lags.on = true;
            }
            const auto window_begin = std::chrono::steady_clock::now();
            std::this_thread::sleep_for(interval);
            const double window =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - window_begin).count();
            const double cpu = cpu_seconds() - cpu_before;
            const auto done = scans(probe, s.sensors) - scans_before;
            std::vector<double> lag;
            {
                std::lock_guard lock(lags.mutex);
                lags.on = false;
                lag = lags.seconds;
            }
            const double max_lag = lag.empty() ? 0 : *std::max_element(lag.begin(), lag.end());
            const double p50 = percentile(lag, 0.50);
            const double p99 = percentile(lag, 0.99);
            const bool ready = probe.ready();
            probe.stop();
            const double bare = bare_cpu_per_query(bare_port);
            const double per_scan = done == 0 ? 0 : cpu / static_cast<double>(done);
            std::printf("sensors %d, interval %d s, workers %d\n", s.sensors, s.interval, s.workers);
            std::printf("  scans/s: %.1f achieved, %.1f scheduled\n", static_cast<double>(done) / window,
                        static_cast<double>(s.sensors) / s.interval);
            std::printf("  start lag behind due time: p50 %.4f s, p99 %.4f s, max %.4f s (%zu starts)\n", p50, p99,
                        max_lag, lag.size());
            std::printf("  CPU per scan: %.1f us (bare c-ares pattern: %.1f us, ratio %.2f)\n", per_scan * 1e6,
                        bare * 1e6, bare > 0 ? per_scan / bare : 0);
            std::printf("  RSS: %.0f KiB before, %.0f KiB with every sensor scanned: %.2f KiB per sensor\n", rss_before,
                        rss_steady, (rss_steady - rss_before) / s.sensors);
            std::printf("  all sensors scanned: %s\n", ready ? "yes" : "no");
            code = ready ? 0 : 1;
        }
    }
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    const std::string errors = log_text.str();
    if (!errors.empty()) {
        std::cerr << errors.substr(0, 2000);
    }
    return code;
}

} // namespace

int main(int argc, char** argv) {
    settings s;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        const long long value = std::atoll(argv[i + 1]);
        if (flag == "--sensors") {
            s.sensors = static_cast<int>(value);
        } else if (flag == "--interval") {
            s.interval = static_cast<int>(value);
        } else if (flag == "--workers") {
            s.workers = static_cast<int>(value);
        } else if (flag == "--soak") {
            s.soak = value;
        } else {
            std::cerr << "usage: service_bench [--sensors N] [--interval S] [--workers N] [--soak SCANS]\n";
            return 2;
        }
    }
    return run(s);
}
