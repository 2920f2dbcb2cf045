#pragma once

#include <atomic>
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

// Every HTTP route of the service, in one place: /metrics, /probe, the status
// page (/ and /status), /api/sensors, /sensors/NAME/log, /-/healthy,
// /-/ready and POST /-/reload.
class http_endpoints {
public:
    // `reload` re-reads the configuration; it returns the reason when the
    // file was refused, and an empty text when the new file runs. At most
    // `max_probes` /probe requests run at once; one more is answered 503.
    http_endpoints(probe_service& service, std::function<std::string()> reload, std::size_t max_probes = 64);
    ~http_endpoints();
    http_endpoints(const http_endpoints&) = delete;
    http_endpoints& operator=(const http_endpoints&) = delete;

    // Binds the address (port 0: any free port) and serves on a thread of its
    // own. Returns the bound port; throws std::runtime_error when it cannot bind.
    std::uint16_t listen(const std::string& address, std::uint16_t port);
    void stop();

private:
    void add_probe_route();
    void add_status_routes();

    probe_service& service_;
    std::size_t max_probes_;
    std::atomic<std::size_t> probes_in_flight_{0};
    std::function<std::string()> reload_;
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
};

} // namespace vantrel::kelvane::probe::service
