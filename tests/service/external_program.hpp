#pragma once

// A program a test runs to its end (a browser dumping a page), its output
// captured, killed by its PID when it outlasts its time.

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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
    std::vector<char*> argv;
    for (const auto& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    // Its own process group, so that the helpers it starts end with it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    pid_t pid = 0;
    program_run run;
    if (posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ) != 0) {
        run.errors = "cannot start " + args[0];
        pid = 0;
    }
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (pid != 0) {
        for (auto end = std::chrono::steady_clock::now() + limit;;) {
            int status = 0;
            if (waitpid(pid, &status, WNOHANG) == pid) {
                run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                break;
            }
            if (std::chrono::steady_clock::now() >= end) {
                kill(-pid, SIGKILL); // the program and the helpers it started
                run.errors = "killed after " + std::to_string(limit.count()) + " s\n";
                waitpid(pid, nullptr, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        run.output = read_text(out_path);
        run.errors += read_text(err_path);
    }
    return run;
}

} // namespace vantrel::kelvane::tests
