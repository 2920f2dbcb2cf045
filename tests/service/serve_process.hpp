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

#include <sys/wait.h>

#include <test_support/server_process.hpp>

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
        pid_ = test_support::spawn_program({WEXO_PROBE_PATH, "--module", WEXO_MODULE_PATH, "serve", "--config",
                                            config.string(), "--listen", "127.0.0.1:0", "--sensor-log-dir",
                                            (directory / "sensors").string()},
                                           "/dev/null", stderr_path_);
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
        const auto code = test_support::wait_for_exit(pid_, limit);
        if (code) {
            pid_ = 0;
        }
        return code;
    }

private:
    fs::path stderr_path_;
    pid_t pid_ = 0;
};

} // namespace vantrel::kelvane::tests
