#pragma once

// What the service benchmarks measure of their own process: CPU seconds of
// every thread, context switches, RSS, and the machine's load average, which
// they print beside every figure because the machine is shared.

#include <cstdint>
#include <fstream>
#include <string>

#include <malloc.h>
#include <sys/resource.h>

namespace vantrel::kelvane::bench {

struct process_usage {
    double cpu_seconds = 0;        // user + system, all threads, also ended ones
    std::int64_t switches = 0;     // voluntary + involuntary context switches
    std::int64_t minor_faults = 0; // page faults served without I/O

    static process_usage now() {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        process_usage u;
        u.cpu_seconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                        static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
        u.switches = usage.ru_nvcsw + usage.ru_nivcsw;
        u.minor_faults = usage.ru_minflt;
        return u;
    }

    process_usage operator-(const process_usage& earlier) const {
        return {cpu_seconds - earlier.cpu_seconds, switches - earlier.switches, minor_faults - earlier.minor_faults};
    }
};

inline double rss_kib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::stod(line.substr(6));
        }
    }
    return 0;
}

// What the process's allocations hold at the moment (all arenas and large
// blocks), in KiB: set beside the RSS, it tells growing data from an
// allocator that keeps pages it no longer needs.
inline double heap_in_use_kib() {
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / 1024.0;
}

// "1.23 0.98 0.71": the 1, 5 and 15 minute load averages.
inline std::string load_average() {
    std::ifstream file("/proc/loadavg");
    std::string one;
    std::string five;
    std::string fifteen;
    file >> one >> five >> fifteen;
    return one + " " + five + " " + fifteen;
}

} // namespace vantrel::kelvane::bench
