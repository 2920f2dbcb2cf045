#pragma once

// The benchmarks' DNS servers in a child process of their own, so that their
// CPU time is not counted as the measured side's: port 53 of `device` (which
// the modules' preconditions ask) and an ephemeral port on 127.0.0.1 for the
// bare pattern. Both answer every A question with 192.0.2.1.

#include <test_support/fake_dns_server.hpp>

#include <ares.h>

#include <cstdint>
#include <exception>
#include <iostream>

#include <sys/wait.h>
#include <unistd.h>

namespace vantrel::kelvane::bench {

class server_child {
public:
    // `who` names the benchmark in an error line.
    server_child(const char* device, const char* who) {
        using test_support::dns_action;
        using test_support::dns_request;
        using test_support::fake_dns_server;
        int ready[2];
        int done[2];
        if (pipe(ready) != 0 || pipe(done) != 0) {
            return;
        }
        pid_ = fork();
        if (pid_ == 0) {
            close(ready[0]);
            close(done[1]);
            std::uint16_t port = 0;
            try {
                const auto answer = [](const dns_request& r) {
                    return r.type == ARES_REC_TYPE_A ? dns_action::answer().a(r.name, "192.0.2.1")
                                                     : dns_action::answer();
                };
                fake_dns_server on_53(fake_dns_server::options{device, 53});
                fake_dns_server bare;
                on_53.on_request(answer);
                bare.on_request(answer);
                port = bare.port();
                (void)!write(ready[1], &port, sizeof port);
                char c;
                (void)!read(done[0], &c, 1); // until the parent ends or stops it
            } catch (const std::exception& e) {
                std::cerr << who << ": server: " << e.what() << '\n';
                (void)!write(ready[1], &port, sizeof port);
            }
            _exit(0);
        }
        close(ready[1]);
        close(done[0]);
        stop_fd_ = done[1];
        if (pid_ < 0 || read(ready[0], &bare_port_, sizeof bare_port_) != sizeof bare_port_) {
            bare_port_ = 0;
        }
        close(ready[0]);
    }
    ~server_child() { stop(); }
    server_child(const server_child&) = delete;
    server_child& operator=(const server_child&) = delete;

    // Whether both servers run.
    bool running() const { return pid_ > 0 && bare_port_ != 0; }
    std::uint16_t bare_port() const { return bare_port_; }

    void stop() {
        if (stop_fd_ >= 0) {
            close(stop_fd_);
            stop_fd_ = -1;
        }
        if (pid_ > 0) {
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
    }

private:
    pid_t pid_ = -1;
    int stop_fd_ = -1;
    std::uint16_t bare_port_ = 0;
};

} // namespace vantrel::kelvane::bench
