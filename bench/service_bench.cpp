// wexo-probe serve at scale: N dns_v2 sensors against a loopback server.
// Reports scans per second achieved against scheduled, how late scans start
// behind their due time (p50, p99, max), CPU seconds per scan and RSS per
// configured sensor. With --soak it runs until a number of scans and reports
// RSS after warm-up and at the end.
//
// CPU per scan is set beside the same scans without the service, each run
// at the same time as the service in a process of its own, at the scheduled
// pace and with as many threads as the service has workers (a paced pool, see
// paced_pool.hpp): the module's scans through its exports (what the module
// costs), and the bare c-ares pattern (what the DNS question costs). The bare
// pattern in a loop on one thread is shown too: it is cheaper than any paced
// run, because its caches stay warm and no thread waits for a due time.
//
// The window is cut into slices (12 unless --slices says otherwise), and the
// three are compared slice by slice as well: the median of the slices' ratios
// is the figure that the target is held against.
//
// --module-sensors N lets the module's baseline scan only N of the sensors in
// turn (at the same pace), which shows how much of what it costs beyond the
// bare pattern comes from holding many sensors. --calibrate 1 runs a second
// bare pattern in the module's place: two processes that do the same work,
// so their ratio shows how far this way of measuring can be trusted.
//
//   service_bench [--sensors 1000] [--interval 60] [--workers 64] [--slices 12] [--module-sensors N]
//                 [--calibrate 1] [--soak 1000000]
//
// The DNS server runs in a child process, so that its CPU time is not counted
// as the service's. It binds port 53 of 127.95.0.1, which the precondition of
// dns_v2 asks, so this needs the right to bind port 53.

#include "bare_cares_pattern.hpp"
#include "forked_child.hpp"
#include "paced_pool.hpp"
#include "process_usage.hpp"
#include "server_child.hpp"

#include <host_session.hpp>
#include <probe_service.hpp>

#include <ares.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

using namespace std::chrono_literals;
namespace bench = vantrel::kelvane::bench;
namespace probe = vantrel::kelvane::probe;
namespace service = vantrel::kelvane::probe::service;

constexpr const char* device = "127.95.0.1";

struct settings {
    int sensors = 1000;
    int interval = 60;
    int workers = 64;
    long long soak = 0;
    int slices = 12;
    int module_sensors = 0; // 0: as many as the service has
    bool calibrate = false; // a second bare pattern in place of the module
};

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
    std::atomic<long> started{0};
    void add(service::duration lag) {
        started.fetch_add(1, std::memory_order_relaxed);
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

double seconds_since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// CPU and context switches per scan of one way of scanning.
struct cost {
    double cpu = 0;      // seconds per scan
    double switches = 0; // per scan
    long scans = 0;
    long failed = 0;
};

cost per_scan(const bench::process_usage& used, long scans, long failed = 0) {
    const double n = scans == 0 ? 1 : static_cast<double>(scans);
    return {used.cpu_seconds / n, static_cast<double>(used.switches) / n, scans, failed};
}

// The measured window is cut into slices, and every process samples its CPU
// time and the scans it started at the same instants (steady_clock is the
// machine's, the same in every process), so that the service and the ways of
// scanning without it are compared slice by slice: a burst of someone else's
// work on the shared machine falls into the same slice of each, and the
// median of the slices' ratios leaves the slices it spoiled out.
constexpr int max_slices = 60;

struct slice_marks {
    int count = 0; // slices; count + 1 marks
    double cpu[max_slices + 1] = {};
    long scans[max_slices + 1] = {};

    void mark(int k, const bench::process_usage& usage, long started) {
        cpu[k] = usage.cpu_seconds;
        scans[k] = started;
    }
    // CPU seconds per scan in slice k.
    double per_scan(int k) const {
        const long n = scans[k + 1] - scans[k];
        return n > 0 ? (cpu[k + 1] - cpu[k]) / static_cast<double>(n) : 0;
    }
};

std::chrono::steady_clock::time_point slice_mark_time(std::chrono::steady_clock::time_point begin, double window,
                                                      int slices, int k) {
    return begin + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                       std::chrono::duration<double>(window * k / slices));
}

// Samples the process at every mark of the window that begins at `begin`.
template <class Started>
void sample_slices(std::chrono::steady_clock::time_point begin, double window, slice_marks& marks, Started started) {
    for (int k = 0; k <= marks.count; ++k) {
        std::this_thread::sleep_until(slice_mark_time(begin, window, marks.count, k));
        marks.mark(k, bench::process_usage::now(), started());
    }
}

double median_of(std::vector<double> v) {
    return v.empty() ? 0 : percentile(v, 0.5);
}

// A way of scanning without the service, in a child process of its own that
// runs at the same time as the service's measured window, so that both pay
// the same machine's noise. `prepare` runs in the child before the window
// and returns the scan (true when it succeeded).
class paced_child {
public:
    using scan = std::function<bool(long)>;

    paced_child(const char* what, std::function<scan()> prepare, double rate, long count, int workers, int slices,
                double phase)
        : what_(what), child_([&](int from_parent, int to_parent) {
              cost c;
              slice_marks marks;
              marks.count = slices;
              try {
                  const auto job = prepare();
                  bench::forked_child::put(to_parent, char{1}); // ready
                  std::chrono::steady_clock::rep begin_ticks = 0;
                  if (bench::forked_child::get(from_parent, begin_ticks)) {
                      const std::chrono::steady_clock::time_point begin{
                          std::chrono::steady_clock::duration(begin_ticks)};
                      std::atomic<long> failed{0};
                      std::atomic<long> started{0};
                      std::thread sampler([&] {
                          sample_slices(begin, static_cast<double>(count) / rate, marks,
                                        [&] { return started.load(std::memory_order_relaxed); });
                      });
                      const auto before = bench::process_usage::now();
                      bench::run_paced(
                          rate, count, workers,
                          [&](long k) {
                              started.fetch_add(1, std::memory_order_relaxed);
                              if (!job(k)) {
                                  ++failed;
                              }
                          },
                          phase);
                      c = per_scan(bench::process_usage::now() - before, count, failed);
                      sampler.join();
                  }
              } catch (const std::exception& e) {
                  std::cerr << "service_bench: " << what << ": " << e.what() << '\n';
              }
              bench::forked_child::put(to_parent, c);
              bench::forked_child::put(to_parent, marks);
          }) {}

    // Waits until the child is ready; then starts its window, which begins
    // at `begin` for the slices.
    void go(std::chrono::steady_clock::time_point begin) {
        char ready = 0;
        if (child_.receive(ready)) {
            child_.send(begin.time_since_epoch().count());
        }
    }

    // Waits for the child's figures.
    cost result() {
        if (!child_.receive(cost_) || !child_.receive(marks_)) {
            cost_ = {};
            marks_ = {};
        }
        child_.finish();
        return cost_;
    }
    // The child's slices, once result() has returned.
    const slice_marks& marks() const { return marks_; }

    const char* what() const { return what_; }

private:
    const char* what_;
    bench::forked_child child_;
    cost cost_;
    slice_marks marks_;
};

// The module's scans through its exports, with the sensors of the service's
// configuration, each created once and scanned in turn. The host does no more
// than a host must: it takes each result out of the session.
paced_child::scan module_scans(const settings& s) {
    auto session = std::make_shared<probe::host_session>(WEXO_MODULE_PATH);
    const probe::manifest_model manifest(session->manifest(true));
    const auto config = service::parse_config(config_text(s), "bench.yaml", manifest);
    const int sensors = s.module_sensors > 0 ? std::min(s.module_sensors, s.sensors) : s.sensors;
    for (int i = 0; i < sensors; ++i) {
        if (session->create_sensor(i + 1, config.sensors[static_cast<std::size_t>(i)].settings) != 0) {
            throw std::runtime_error("the module refused sensor " + std::to_string(i));
        }
    }
    const auto one = [session, sensors](long k) {
        const auto id = static_cast<std::int32_t>(k % sensors + 1);
        const auto code = session->scan(id);
        const auto result = session->take_scan_result(id);
        return code == 0 && result && result->response_code() == 0;
    };
    bench::run_paced(1e9, sensors, s.workers, one); // each once, as the service did before its window
    return one;
}

paced_child::scan bare_queries(std::uint16_t port) {
    auto pattern = std::make_shared<bench::bare_cares_pattern>(port, 5000);
    return [pattern](long) { return pattern->query("bare.bench.test") == 1; };
}

cost bare_in_a_loop(std::uint16_t port) {
    const bench::bare_cares_pattern pattern(port, 5000);
    constexpr int queries = 2000;
    for (int i = 0; i < 100; ++i) {
        pattern.query("warm.bench.test");
    }
    const auto before = bench::process_usage::now();
    for (int i = 0; i < queries; ++i) {
        pattern.query("bare.bench.test");
    }
    return per_scan(bench::process_usage::now() - before, queries);
}

void print_cost(const char* what, const cost& c, double service_cpu) {
    std::printf("    %-44s %8.1f us %5.1f switches  (service / this: %.2f)", what, c.cpu * 1e6, c.switches,
                c.cpu > 0 ? service_cpu / c.cpu : 0);
    if (c.failed != 0) {
        std::printf(" %ld of %ld failed", c.failed, c.scans);
    }
    std::printf("\n");
}

// The ratios of CPU per scan slice by slice, their medians and spread.
// `first` names the first baseline ("module", or the calibration's second bare pattern).
void print_slices(const slice_marks& service, const slice_marks& module, const slice_marks& bare, int interval,
                  const std::string& first) {
    std::vector<double> service_bare;
    std::vector<double> module_bare;
    std::vector<double> service_module;
    for (int k = 0; k < service.count; ++k) {
        const double sv = service.per_scan(k);
        const double md = module.per_scan(k);
        const double br = bare.per_scan(k);
        if (sv > 0 && md > 0 && br > 0) {
            service_bare.push_back(sv / br);
            module_bare.push_back(md / br);
            service_module.push_back(sv / md);
        }
    }
    if (service_bare.empty()) {
        std::printf("  no slice has scans of all three\n");
        return;
    }
    const auto line = [](const char* what, const std::vector<double>& v) {
        std::printf("    %-20s median %.3f (slices %.3f to %.3f)\n", what, median_of(v),
                    *std::min_element(v.begin(), v.end()), *std::max_element(v.begin(), v.end()));
    };
    std::printf("  CPU per scan, ratios in %zu slices of %.1f s each, all three sampled at the same instants:\n",
                service_bare.size(), static_cast<double>(interval) / service.count);
    line("service / bare", service_bare);
    line((first + " / bare").c_str(), module_bare);
    line(("service / " + first).c_str(), service_module);
}

// Stops the service and tells how long that took (every sensor is destroyed
// and its series removed).
void stop_timed(service::probe_service& probe, int sensors) {
    const auto begin = std::chrono::steady_clock::now();
    const auto before = bench::process_usage::now();
    probe.stop();
    const auto used = bench::process_usage::now() - before;
    std::printf("  stop with %d sensors: %.2f s, %.2f CPU s\n", sensors, seconds_since(begin), used.cpu_seconds);
}

int run(const settings& s) {
    bench::server_child server(device, "service_bench");
    const std::uint16_t bare_port = server.bare_port();
    if (!server.running()) {
        std::cerr << "service_bench: the server did not start (binding " << device << ":53 needs the right to)\n";
        return 1;
    }
    ares_library_init(ARES_LIB_INIT_ALL);
    std::printf("sensors %d, interval %d s, workers %d; load average at start %s\n", s.sensors, s.interval, s.workers,
                bench::load_average().c_str());
    if (s.module_sensors > 0 && s.module_sensors < s.sensors) {
        std::printf("the module's baseline scans %d of the sensors in turn\n", s.module_sensors);
    }
    std::fflush(stdout);
    // Forked before this process has threads: the baselines of the window.
    const double rate = static_cast<double>(s.sensors) / s.interval;
    const long count = static_cast<long>(rate * s.interval);
    std::vector<std::unique_ptr<paced_child>> baselines;
    if (s.soak == 0) {
        // Half a slot apart, so that the two never fall due together; the
        // service's due times are spread over the interval and meet both alike.
        if (s.calibrate) {
            baselines.push_back(std::make_unique<paced_child>(
                "calibration: bare pattern, phase 0", [&] { return bare_queries(bare_port); }, rate, count, s.workers,
                s.slices, 0.0));
        } else {
            baselines.push_back(std::make_unique<paced_child>(
                "module through its exports, same pace", [&] { return module_scans(s); }, rate, count, s.workers,
                s.slices, 0.0));
        }
        baselines.push_back(std::make_unique<paced_child>(
            "bare c-ares pattern, same pace", [&] { return bare_queries(bare_port); }, rate, count, s.workers, s.slices,
            0.5));
    }
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
        const double rss_before = bench::rss_kib();
        probe.start(config);
        const auto interval = std::chrono::seconds(s.interval);

        if (s.soak > 0) {
            const long long warm_up = std::min<long long>(s.soak / 10, 100000);
            double rss_warm = 0;
            double heap_warm = 0;
            long long done_warm = 0;
            bench::process_usage usage_warm;
            long long next_report = warm_up + s.soak / 10;
            const auto begin = std::chrono::steady_clock::now();
            for (;;) {
                std::this_thread::sleep_for(1s);
                const auto done = static_cast<long long>(scans(probe, s.sensors));
                if (rss_warm == 0 && done >= warm_up) {
                    rss_warm = bench::rss_kib();
                    done_warm = done;
                    usage_warm = bench::process_usage::now();
                    heap_warm = bench::heap_in_use_kib();
                    std::printf("soak: RSS after %lld scans (warm-up, %.0f s): %.0f KiB, heap in use %.0f KiB\n", done,
                                seconds_since(begin), rss_warm, heap_warm);
                    std::fflush(stdout);
                } else if (rss_warm != 0 && done < s.soak && done >= next_report) {
                    // The course in between: growth that levels off is the
                    // allocator's, growth that goes on is a leak.
                    const double rss = bench::rss_kib();
                    const double heap = bench::heap_in_use_kib();
                    std::printf("soak: RSS after %lld scans: %.0f KiB (%+.2f %%), heap in use %.0f KiB (%+.2f %%)\n",
                                done, rss, 100.0 * (rss - rss_warm) / rss_warm, heap,
                                100.0 * (heap - heap_warm) / heap_warm);
                    std::fflush(stdout);
                }
                while (next_report <= done) {
                    next_report += s.soak / 10;
                }
                if (done >= s.soak) {
                    const double rss_end = bench::rss_kib();
                    const auto used = bench::process_usage::now() - usage_warm;
                    const double heap_end = bench::heap_in_use_kib();
                    std::printf(
                        "soak: RSS after %lld scans (end, %.0f s): %.0f KiB, change %+.2f %% (goal: within 5 %%); "
                        "heap in use %.0f KiB (%+.2f %%)\n",
                        done, seconds_since(begin), rss_end, 100.0 * (rss_end - rss_warm) / rss_warm, heap_end,
                        100.0 * (heap_end - heap_warm) / heap_warm);
                    std::printf("soak: after warm-up %.1f us CPU and %.1f switches per scan; RSS %.2f KiB per sensor\n",
                                used.cpu_seconds * 1e6 / static_cast<double>(done - done_warm),
                                static_cast<double>(used.switches) / static_cast<double>(done - done_warm),
                                (rss_end - rss_before) / s.sensors);
                    break;
                }
            }
            stop_timed(probe, s.sensors);
        } else {
            // One interval for every sensor to be created and scanned once,
            // then one interval measured.
            std::this_thread::sleep_for(interval + 2s);
            const double rss_steady = bench::rss_kib();
            const auto scans_before = scans(probe, s.sensors);
            const auto usage_before = bench::process_usage::now();
            {
                std::lock_guard lock(lags.mutex);
                // Room for the window's starts, so that recording them does not
                // grow the vector inside the window the service is measured in.
                lags.seconds.reserve(static_cast<std::size_t>(2 * count));
                lags.on = true;
            }
            const auto window_begin = std::chrono::steady_clock::now();
            for (auto& b : baselines) {
                b->go(window_begin);
            }
            slice_marks marks;
            marks.count = s.slices;
            sample_slices(window_begin, s.interval, marks,
                          [&] { return lags.started.load(std::memory_order_relaxed); });
            const double window = seconds_since(window_begin);
            const auto used = bench::process_usage::now() - usage_before;
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
            const auto service_cost = per_scan(used, static_cast<long>(done));
            std::printf("  scans/s: %.1f achieved, %.1f scheduled\n", static_cast<double>(done) / window, rate);
            std::printf(
                "  start lag behind due time: p50 %.4f s, p99 %.4f s, max %.4f s (%zu starts; target p99 <= 1 s)\n",
                p50, p99, max_lag, lag.size());
            std::printf(
                "  RSS: %.0f KiB before, %.0f KiB with every sensor scanned: %.2f KiB per sensor (target <= 16)\n",
                rss_before, rss_steady, (rss_steady - rss_before) / s.sensors);
            std::printf("  all sensors scanned: %s; load average after the window %s\n", ready ? "yes" : "no",
                        bench::load_average().c_str());
            std::printf("  CPU per scan, all threads of a process; the others run in processes of their own at\n"
                        "  the same time, at the scheduled pace, with as many threads as the service has workers:\n");
            print_cost("service (wexo-probe serve)", service_cost, service_cost.cpu);
            for (auto& b : baselines) {
                print_cost(b->what(), b->result(), service_cost.cpu);
            }
            print_cost("bare c-ares pattern, one thread in a loop", bare_in_a_loop(bare_port), service_cost.cpu);
            if (baselines.size() == 2) {
                print_slices(marks, baselines[0]->marks(), baselines[1]->marks(), s.interval,
                             s.calibrate ? "calibration" : "module");
            }
            std::printf("  target: service / bare at the same pace <= 1.10 (median of the slices); load average at the "
                        "end %s\n",
                        bench::load_average().c_str());
            std::fflush(stdout);
            stop_timed(probe, s.sensors);
            code = ready ? 0 : 1;
        }
    }
    server.stop();
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
        } else if (flag == "--slices") {
            s.slices = static_cast<int>(value);
        } else if (flag == "--module-sensors") {
            s.module_sensors = static_cast<int>(value);
        } else if (flag == "--calibrate") {
            s.calibrate = value != 0;
        } else {
            std::cerr
                << "usage: service_bench [--sensors N] [--interval S] [--workers N] [--slices N] [--module-sensors N] "
                   "[--calibrate 1] [--soak SCANS]\n";
            return 2;
        }
    }
    if (s.sensors <= 0 || s.interval <= 0 || s.workers <= 0 || s.slices <= 0 || s.slices > max_slices ||
        s.module_sensors < 0) {
        std::cerr << "service_bench: sensors, interval and workers must be positive, module sensors not negative, "
                     "slices 1 to "
                  << max_slices << "\n";
        return 2;
    }
    return run(s);
}
