#pragma once

// wexo-probe serve as a child process of a test, with its configuration in a
// folder of the test's own; stopped by its PID.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace vantrel::kelvane::tests {

namespace fs = std::filesystem;

inline std::string read_text(const fs::path& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void write_text(const fs::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

// The service as a child process; killed by its PID if a test leaves it running.
class serve_process {
public:
    serve_process(const fs::path& config, const fs::path& directory) : stderr_path_(directory / "stderr.log") {
        const std::vector<std::string> args = {WEXO_PROBE_PATH,    "--module",
                                               WEXO_MODULE_PATH,   "serve",
                                               "--config",         config.string(),
                                               "--listen",         "127.0.0.1:0",
                                               "--sensor-log-dir", (directory / "sensors").string()};
        std::vector<char*> argv;
        for (const auto& a : args) {
            argv.push_back(const_cast<char*>(a.c_str()));
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, stderr_path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
            pid_ = 0;
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    ~serve_process() {
        if (pid_ != 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    bool started() const { return pid_ != 0; }
    std::string log() const { return read_text(stderr_path_); }
    void signal(int number) const { kill(pid_, number); }

    // The port from the "listening" line, within `limit`.
    std::optional<int> port(std::chrono::seconds limit) const {
        static const std::regex listening("listening address=127\\.0\\.0\\.1:([0-9]+)");
        for (auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;) {
            std::smatch m;
            const std::string text = log();
            if (std::regex_search(text, m, listening)) {
                return std::stoi(m[1]);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return std::nullopt;
    }

    // The exit code, or nothing when the process has not ended within `limit`.
    std::optional<int> wait(std::chrono::seconds limit) {
        for (auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;) {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = 0;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return std::nullopt;
    }

private:
    fs::path stderr_path_;
    pid_t pid_ = 0;
};

} // namespace vantrel::kelvane::tests
