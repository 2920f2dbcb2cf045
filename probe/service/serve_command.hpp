#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vantrel::kelvane::probe::service {

struct serve_options {
    std::string config_path;
    std::string listen; // overrides the file's
    std::string log_format = "text";
    std::string log_level = "info";
    std::string sensor_log_dir;
    std::string language = "English";
};

// Adds `serve` and its options to the command line.
CLI::App* add_serve_command(CLI::App& app, serve_options& options);

// Runs the service until SIGTERM or SIGINT; SIGHUP reloads the configuration.
// 0 after a clean stop; 1 when the configuration or the listen address cannot
// be used, or scans were still running when it had to stop.
int run_serve(const serve_options& options, const std::string& module_path);

} // namespace vantrel::kelvane::probe::service
