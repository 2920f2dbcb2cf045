#include "http_endpoints.hpp"

#include "probe_service.hpp"

#include <httplib.h>

#include <stdexcept>

namespace vantrel::kelvane::probe::service {
namespace {

constexpr const char* text_plain = "text/plain; charset=utf-8";
constexpr const char* prometheus_text = "text/plain; version=0.0.4; charset=utf-8";

} // namespace

http_endpoints::http_endpoints(probe_service& service, std::function<std::string()> reload)
    : service_(service), reload_(std::move(reload)), server_(std::make_unique<httplib::Server>()) {
    auto& s = *server_;
    // A stalled client must not hold a connection thread for long.
    s.set_read_timeout(std::chrono::seconds(5));
    s.set_write_timeout(std::chrono::seconds(5));
    s.set_payload_max_length(64 * 1024);

    s.Get("/metrics", [this](const httplib::Request&, httplib::Response& res) {
        res.set_content(service_.metrics_text(), prometheus_text);
    });
    s.Get("/-/healthy", [](const httplib::Request&, httplib::Response& res) {
        res.set_content("wexo-probe is healthy.\n", text_plain);
    });
    s.Get("/-/ready", [this](const httplib::Request&, httplib::Response& res) {
        if (service_.ready()) {
            res.set_content("wexo-probe is ready.\n", text_plain);
        } else {
            res.status = 503;
            res.set_content("wexo-probe is not ready: some sensors have not been scanned yet.\n", text_plain);
        }
    });
    s.Post("/-/reload", [this](const httplib::Request&, httplib::Response& res) {
        const std::string problem = reload_();
        if (problem.empty()) {
            res.set_content("Configuration reloaded.\n", text_plain);
        } else {
            res.status = 400;
            res.set_content(problem + "\n", text_plain);
        }
    });
}

http_endpoints::~http_endpoints() {
    stop();
}

std::uint16_t http_endpoints::listen(const std::string& address, std::uint16_t port) {
    int bound = port;
    if (port == 0) {
        bound = server_->bind_to_any_port(address);
    } else if (!server_->bind_to_port(address, port)) {
        bound = -1;
    }
    if (bound <= 0) {
        throw std::runtime_error("cannot listen on " + address + ":" + std::to_string(port));
    }
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // stop() is only heard by a server that runs; wait for it to start (bounded).
    for (int i = 0; i < 500 && !server_->is_running(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return static_cast<std::uint16_t>(bound);
}

void http_endpoints::stop() {
    if (thread_.joinable()) {
        server_->stop();
        thread_.join();
    }
}

} // namespace vantrel::kelvane::probe::service
