#include "http_endpoints.hpp"

#include "probe_exposition.hpp"
#include "probe_request.hpp"
#include "probe_service.hpp"
#include "status_page.hpp"

#include <httplib.h>

#include <optional>
#include <stdexcept>

namespace vantrel::kelvane::probe::service {
namespace {

constexpr const char* text_plain = "text/plain; charset=utf-8";
constexpr const char* prometheus_text = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* html = "text/html; charset=utf-8";
constexpr const char* json = "application/json";
// Threads that are not taken by probes: /metrics, the page and the health
// checks are answered while every probe slot is busy.
constexpr std::size_t spare_threads = 4;

double epoch_seconds() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::optional<double> scrape_timeout(const httplib::Request& req) {
    const auto text = req.get_header_value("X-Prometheus-Scrape-Timeout-Seconds");
    if (text.empty()) {
        return std::nullopt;
    }
    try {
        return std::stod(text);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// Counts a probe in flight for as long as it lives.
class probe_slot {
public:
    probe_slot(std::atomic<std::size_t>& in_flight, std::size_t limit) : in_flight_(in_flight) {
        taken_ = in_flight_.fetch_add(1) < limit;
    }
    ~probe_slot() { in_flight_.fetch_sub(1); }
    probe_slot(const probe_slot&) = delete;
    probe_slot& operator=(const probe_slot&) = delete;
    bool taken() const { return taken_; }

private:
    std::atomic<std::size_t>& in_flight_;
    bool taken_ = false;
};

} // namespace

http_endpoints::http_endpoints(probe_service& service, std::function<std::string()> reload, std::size_t max_probes)
    : service_(service), max_probes_(max_probes), reload_(std::move(reload)),
      server_(std::make_unique<httplib::Server>()) {
    auto& s = *server_;
    // Each probe holds its connection's thread while it scans.
    const std::size_t threads = max_probes_ + spare_threads;
    s.new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
    // A stalled client must not hold a connection thread for long.
    s.set_read_timeout(std::chrono::seconds(5));
    s.set_write_timeout(std::chrono::seconds(5));
    s.set_payload_max_length(64 * 1024);
    // Small answers on kept-alive connections: without this, delayed ACKs add
    // 40 ms to every exchange.
    s.set_tcp_nodelay(true);
    // An idle kept-alive connection holds a pool thread; Prometheus comes back
    // only at its next scrape, so waiting long for it helps nobody.
    s.set_keep_alive_timeout(1);
    // A client that keeps asking (a load balancer, a tight scrape loop) keeps
    // its connection: by default it would be closed after five requests, and
    // each new one costs an accept, a hand-over to a pool thread and a close.
    s.set_keep_alive_max_count(1000);

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
    add_probe_route();
    add_status_routes();
}

void http_endpoints::add_probe_route() {
    server_->Get("/probe", [this](const httplib::Request& req, httplib::Response& res) {
        const probe_slot slot(probes_in_flight_, max_probes_);
        if (!slot.taken()) {
            res.status = 503;
            res.set_content("too many probes in flight (at most " + std::to_string(max_probes_) + ")\n", text_plain);
            return;
        }
        probe_request request;
        try {
            request = service_.probe_reader()->read({req.params.begin(), req.params.end()}, scrape_timeout(req));
        } catch (const bad_probe_request& e) {
            res.status = 400;
            res.set_content(std::string(e.what()) + "\n", text_plain);
            return;
        }
        const auto outcome = service_.probe(request.settings, request.debug);
        if (request.debug) {
            res.set_content(probe_debug_text(request, outcome), text_plain);
        } else {
            res.set_content(probe_metrics_text(request, outcome), prometheus_text);
        }
    });
}

void http_endpoints::add_status_routes() {
    const auto page = [this](const httplib::Request&, httplib::Response& res) {
        res.set_content(render_status_html(snapshot(service_), epoch_seconds()), html);
    };
    server_->Get("/", page);
    server_->Get("/status", page);
    server_->Get("/api/sensors", [this](const httplib::Request&, httplib::Response& res) {
        res.set_content(render_status_json(snapshot(service_)), json);
    });
    server_->Get(R"(/sensors/([A-Za-z0-9_.-]+)/log)", [this](const httplib::Request& req, httplib::Response& res) {
        const std::string name = req.matches[1];
        for (const auto& s : snapshot(service_)) {
            if (s.name == name) {
                std::string text;
                for (const auto& line : s.log) {
                    text += line + (line.ends_with('\n') ? "" : "\n");
                }
                res.set_content(text, text_plain);
                return;
            }
        }
        res.status = 404;
        res.set_content("no sensor " + name + "\n", text_plain);
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
