#include "serve_command.hpp"

#include "http_endpoints.hpp"
#include "probe_service.hpp"
#include "serve_handoff.hpp"

#include <csignal>
#include <iostream>
#include <mutex>
#include <pthread.h>

namespace vantrel::kelvane::probe::service {
namespace {

sigset_t service_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGHUP);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
}

} // namespace

CLI::App* add_serve_command(CLI::App& app, serve_options& o) {
    auto* serve = app.add_subcommand("serve", serve_description);
    serve->add_option("--config", o.config_path, "YAML file: sensors, presets, listen address, workers")->required();
    serve->add_option("--listen", o.listen, "ADDRESS:PORT to serve on, instead of the file's (default 127.0.0.1:9353)");
    serve->add_option("--log-format", o.log_format, "text or json")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
    serve->add_option("--log-level", o.log_level, "error, warning, info or debug")
        ->check(CLI::IsMember({"error", "warning", "info", "debug"}))
        ->capture_default_str();
    serve->add_option("--sensor-log-dir", o.sensor_log_dir,
                      "Write the log of every sensor whose logging setting is enabled to DIR/NAME.log");
    serve->add_option("--lang", o.language, "Language of messages")->capture_default_str();
    return serve;
}

int run_serve(const serve_options& o, const std::string& module_path) {
    service_log log(std::cerr, o.log_format, o.log_level);
    // Signals are taken by sigwait below; every thread started from here on
    // inherits the mask, so none of them is interrupted by one.
    const sigset_t signals = service_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    const steady_clock time;
    service_options options;
    options.module_path = module_path;
    options.language = o.language;
    options.sensor_log_dir = o.sensor_log_dir;
    probe_service service(options, log, time);
    if (service.manifest().language_named(o.language).empty()) {
        log.write(log_level::error, "config_error", {{"reason", "unknown language " + o.language}});
        return 1;
    }

    service_config config;
    std::string address;
    std::uint16_t port = 0;
    try {
        config = load_config(o.config_path, service.manifest());
        std::tie(address, port) =
            o.listen.empty() ? std::pair(config.listen_address, config.listen_port) : parse_listen(o.listen);
    } catch (const std::exception& e) {
        log.write(log_level::error, "config_error", {{"reason", e.what()}});
        return 1;
    }

    std::mutex reload_mutex;
    const auto reload = [&]() -> std::string {
        std::lock_guard lock(reload_mutex);
        try {
            const auto next = load_config(o.config_path, service.manifest());
            if (next.listen_address != config.listen_address || next.listen_port != config.listen_port ||
                next.workers != config.workers) {
                log.write(log_level::warning, "reload_partial",
                          {{"reason", "listen and workers take effect at the next start"}});
            }
            service.reload(next);
            return {};
        } catch (const std::exception& e) {
            log.write(log_level::error, "reload_refused", {{"reason", e.what()}});
            return e.what();
        }
    };

    http_endpoints http(service, reload, config.workers);
    try {
        port = http.listen(address, port);
    } catch (const std::exception& e) {
        log.write(log_level::error, "listen_failed", {{"reason", e.what()}});
        return 1;
    }
    service.start(config);
    log.write(log_level::info, "listening", {{"address", address + ":" + std::to_string(port)}});

    for (;;) {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0) {
            continue;
        }
        if (signal == SIGHUP) {
            log.write(log_level::info, "reload", {{"signal", "SIGHUP"}});
            reload();
            continue;
        }
        log.write(log_level::info, "stopping", {{"signal", signal == SIGTERM ? "SIGTERM" : "SIGINT"}});
        break;
    }
    http.stop();
    if (!service.stop()) {
        // A scan is still inside the module: destroying it under that scan
        // is not safe, so the process ends without cleaning the module up.
        std::cerr.flush();
        std::_Exit(1);
    }
    return 0;
}

} // namespace vantrel::kelvane::probe::service
