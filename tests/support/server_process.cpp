#include <test_support/server_process.hpp>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <thread>

extern char** environ;

namespace vantrel::kelvane::test_support {

pid_t spawn_program(const std::vector<std::string>& args, const std::filesystem::path& stdout_file,
                    const std::filesystem::path& stderr_file, bool own_group) {
    std::vector<char*> argv;
    for (const auto& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, stdout_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (stderr_file == stdout_file) {
        posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, stderr_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0644);
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    if (own_group) {
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        posix_spawnattr_setpgroup(&attributes, 0);
    }
    pid_t pid = 0;
    if (argv[0] == nullptr || posix_spawn(&pid, argv[0], &files, &attributes, argv.data(), environ) != 0) {
        pid = 0;
    }
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    return pid;
}

std::optional<int> wait_for_exit(pid_t pid, std::chrono::milliseconds limit) {
    for (const auto end = std::chrono::steady_clock::now() + limit;;) {
        int status = 0;
        if (::waitpid(pid, &status, WNOHANG) == pid) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        if (std::chrono::steady_clock::now() >= end) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

std::uint16_t free_loopback_port() {
    for (int attempt = 0; attempt < 50; ++attempt) {
        const int udp = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(udp, reinterpret_cast<sockaddr*>(&address), length);
        ::getsockname(udp, reinterpret_cast<sockaddr*>(&address), &length);
        const int tcp = ::socket(AF_INET, SOCK_STREAM, 0);
        const bool tcp_free = ::bind(tcp, reinterpret_cast<sockaddr*>(&address), length) == 0;
        ::close(tcp);
        ::close(udp);
        if (tcp_free) {
            return ntohs(address.sin_port);
        }
    }
    return 0;
}

server_process::server_process(const std::string& name)
    : directory_(std::filesystem::temp_directory_path() / ("wexo-" + name + "-" + std::to_string(::getpid()))),
      name_(name) {
    std::filesystem::remove_all(directory_);
    std::filesystem::create_directories(directory_);
    // Servers that drop root privileges must still read their zone files.
    std::filesystem::permissions(directory_, std::filesystem::perms::owner_all | std::filesystem::perms::group_read |
                                                 std::filesystem::perms::group_exec |
                                                 std::filesystem::perms::others_read |
                                                 std::filesystem::perms::others_exec);
}

server_process::~server_process() {
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::string server_process::log_text() const {
    std::ifstream in(directory_ / (name_ + ".log"));
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string server_process::start(const std::string& program, const std::vector<std::string>& arguments,
                                  const std::function<bool()>& ready, std::chrono::milliseconds timeout) {
    const auto log = directory_ / (name_ + ".log");
    std::vector<std::string> argv = {program};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    pid_ = spawn_program(argv, log, log);
    if (pid_ == 0) {
        return "cannot start " + program;
    }

    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = 0;
            return program + " exited during start-up:\n" + log_text();
        }
        if (ready()) {
            return {};
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return program + " was not ready within " + std::to_string(timeout.count()) + " ms:\n" + log_text();
}

void server_process::stop() {
    if (pid_ <= 0) {
        return;
    }
    ::kill(pid_, SIGTERM);
    if (!wait_for_exit(pid_, std::chrono::seconds(5))) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    pid_ = 0;
}

} // namespace vantrel::kelvane::test_support
