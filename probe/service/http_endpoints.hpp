#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
}

namespace vantrel::kelvane::probe::service {

class probe_service;

// Every HTTP route of the service, in one place: /metrics, /-/healthy,
// /-/ready and POST /-/reload.
class http_endpoints {
public:
    // `reload` re-reads the configuration; it returns the reason when the
    // file was refused, and an empty text when the new file runs.
    http_endpoints(probe_service& service, std::function<std::string()> reload);
    ~http_endpoints();
    http_endpoints(const http_endpoints&) = delete;
    http_endpoints& operator=(const http_endpoints&) = delete;

    // Binds the address (port 0: any free port) and serves on a thread of its
    // own. Returns the bound port; throws std::runtime_error when it cannot bind.
    std::uint16_t listen(const std::string& address, std::uint16_t port);
    void stop();

private:
    probe_service& service_;
    std::function<std::string()> reload_;
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
};

} // namespace vantrel::kelvane::probe::service
