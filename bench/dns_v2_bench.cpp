// What a dns_v2 scan through the module's exports costs next to the bare
// c-ares pattern it is built on, against the same in-process loopback server,
// in one run. The two sides are interleaved so that they share the machine's
// noise (another engineer's build, a frequency change, a noisy neighbour of
// the virtual machine): on one thread a scan and a bare query alternate,
// pair by pair, each timed on its own (wall time and the calling thread's CPU
// time); with 1, 8 and 64 threads (each thread scans its own sensor, as a
// host scans different sensors in parallel) whole repetitions alternate, the
// side that goes first changing every repetition. Figures are medians.
// An IP reputation scan of three blacklist zones is set beside three bare
// queries asked one after the other, interleaved the same way.
// Targets: median scan and calling-thread CPU at most 1.05 times the bare
// pattern's; with 64 threads at least 95 % of the bare pattern's rate.
// Prints the figures with the load average; asserts nothing.
//
//   dns_v2_bench [--pairs 4000] [--repetitions 20] [--seconds 0.25]
//   dns_v2_bench --only scan|bare [--pairs N]   one side alone, on one
//                thread, for a profiler (callgrind, perf record)

#include "bare_cares_pattern.hpp"
#include "process_usage.hpp"

#include <test_support/fake_dns_server.hpp>
#include <wexo_host.pb.h>
#include <wexo_module.h>

#include <ares.h>
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace bench = vantrel::kelvane::bench;
using bench::bare_cares_pattern;
using vantrel::kelvane::test_support::dns_action;
using vantrel::kelvane::test_support::dns_request;
using vantrel::kelvane::test_support::fake_dns_server;

constexpr int max_sensors = 64;
constexpr int thread_counts[] = {1, 8, max_sensors};
constexpr int timeout_ms = 2000;
constexpr const char* domain = "bench.example";
constexpr int reputation_sensor = max_sensors + 1;
const char* const reputation_zones[] = {"bl0.example", "bl1.example", "bl2.example"};

fake_dns_server& server() {
    static fake_dns_server instance;
    return instance;
}

struct module_exports {
    wexo_initialize_module_fn initialize = nullptr;
    wexo_create_sensor_instance_fn create = nullptr;
    wexo_execute_sensor_scan_fn scan = nullptr;
    wexo_cleanup_module_fn cleanup = nullptr;
};
module_exports module;

std::atomic<long> messages_received{0};

// The host's side is kept to a count, so that only the module is measured.
void WEXO_CALL count_messages(uint64_t, const uint8_t*, uint32_t) {
    messages_received.fetch_add(1, std::memory_order_relaxed);
}

bool create_sensor(int id, const vantrel::kelvane::host_wire::SensorData& data) {
    const auto bytes = data.SerializeAsString();
    return module.create(id, reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size())) == 0;
}

bool load_module() {
    void* handle = dlopen(WEXO_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        std::fprintf(stderr, "cannot load %s: %s\n", WEXO_MODULE_PATH, dlerror());
        return false;
    }
    module.initialize = reinterpret_cast<wexo_initialize_module_fn>(dlsym(handle, "InitializeModule"));
    module.create = reinterpret_cast<wexo_create_sensor_instance_fn>(dlsym(handle, "CreateSensorInstance"));
    module.scan = reinterpret_cast<wexo_execute_sensor_scan_fn>(dlsym(handle, "ExecuteSensorScan"));
    module.cleanup = reinterpret_cast<wexo_cleanup_module_fn>(dlsym(handle, "CleanupModule"));
    if (!module.initialize || !module.create || !module.scan || !module.cleanup ||
        module.initialize(1, &count_messages) != 0) {
        std::fprintf(stderr, "the module does not start\n");
        return false;
    }
    // Sensors 1 to 64, all asking the loopback server for two A records.
    const std::string prefix = "dns_sensor_section.dns_sensor_group.";
    for (int id = 1; id <= max_sensors; ++id) {
        vantrel::kelvane::host_wire::SensorData data;
        data.set_kind("dns_v2");
        auto& s = *data.mutable_settings();
        s["host"] = "127.0.0.1";
        s["logging"] = "disabled";
        s["timeout"] = "10";
        s["ipversion"] = "IPv4";
        s["interval"] = "60";
        s[prefix + "domain"] = domain;
        s[prefix + "record_type"] = "A";
        s[prefix + "query_timeout"] = std::to_string(timeout_ms / 1000);
        s[prefix + "apply_filter"] = "disabled";
        s[prefix + "filter"] = "";
        s[prefix + "port"] = std::to_string(server().port());
        if (!create_sensor(id, data)) {
            std::fprintf(stderr, "sensor %d was not created\n", id);
            return false;
        }
    }
    // One IP reputation sensor with three zones on the same server.
    vantrel::kelvane::host_wire::SensorData data;
    data.set_kind("ip_reputation_score_sensor");
    auto& s = *data.mutable_settings();
    const std::string own = "ip_reputation_score_section.ip_reputation_score_group.";
    s["host"] = "192.0.2.10";
    s["logging"] = "disabled";
    s["timeout"] = std::to_string(timeout_ms / 1000);
    s["ipversion"] = "IPv4";
    s["interval"] = "60";
    s[own + "dns_resolver"] = "custom";
    s[own + "custom_resolver"] = "127.0.0.1";
    s[own + "custom_resolver_port"] = std::to_string(server().port());
    std::string zones;
    for (const char* zone : reputation_zones) {
        zones += std::string(zone) + "\n";
    }
    s[own + "blacklist_servers"] = zones;
    if (!create_sensor(reputation_sensor, data) || module.scan(reputation_sensor) != 0) {
        std::fprintf(stderr, "the IP reputation sensor was not created\n");
        return false;
    }
    return true;
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    const auto middle = values.begin() + static_cast<long>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(p * static_cast<double>(values.size() - 1) + 0.5);
    return values[std::min(index, values.size() - 1)];
}

double thread_cpu_us() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

// Per-operation samples of one side, in microseconds.
struct samples {
    std::vector<double> wall;
    std::vector<double> cpu;
    long failed = 0;
};

using operation = std::function<bool()>;

void sample(const operation& op, samples& into) {
    const double cpu_before = thread_cpu_us();
    const auto start = std::chrono::steady_clock::now();
    const bool ok = op();
    const auto end = std::chrono::steady_clock::now();
    const double cpu_after = thread_cpu_us();
    if (!ok) {
        ++into.failed;
        return;
    }
    into.wall.push_back(std::chrono::duration<double, std::micro>(end - start).count());
    into.cpu.push_back(cpu_after - cpu_before);
}

// `pairs` times one of each, the one that goes first alternating, after a
// warm-up of each that is not kept.
void interleaved(const operation& a, const operation& b, int pairs, samples& sa, samples& sb) {
    for (int i = 0; i < std::min(pairs / 10, 200); ++i) {
        a();
        b();
    }
    sa.wall.reserve(static_cast<std::size_t>(pairs));
    sa.cpu.reserve(static_cast<std::size_t>(pairs));
    sb.wall.reserve(static_cast<std::size_t>(pairs));
    sb.cpu.reserve(static_cast<std::size_t>(pairs));
    for (int i = 0; i < pairs; ++i) {
        if (i % 2 == 0) {
            sample(a, sa);
            sample(b, sb);
        } else {
            sample(b, sb);
            sample(a, sa);
        }
    }
}

void print_pair(const char* name_a, const samples& a, const char* name_b, const samples& b, const char* target) {
    const double wall_a = median(a.wall);
    const double wall_b = median(b.wall);
    const double cpu_a = median(a.cpu);
    const double cpu_b = median(b.cpu);
    std::printf("  %-20s median %7.1f us  p95 %7.1f us  CPU of the calling thread median %6.1f us\n", name_a, wall_a,
                percentile(a.wall, 0.95), cpu_a);
    std::printf("  %-20s median %7.1f us  p95 %7.1f us  CPU of the calling thread median %6.1f us\n", name_b, wall_b,
                percentile(b.wall, 0.95), cpu_b);
    std::printf("  ratio: median %.3f, p95 %.3f, CPU %.3f%s\n", wall_a / wall_b,
                percentile(a.wall, 0.95) / percentile(b.wall, 0.95), cpu_a / cpu_b, target);
    if (a.failed + b.failed != 0) {
        std::printf("  failed: %ld and %ld\n", a.failed, b.failed);
    }
}

// Operations per second of `threads` threads running op (which gets the
// thread's index) over `seconds`: the threads are started before the clock,
// released together and told to stop when the time is up; the operations
// under way then finish and count, and so does the time they take.
double threaded_rate(int threads, double seconds, const std::function<bool(int)>& op, long& failed) {
    std::latch ready(threads);
    std::latch go(1);
    std::atomic<bool> stop{false};
    std::atomic<long> done{0};
    std::atomic<long> failures{0};
    std::vector<std::thread> pool;
    pool.reserve(static_cast<std::size_t>(threads));
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            ready.count_down();
            go.wait();
            long mine = 0;
            while (!stop.load(std::memory_order_relaxed)) {
                if (!op(t)) {
                    failures.fetch_add(1, std::memory_order_relaxed);
                }
                ++mine;
            }
            done.fetch_add(mine, std::memory_order_relaxed);
        });
    }
    ready.wait();
    const auto start = std::chrono::steady_clock::now();
    go.count_down();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    stop.store(true, std::memory_order_relaxed);
    for (auto& thread : pool) {
        thread.join();
    }
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    failed += failures.load();
    return static_cast<double>(done.load()) / elapsed;
}

struct options {
    int pairs = 4000;
    int repetitions = 20;
    double seconds = 0.25;
    std::string only;
};

bool parse(int argc, char** argv, options& o) {
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        const std::string value = argv[i + 1];
        if (flag == "--pairs") {
            o.pairs = std::atoi(value.c_str());
        } else if (flag == "--repetitions") {
            o.repetitions = std::atoi(value.c_str());
        } else if (flag == "--seconds") {
            o.seconds = std::atof(value.c_str());
        } else if (flag == "--only" && (value == "scan" || value == "bare")) {
            o.only = value;
        } else {
            return false;
        }
    }
    return argc % 2 == 1 && o.pairs > 0 && o.repetitions > 0 && o.seconds > 0;
}

} // namespace

int main(int argc, char** argv) {
    options o;
    if (!parse(argc, argv, o)) {
        std::fprintf(stderr, "usage: dns_v2_bench [--pairs N] [--repetitions N] [--seconds S] [--only scan|bare]\n");
        return 2;
    }
    ares_library_init(ARES_LIB_INIT_ALL);
    server().on_request([](const dns_request& request) {
        // Blacklist test entries answer as a working blacklist does.
        if (request.name.starts_with("2.0.0.127.")) {
            return dns_action::answer().a(request.name, "127.0.0.2");
        }
        return dns_action::answer().a(request.name, "192.0.2.1").a(request.name, "192.0.2.2");
    });
    if (!load_module()) {
        return 1;
    }
    const bare_cares_pattern bare(server().port(), timeout_ms);
    const operation scan = [] { return module.scan(1) == 0; };
    const operation bare_query = [&] { return bare.query(domain) == 2; };

    if (!o.only.empty()) {
        const operation& op = o.only == "scan" ? scan : bare_query;
        long failed = 0;
        for (int i = 0; i < o.pairs; ++i) {
            failed += op() ? 0 : 1;
        }
        std::printf("%d of %s, %ld failed\n", o.pairs, o.only.c_str(), failed);
        module.cleanup();
        ares_library_cleanup();
        return failed == 0 ? 0 : 1;
    }

    std::printf("load average at start %s\n", bench::load_average().c_str());
    samples scan_samples;
    samples bare_samples;
    interleaved(scan, bare_query, o.pairs, scan_samples, bare_samples);
    std::printf("\nper scan, one thread, %d interleaved pairs; load average %s\n", o.pairs,
                bench::load_average().c_str());
    print_pair("dns_v2 scan", scan_samples, "bare c-ares pattern", bare_samples, " (targets <= 1.05)");

    const std::string names[] = {std::string("10.2.0.192.") + reputation_zones[0],
                                 std::string("10.2.0.192.") + reputation_zones[1],
                                 std::string("10.2.0.192.") + reputation_zones[2]};
    samples reputation_samples;
    samples three_samples;
    interleaved([] { return module.scan(reputation_sensor) == 0; },
                [&] {
                    long answers = 0;
                    for (const auto& name : names) {
                        answers += bare.query(name.c_str());
                    }
                    return answers == 6;
                },
                o.pairs / 4, reputation_samples, three_samples);
    std::printf("\nIP reputation scan of three zones, %d interleaved pairs; load average %s\n", o.pairs / 4,
                bench::load_average().c_str());
    print_pair("reputation scan", reputation_samples, "three bare queries", three_samples, "");

    std::printf("\nscans per second, %d repetitions of %.2f s per side, the sides alternating:\n", o.repetitions,
                o.seconds);
    const std::function<bool(int)> parallel_scan = [](int t) { return module.scan(t + 1) == 0; };
    const std::function<bool(int)> parallel_bare = [&](int) { return bare.query(domain) == 2; };
    for (const int threads : thread_counts) {
        std::vector<double> scan_rates;
        std::vector<double> bare_rates;
        std::vector<double> ratios;
        long failed = 0;
        // Before the runs: the benchmark's own threads count in it afterwards.
        const std::string load = bench::load_average();
        for (int rep = 0; rep < o.repetitions; ++rep) {
            double scan_rate = 0;
            double bare_rate = 0;
            if (rep % 2 == 0) {
                scan_rate = threaded_rate(threads, o.seconds, parallel_scan, failed);
                bare_rate = threaded_rate(threads, o.seconds, parallel_bare, failed);
            } else {
                bare_rate = threaded_rate(threads, o.seconds, parallel_bare, failed);
                scan_rate = threaded_rate(threads, o.seconds, parallel_scan, failed);
            }
            scan_rates.push_back(scan_rate);
            bare_rates.push_back(bare_rate);
            ratios.push_back(scan_rate / bare_rate);
        }
        const double scan_median = median(scan_rates);
        const double bare_median = median(bare_rates);
        std::printf("  %3d threads: dns_v2 %8.1f/s, bare c-ares %8.1f/s, ratio %.3f%s (repetitions' ratios %.3f to "
                    "%.3f); load before %s",
                    threads, scan_median, bare_median, scan_median / bare_median,
                    threads == max_sensors ? " (target >= 0.95)" : "", *std::min_element(ratios.begin(), ratios.end()),
                    *std::max_element(ratios.begin(), ratios.end()), load.c_str());
        if (failed != 0) {
            std::printf("; %ld failed", failed);
        }
        std::printf("\n");
    }
    std::printf("messages received by the host: %ld\n", messages_received.load());
    module.cleanup();
    ares_library_cleanup();
    return 0;
}
