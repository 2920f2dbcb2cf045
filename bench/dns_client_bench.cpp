// How much the module's client adds to the channel-per-query pattern it is
// built on: dns_client::query next to a bare c-ares loop that does the same
// (new channel with the same options, one query, wait, cancel, destroy),
// against the same in-process loopback server, interleaved in one run. Prints
// the ratio of the two medians; the target is at most 1.10.

#include "bare_cares_pattern.hpp"
#include "benchmark_setup.hpp"

#include <dns/cares/dns_client.hpp>
#include <test_support/fake_dns_server.hpp>

#include <ares.h>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using vantrel::kelvane::test_support::dns_action;
using vantrel::kelvane::test_support::dns_request;
using vantrel::kelvane::test_support::fake_dns_server;

fake_dns_server& server() {
    static fake_dns_server instance;
    return instance;
}

void start_server() {
    server().on_request([](const dns_request& request) {
        return dns_action::answer().a(request.name, "192.0.2.1").a(request.name, "192.0.2.2");
    });
}

void client_query(benchmark::State& state) {
    vantrel::kelvane::cares::dns_client client("127.0.0.1", 4, server().port(), 2000);
    vantrel::kelvane::liblog::null_logger log;
    for (auto _ : state) {
        auto result = client.query("bench.example", "A", log);
        benchmark::DoNotOptimize(result);
    }
}

void bare_cares_query(benchmark::State& state) {
    const vantrel::kelvane::bench::bare_cares_pattern bare(server().port(), 2000);
    for (auto _ : state) {
        const long answers = bare.query("bench.example");
        if (answers < 0) {
            state.SkipWithError("c-ares channel set-up failed");
            break;
        }
        benchmark::DoNotOptimize(answers);
    }
}

BENCHMARK(client_query)->UseRealTime()->Unit(benchmark::kMicrosecond)->Iterations(40)->Repetitions(12);
BENCHMARK(bare_cares_query)->UseRealTime()->Unit(benchmark::kMicrosecond)->Iterations(40)->Repetitions(12);

// Prints as usual and keeps each benchmark's median real time.
class median_reporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                medians[run.run_name.function_name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    struct median {
        double real;
        double cpu;
    };
    std::map<std::string, median> medians;
};

} // namespace

int main(int argc, char** argv) {
    if (!vantrel::kelvane::bench::initialize_benchmarks(argc, argv)) {
        return 1;
    }
    start_server();
    median_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const auto client = reporter.medians.find("client_query");
    const auto bare = reporter.medians.find("bare_cares_query");
    if (client != reporter.medians.end() && bare != reporter.medians.end() && bare->second.real > 0 &&
        bare->second.cpu > 0) {
        // Real time is dominated by ares_destroy waiting in the kernel and is
        // noisy on a shared machine; CPU time shows what the client itself adds.
        std::printf("median real time: client_query %.1f us, bare c-ares %.1f us, ratio %.3f (target <= 1.10)\n",
                    client->second.real, bare->second.real, client->second.real / bare->second.real);
        std::printf("median CPU time:  client_query %.1f us, bare c-ares %.1f us, ratio %.3f\n", client->second.cpu,
                    bare->second.cpu, client->second.cpu / bare->second.cpu);
    }
    ares_library_cleanup();
    return 0;
}
