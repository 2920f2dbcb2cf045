// wexo-probe: loads a sensor module and lets a person drive it.

#include "host_session.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <iostream>

namespace probe = vantrel::kelvane::probe;

namespace {

int run_info(const std::string& module_path, const std::string& format) {
    probe::host_session session(module_path);
    const std::string manifest = session.manifest(format == "json");
    if (format == "json") {
        std::cout << manifest << '\n';
        return 0;
    }
    const auto doc = nlohmann::ordered_json::parse(manifest, nullptr, false);
    std::cout << "Module:    " << module_path << '\n' << "API level: " << session.api_level() << '\n';
    if (doc.is_discarded()) {
        std::cout << "The module's manifest is not valid JSON.\n";
        return 1;
    }
    if (const auto meta = doc.find("MetaData"); meta != doc.end()) {
        for (const auto& [key, value] : meta->items()) {
            std::cout << key << ": " << (value.is_string() ? value.get<std::string>() : value.dump()) << '\n';
        }
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"wexo-probe: load a sensor module, run its sensors and checks, and read their results."};
    app.require_subcommand(1);
    std::string module_path = probe::default_module_path();
    app.add_option("--module", module_path, "Path of the module library")->capture_default_str();

    std::string format = "text";
    auto* info = app.add_subcommand("info", "Show the module, its sensors, checks and settings");
    info->add_option("--format", format, "Output format")->check(CLI::IsMember({"text", "json"}))->capture_default_str();

    CLI11_PARSE(app, argc, argv);
    try {
        if (info->parsed()) {
            return run_info(module_path, format);
        }
    } catch (const std::exception& e) {
        std::cerr << "wexo-probe: " << e.what() << '\n';
        return 3;
    }
    return 0;
}
