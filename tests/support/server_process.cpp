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
    const std::string log = (directory_ / (name_ + ".log")).string();
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    const int spawned = posix_spawn(&pid_, program.c_str(), &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (spawned != 0) {
        pid_ = 0;
        return "posix_spawn of " + program + " failed: " + std::to_string(spawned);
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
    int status = 0;
    for (int wait = 0; wait < 250 && ::waitpid(pid_, &status, WNOHANG) == 0; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (::waitpid(pid_, &status, WNOHANG) == 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, &status, 0);
    }
    pid_ = 0;
}

} // namespace vantrel::kelvane::test_support
