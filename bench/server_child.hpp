#pragma once

// The benchmarks' DNS servers in a child process of their own, so that their
// CPU time is not counted as the measured side's: port 53 of `device` (which
// the modules' preconditions ask) and an ephemeral port on 127.0.0.1 for the
// bare pattern. Both answer every A question with 192.0.2.1.

#include "forked_child.hpp"

#include <test_support/fake_dns_server.hpp>

#include <ares.h>

#include <cstdint>
#include <exception>
#include <iostream>

namespace vantrel::kelvane::bench {

class server_child {
public:
    // `who` names the benchmark in an error line.
    server_child(const char* device, const char* who)
        : child_([device, who](int from_parent, int to_parent) {
              using test_support::dns_action;
              using test_support::dns_request;
              using test_support::fake_dns_server;
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
                  forked_child::put(to_parent, port);
                  char c;
                  forked_child::get(from_parent, c); // until the parent ends or stops it
              } catch (const std::exception& e) {
                  std::cerr << who << ": server: " << e.what() << '\n';
                  forked_child::put(to_parent, port);
              }
          }) {
        if (!child_.receive(bare_port_)) {
            bare_port_ = 0;
        }
    }

    // Whether both servers run.
    bool running() const { return child_.started() && bare_port_ != 0; }
    std::uint16_t bare_port() const { return bare_port_; }

    void stop() { child_.finish(); }

private:
    forked_child child_;
    std::uint16_t bare_port_ = 0;
};

} // namespace vantrel::kelvane::bench
