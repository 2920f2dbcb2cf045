#pragma once

// A DNS server program (named, rbldnsd) that a test suite starts on loopback
// in its own temporary folder and stops again by PID.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vantrel::kelvane::test_support {

// Starts `argv` (its program as argv[0]) with stdin from /dev/null and its
// output in files (`stderr_file` may be the same as `stdout_file`). With
// `own_group` it leads a process group of its own, so that killing -PID also
// ends the helpers it starts. Returns its PID, or 0 when it could not start.
pid_t spawn_program(const std::vector<std::string>& argv, const std::filesystem::path& stdout_file,
                    const std::filesystem::path& stderr_file, bool own_group = false);

// The exit code of `pid` (128 + signal when a signal ended it), or nothing
// when it is still running after `limit`.
std::optional<int> wait_for_exit(pid_t pid, std::chrono::milliseconds limit);

// A loopback port that is free for both UDP and TCP right now (0 if none was found).
std::uint16_t free_loopback_port();

class server_process {
public:
    // Makes an empty temporary folder named after `name` and this process.
    explicit server_process(const std::string& name);
    // Stops the program (SIGTERM, then SIGKILL after a grace period) and removes the folder.
    ~server_process();
    server_process(const server_process&) = delete;
    server_process& operator=(const server_process&) = delete;

    const std::filesystem::path& directory() const noexcept { return directory_; }

    // Starts `program` with `arguments`, its output going to a log file in the
    // folder, and waits until `ready` returns true. Returns an empty text on
    // success, otherwise why it failed (with the program's log).
    std::string start(const std::string& program, const std::vector<std::string>& arguments,
                      const std::function<bool()>& ready, std::chrono::milliseconds timeout);

    std::string log_text() const;
    void stop();

private:
    std::filesystem::path directory_;
    std::string name_;
    pid_t pid_ = 0;
};

} // namespace vantrel::kelvane::test_support
