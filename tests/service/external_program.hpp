#pragma once

// A program a test runs to its end (a browser dumping a page), its output
// captured, killed by its PID when it outlasts its time.

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <signal.h>
#include <sys/wait.h>

#include "serve_process.hpp"

namespace vantrel::kelvane::tests {

struct program_run {
    std::optional<int> exit_code; // nothing when it had to be killed
    std::string output;           // stdout
    std::string errors;           // stderr
};

inline program_run run_program(const std::vector<std::string>& args, const fs::path& directory,
                               std::chrono::seconds limit) {
    const auto out_path = directory / "program.out";
    const auto err_path = directory / "program.err";
    program_run run;
    const pid_t pid = test_support::spawn_program(args, out_path, err_path, /*own_group=*/true);
    if (pid == 0) {
        run.errors = "cannot start " + args[0];
        return run;
    }
    run.exit_code = test_support::wait_for_exit(pid, limit);
    if (!run.exit_code) {
        kill(-pid, SIGKILL); // the program and the helpers it started
        waitpid(pid, nullptr, 0);
        run.errors = "killed after " + std::to_string(limit.count()) + " s\n";
    }
    run.output = read_text(out_path);
    run.errors += read_text(err_path);
    return run;
}

} // namespace vantrel::kelvane::tests
