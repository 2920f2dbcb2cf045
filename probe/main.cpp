// wexo-probe: loads a sensor module and lets a person drive it: describe the
// module, create a sensor from the manifest's defaults and your settings, scan
// it once or repeatedly, run a check, and read the results.

#include "host_session.hpp"
#include "manifest_model.hpp"
#include "result_view.hpp"
#include "settings_builder.hpp"

#include <CLI/CLI.hpp>

#include <chrono>
#include <iostream>
#include <thread>

namespace probe = vantrel::kelvane::probe;

namespace {

// Exit codes for a person and for scripts: 0 OK, 1 warning, 2 critical, 3 unknown (the probe could not tell).
constexpr int exit_unknown = 3;

struct options {
    std::string module_path = probe::default_module_path();
    std::string format = "text";
    std::string language = "English";
    std::string kind;
    probe::settings_request settings;
    int id = 1;
    int count = 1;
    double interval = 0;
};

std::string choose_language(const probe::manifest_model& manifest, const std::string& wanted) {
    const auto language = manifest.language_named(wanted);
    if (language.empty()) {
        std::string known;
        for (const auto& l : manifest.languages()) {
            known += " " + l;
        }
        throw std::runtime_error("Unknown language \"" + wanted + "\". Known:" + known);
    }
    return language;
}

std::string limits_text(const probe::setting_description& s) {
    if (!s.minimum && !s.maximum) {
        return "";
    }
    return (s.minimum ? std::to_string(*s.minimum) : std::string("…")) + " to " +
           (s.maximum ? std::to_string(*s.maximum) : std::string("…"));
}

void print_kind(const probe::kind_description& k, const probe::manifest_model& manifest, const std::string& lang) {
    const auto display = manifest.translate(k.name + ".display", {}, lang, k.display);
    std::cout << '\n' << (k.is_check ? "Check  " : "Sensor ") << k.name;
    if (!k.is_check) {
        std::cout << " - " << display << ": " << manifest.translate(k.name + ".description", {}, lang, k.description);
    }
    std::cout << '\n';
    if (!k.required_checks.empty()) {
        std::cout << "  needs check:";
        for (const auto& c : k.required_checks) {
            std::cout << ' ' << c;
        }
        std::cout << '\n';
    }
    std::cout << "  settings (--set KEY=VALUE):\n";
    for (const auto& s : k.settings) {
        const std::string group_key = s.key.substr(s.key.find('.') + 1);
        const auto shown = s.common ? s.display : manifest.translate(group_key + ".display", {}, lang, s.display);
        std::cout << "    " << s.key << '\n' << "        " << shown << " - " << s.type;
        if (const auto l = limits_text(s); !l.empty()) {
            std::cout << ", " << l;
        }
        std::cout << ", default \"" << s.default_value << '"' << (s.required ? ", required" : "");
        if (!s.depends_on.empty()) {
            std::cout << ", used when " << s.depends_on << " is " << s.condition;
        }
        std::cout << '\n';
        if (!s.options.empty()) {
            std::cout << "        values:";
            for (const auto& [value, text] : s.options) {
                std::cout << ' ' << value;
            }
            std::cout << '\n';
        }
    }
}

int run_info(const options& o) {
    probe::host_session session(o.module_path);
    if (o.format == "json") {
        std::cout << session.manifest(true) << '\n';
        return 0;
    }
    const probe::manifest_model manifest(session.manifest(true));
    const auto lang = choose_language(manifest, o.language);
    const auto& meta = manifest.document().value("MetaData", nlohmann::ordered_json::object());
    std::cout << manifest.translate("module.display", {}, lang, meta.value("Display", "")) << " - "
              << manifest.translate("module.description", {}, lang, meta.value("Description", "")) << '\n'
              << "  module " << meta.value("Name", "") << " version " << meta.value("Version", "") << ", API level "
              << session.api_level() << ", " << o.module_path << '\n'
              << "  languages:";
    for (const auto& l : manifest.languages()) {
        std::cout << ' ' << l;
    }
    std::cout << '\n';
    for (const auto& k : manifest.kinds()) {
        print_kind(k, manifest, lang);
    }
    return 0;
}

// Prints why the module refused a request, from its runtime log.
void explain_refusal(probe::host_session& session, const std::string& what, int32_t code) {
    std::cerr << "wexo-probe: " << what << " failed (code " << code << ")";
    bool explained = false;
    for (const auto& line : session.take_runtime_log()) {
        if (line.level <= 3) {
            std::cerr << (explained ? "\n  " : ":\n  ") << line.text;
            explained = true;
        }
    }
    std::cerr << '\n';
}

probe::host_session::log_sink verbose_sink(bool verbose) {
    if (!verbose) {
        return {};
    }
    return [](const probe::log_line& line) {
        if (line.source == probe::wire::LogMessage::SENSOR) {
            std::cerr << line.text << (line.text.ends_with('\n') ? "" : "\n");
        }
    };
}

const probe::kind_description& find_kind(const probe::manifest_model& manifest, const std::string& name, bool check) {
    const auto* kind = manifest.find_kind(name);
    if (kind == nullptr || kind->is_check != check) {
        std::string known;
        for (const auto& n : manifest.kind_names(check)) {
            known += " " + n;
        }
        throw std::runtime_error("\"" + name + "\" is not a " + (check ? "check" : "sensor") +
                                 " of this module. Known:" + known);
    }
    return *kind;
}

// What a scan or a check starts from: the loaded module, its manifest, and
// settings for the requested kind; the runtime log is emptied, so that a
// refusal can be explained from the lines that follow.
struct request {
    request(const options& o, bool check)
        : session(o.module_path, verbose_sink(o.settings.verbose)), manifest(session.manifest(true)),
          language(choose_language(manifest, o.language)),
          settings(probe::build_settings(find_kind(manifest, o.kind, check), o.settings)) {
        session.take_runtime_log();
    }
    probe::host_session session;
    const probe::manifest_model manifest;
    const std::string language;
    const probe::wire::SensorData settings;
};

int run_scan(const options& o) {
    request r(o, false);
    auto& session = r.session;
    const auto& manifest = r.manifest;
    const auto& lang = r.language;
    const auto& settings = r.settings;

    if (const int32_t code = session.create_sensor(o.id, settings); code != 0) {
        explain_refusal(session, "creating the " + o.kind + " sensor", code);
        return exit_unknown;
    }
    int exit_code = 0;
    for (int i = 0; i < o.count; ++i) {
        if (i != 0 && o.interval > 0) {
            std::this_thread::sleep_for(std::chrono::duration<double>(o.interval));
        }
        if (const int32_t code = session.scan(o.id); code != 0) {
            explain_refusal(session, "scanning", code);
            exit_code = exit_unknown;
            continue;
        }
        const auto result = session.take_scan_result(o.id);
        if (!result) {
            std::cerr << "wexo-probe: the scan sent no result.\n";
            exit_code = exit_unknown;
            continue;
        }
        const auto view = probe::evaluate(o.kind, *result, session.channels(o.id), manifest, lang);
        if (o.format == "json") {
            std::cout << probe::render_json(view) << '\n';
        } else if (o.format == "nagios") {
            std::cout << probe::render_nagios(view);
        } else {
            std::cout << probe::render_text(view);
        }
        std::cout.flush();
        exit_code = std::max(exit_code, probe::nagios_exit_code(view));
    }
    session.destroy(o.id);
    return exit_code;
}

int run_check(const options& o) {
    request r(o, true);
    auto& session = r.session;
    const auto& settings = r.settings;
    if (const int32_t code = session.check(o.id, settings); code != 0) {
        explain_refusal(session, "running the " + o.kind + " check", code);
        return exit_unknown;
    }
    const auto result = session.take_check_result(o.id);
    if (!result) {
        std::cerr << "wexo-probe: the check sent no result.\n";
        return exit_unknown;
    }
    const bool passed = result->success();
    if (o.format == "json") {
        std::cout << nlohmann::ordered_json{{"kind", o.kind}, {"status", passed ? "ok" : "error"}, {"success", passed}}
                         .dump(2)
                  << '\n';
    } else if (o.format == "nagios") {
        std::cout << "DNS " << (passed ? "OK" : "CRITICAL") << " - " << o.kind << (passed ? " passed" : " failed")
                  << '\n';
    } else {
        std::cout << o.kind << ": " << (passed ? "PASSED" : "FAILED") << '\n';
    }
    return passed ? 0 : 2;
}

void add_settings_options(CLI::App& command, options& o) {
    command.add_option("--set", o.settings.assignments,
                       "KEY=VALUE: a full key (section.group.setting), a common key (host) or a unique setting "
                       "name; \\n in VALUE is a line break")
        ->allow_extra_args(false);
    command.add_option("--set-file", o.settings.file_assignments, "KEY=PATH: the setting's value is the file's text")
        ->allow_extra_args(false);
    command.add_option("--settings", o.settings.settings_file,
                       "JSON file: a settings message, or an object of key: value texts");
    command.add_option("--id", o.id, "Sensor or check id")->capture_default_str();
    command.add_option("--lang", o.language, "Language of names and messages")->capture_default_str();
    command.add_flag("--verbose,-v", o.settings.verbose, "Turn the sensor log on and show it on stderr");
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"wexo-probe: load a sensor module, run its sensors and checks, and read their results."};
    app.require_subcommand(1);
    options o;
    app.add_option("--module", o.module_path, "Path of the module library")->capture_default_str();

    auto* info = app.add_subcommand("info", "Show the module, its sensors, checks and every setting");
    info->add_option("--format", o.format, "text or json (the manifest)")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
    info->add_option("--lang", o.language, "Language of names")->capture_default_str();

    auto* scan = app.add_subcommand("scan", "Create a sensor, scan it and show the result");
    scan->add_option("kind", o.kind, "Sensor kind, e.g. dns_v2")->required();
    add_settings_options(*scan, o);
    scan->add_option("--format", o.format, "text, json or nagios")
        ->check(CLI::IsMember({"text", "json", "nagios"}))
        ->capture_default_str();
    scan->add_option("--count", o.count, "Number of scans of the same sensor")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    scan->add_option("--interval", o.interval, "Seconds between scans")->check(CLI::NonNegativeNumber);

    auto* check = app.add_subcommand("check", "Run a check and show whether it passed");
    check->add_option("kind", o.kind, "Check kind, e.g. dns_check")->required();
    add_settings_options(*check, o);
    check->add_option("--format", o.format, "text, json or nagios")
        ->check(CLI::IsMember({"text", "json", "nagios"}))
        ->capture_default_str();

    CLI11_PARSE(app, argc, argv);
    try {
        if (info->parsed()) {
            return run_info(o);
        }
        if (scan->parsed()) {
            return run_scan(o);
        }
        if (check->parsed()) {
            return run_check(o);
        }
    } catch (const std::exception& e) {
        std::cerr << "wexo-probe: " << e.what() << '\n';
        return exit_unknown;
    }
    return 0;
}
