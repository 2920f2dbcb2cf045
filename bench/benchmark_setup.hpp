#pragma once

// Shared start of the benchmark programs: benchmark flags with random
// interleaving on (so that the module's and the bare pattern's runs share the
// machine's noise), and c-ares initialised once.

#include <ares.h>
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace vantrel::kelvane::bench {

// False when the command line holds a flag Google Benchmark does not know.
inline bool initialize_benchmarks(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    static std::string interleave = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleave.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return false;
    }
    ares_library_init(ARES_LIB_INIT_ALL);
    return true;
}

} // namespace vantrel::kelvane::bench
