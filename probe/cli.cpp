#include "cli.hpp"

#include "channel_limits.hpp"
#include "host_session.hpp"
#include "manifest_model.hpp"
#include "result_view.hpp"
#include "secret_filter.hpp"
#include "settings_builder.hpp"
#include "terminal_text.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <mutex>
#include <sstream>
#include <thread>

namespace vantrel::kelvane::probe {
namespace {

// Exit codes for a person and for scripts: 0 OK, 1 warning, 2 critical, 3 unknown (the probe could not tell).
constexpr int exit_unknown = 3;

// The one way out of the probe. Whatever is written here has its secrets
// masked first; errors and log lines also have their control characters
// escaped (results arrive escaped by their renderer). Log lines come from
// scan threads, hence the lock; secrets are added only while no scan runs.
class console {
public:
    console(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

    secret_filter& secrets() noexcept { return secrets_; }

    // A rendered result, already safe for a terminal.
    void print(std::string_view text) {
        std::lock_guard lock(mutex_);
        out_ << secrets_.redact(text) << std::flush;
    }
    // A message of the probe's own, or lines of the module's logs; line breaks stay line breaks.
    void error(std::string_view text) {
        std::lock_guard lock(mutex_);
        const std::string shown = escape_controls_by_line(secrets_.redact(text));
        err_ << shown << (shown.ends_with('\n') ? "" : "\n") << std::flush;
    }

private:
    std::ostream& out_;
    std::ostream& err_;
    secret_filter secrets_;
    std::mutex mutex_;
};

struct options {
    std::string module_path = default_module_path();
    std::string format = "text";
    std::string language = "English";
    std::string kind;
    settings_request settings;
    std::vector<std::string> limits; // CHANNEL.FIELD=VALUE
    int id = 1;
    int count = 1;
    double interval = 0;
};

std::string choose_language(const manifest_model& manifest, const std::string& wanted) {
    const auto language = manifest.language_named(wanted);
    if (language.empty()) {
        std::string known;
        for (const auto& l : manifest.languages()) {
            known += " " + l;
        }
        throw std::runtime_error("Unknown language " + quoted_value(wanted, false) + ". Known:" + known);
    }
    return language;
}

std::string limits_text(const setting_description& s) {
    if (!s.minimum && !s.maximum) {
        return "";
    }
    return (s.minimum ? std::to_string(*s.minimum) : std::string("…")) + " to " +
           (s.maximum ? std::to_string(*s.maximum) : std::string("…"));
}

void print_kind(std::ostream& out, const kind_description& k, const manifest_model& manifest, const std::string& lang) {
    const auto display = manifest.translate(k.name + ".display", {}, lang, k.display);
    out << '\n' << (k.is_check ? "Check  " : "Sensor ") << k.name;
    if (!k.is_check) {
        out << " - " << display << ": " << manifest.translate(k.name + ".description", {}, lang, k.description);
    }
    out << '\n';
    if (!k.required_checks.empty()) {
        out << "  needs check:";
        for (const auto& c : k.required_checks) {
            out << ' ' << c;
        }
        out << '\n';
    }
    out << "  settings (--set KEY=VALUE):\n";
    for (const auto& s : k.settings) {
        const std::string group_key = s.key.substr(s.key.find('.') + 1);
        const auto shown = s.common ? s.display : manifest.translate(group_key + ".display", {}, lang, s.display);
        out << "    " << s.key << '\n' << "        " << shown << " - " << s.type;
        if (const auto l = limits_text(s); !l.empty()) {
            out << ", " << l;
        }
        out << ", default " << quoted_value(s.default_value, s.secure) << (s.required ? ", required" : "");
        if (!s.depends_on.empty()) {
            out << ", used when " << s.depends_on << " is " << s.condition;
        }
        out << '\n';
        if (!s.options.empty()) {
            out << "        values:";
            for (const auto& [value, text] : s.options) {
                out << ' ' << value;
            }
            out << '\n';
        }
    }
}

int run_info(const options& o, console& io) {
    host_session session(o.module_path);
    if (o.format == "json") {
        io.print(nlohmann::ordered_json::parse(session.manifest(true))
                     .dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) +
                 '\n');
        return 0;
    }
    const manifest_model manifest(session.manifest(true));
    const auto lang = choose_language(manifest, o.language);
    const auto& meta = manifest.document().value("MetaData", nlohmann::ordered_json::object());
    std::ostringstream out;
    out << manifest.translate("module.display", {}, lang, meta.value("Display", "")) << " - "
        << manifest.translate("module.description", {}, lang, meta.value("Description", "")) << '\n'
        << "  module " << meta.value("Name", "") << " version " << meta.value("Version", "") << ", API level "
        << session.api_level() << ", " << o.module_path << '\n'
        << "  languages:";
    for (const auto& l : manifest.languages()) {
        out << ' ' << l;
    }
    out << '\n';
    for (const auto& k : manifest.kinds()) {
        print_kind(out, k, manifest, lang);
    }
    // The module's texts, like every foreign text, are shown inert; the layout's own line breaks stay.
    io.print(escape_controls_by_line(out.str()));
    return 0;
}

// Prints why the module refused a request, from its runtime log.
void explain_refusal(host_session& session, console& io, const std::string& what, int32_t code) {
    std::string text = "wexo-probe: " + what + " failed (code " + std::to_string(code) + ")";
    bool explained = false;
    for (const auto& line : session.take_runtime_log()) {
        if (line.level <= 3) {
            text += (explained ? "\n  " : ":\n  ") + escape_controls(line.text);
            explained = true;
        }
    }
    io.error(text);
}

host_session::log_sink verbose_sink(bool verbose, console& io) {
    if (!verbose) {
        return {};
    }
    return [&io](const log_line& line) {
        if (line.source == wire::LogMessage::SENSOR) {
            io.error(line.text);
        }
    };
}

const kind_description& find_kind(const manifest_model& manifest, const std::string& name, bool check) {
    const auto* kind = manifest.find_kind(name);
    if (kind == nullptr || kind->is_check != check) {
        std::string known;
        for (const auto& n : manifest.kind_names(check)) {
            known += " " + n;
        }
        throw std::runtime_error(quoted_value(name, false) + " is not a " + (check ? "check" : "sensor") +
                                 " of this module. Known:" + known);
    }
    return *kind;
}

// What a scan or a check starts from: the loaded module, its manifest, and
// settings for the requested kind; the runtime log is emptied, so that a
// refusal can be explained from the lines that follow.
struct request {
    request(const options& o, bool check, console& io, const std::vector<std::string>& arguments)
        : session(o.module_path, verbose_sink(o.settings.verbose, io)),
          // One language is shown: the others are most of the manifest and never read.
          manifest(session.manifest(true), {o.language}), language(choose_language(manifest, o.language)),
          settings(secure_first(io, arguments, manifest, find_kind(manifest, o.kind, check), o.settings)) {
        session.take_runtime_log();
    }
    host_session session;
    const manifest_model manifest;
    const std::string language;
    const wire::SensorData settings;

private:
    // The manifest may name secure settings of its own: their values on the
    // command line are known to the filter before any setting is read.
    static wire::SensorData secure_first(console& io, const std::vector<std::string>& arguments,
                                         const manifest_model& manifest, const kind_description& kind,
                                         const settings_request& wanted) {
        io.secrets().add_from_arguments(arguments, secure_setting_names(manifest.kinds()));
        return build_settings(kind, wanted, &io.secrets());
    }
};

int run_scan(const options& o, console& io, const std::vector<std::string>& arguments) {
    channel_limits limits;
    for (const auto& limit : o.limits) {
        add_limit(limits, limit);
    }
    request r(o, false, io, arguments);
    for (const auto& [channel, limit] : limits) {
        if (!r.manifest.text("channel." + channel, "English")) {
            throw std::runtime_error("--limit: \"" + channel + "\" is not a channel of this module.");
        }
    }
    auto& session = r.session;
    if (const int32_t code = session.create_sensor(o.id, r.settings); code != 0) {
        explain_refusal(session, io, "creating the " + o.kind + " sensor", code);
        return exit_unknown;
    }
    int exit_code = 0;
    for (int i = 0; i < o.count; ++i) {
        if (i != 0 && o.interval > 0) {
            std::this_thread::sleep_for(std::chrono::duration<double>(o.interval));
        }
        if (const int32_t code = session.scan(o.id); code != 0) {
            explain_refusal(session, io, "scanning", code);
            exit_code = exit_unknown;
            continue;
        }
        const auto result = session.take_scan_result(o.id);
        if (!result) {
            io.error("wexo-probe: the scan sent no result.");
            exit_code = exit_unknown;
            continue;
        }
        const auto view =
            evaluate(o.kind, *result, apply_limits(*session.channels(o.id), limits), r.manifest, r.language);
        if (o.format == "json") {
            io.print(render_json(view) + '\n');
        } else if (o.format == "nagios") {
            io.print(render_nagios(view));
        } else {
            io.print(render_text(view));
        }
        exit_code = std::max(exit_code, nagios_exit_code(view));
    }
    session.destroy(o.id);
    return exit_code;
}

int run_check(const options& o, console& io, const std::vector<std::string>& arguments) {
    request r(o, true, io, arguments);
    auto& session = r.session;
    if (const int32_t code = session.check(o.id, r.settings); code != 0) {
        explain_refusal(session, io, "running the " + o.kind + " check", code);
        return exit_unknown;
    }
    const auto result = session.take_check_result(o.id);
    if (!result) {
        io.error("wexo-probe: the check sent no result.");
        return exit_unknown;
    }
    const bool passed = result->success();
    if (o.format == "json") {
        io.print(
            nlohmann::ordered_json{{"kind", o.kind}, {"status", passed ? "ok" : "error"}, {"success", passed}}.dump(2) +
            '\n');
    } else if (o.format == "nagios") {
        io.print(std::string("DNS ") + (passed ? "OK" : "CRITICAL") + " - " + o.kind +
                 (passed ? " passed" : " failed") + '\n');
    } else {
        io.print(o.kind + ": " + (passed ? "PASSED" : "FAILED") + '\n');
    }
    return passed ? 0 : 2;
}

void add_settings_options(CLI::App& command, options& o) {
    command
        .add_option("--set", o.settings.assignments,
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

const CLI::Validator at_least_one(
    [](const std::string& text) -> std::string {
        int n = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n);
        if (text.empty() || error != std::errc() || end != text.data() + text.size() || n < 1) {
            return "the number of scans must be a whole number of at least 1, not " + quoted_value(text, false);
        }
        return {};
    },
    "N>=1");

} // namespace

int run_cli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
            const std::vector<extra_command>& extra) {
    console io(out, err);
    // Before CLI11 reads (and perhaps echoes) anything: the common secure settings are known without the module.
    kind_description common;
    common.settings = common_settings();
    io.secrets().add_from_arguments(arguments, secure_setting_names({common}));

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
        ->check(at_least_one)
        ->capture_default_str();
    scan->add_option("--interval", o.interval, "Seconds between scans")->check(CLI::NonNegativeNumber);
    scan->add_option("--limit", o.limits,
                     "CHANNEL.FIELD=VALUE: a limit of the host on a channel, FIELD one of lower_error, "
                     "lower_warning, upper_warning, upper_error (servers_reached.lower_error=50)")
        ->allow_extra_args(false);

    auto* check = app.add_subcommand("check", "Run a check and show whether it passed");
    check->add_option("kind", o.kind, "Check kind, e.g. dns_check")->required();
    add_settings_options(*check, o);
    check->add_option("--format", o.format, "text, json or nagios")
        ->check(CLI::IsMember({"text", "json", "nagios"}))
        ->capture_default_str();

    std::vector<CLI::App*> extra_commands;
    for (const auto& e : extra) {
        extra_commands.push_back(e.add(app));
    }

    try {
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend()); // CLI11 reads from the back
        app.parse(reversed);
    } catch (const CLI::ParseError& e) {
        std::ostringstream parse_out;
        std::ostringstream parse_err;
        const int code = app.exit(e, parse_out, parse_err);
        io.print(parse_out.str());
        if (!parse_err.str().empty()) {
            io.error(parse_err.str());
        }
        return code;
    }
    try {
        if (info->parsed()) {
            return run_info(o, io);
        }
        if (scan->parsed()) {
            return run_scan(o, io, arguments);
        }
        if (check->parsed()) {
            return run_check(o, io, arguments);
        }
        for (std::size_t i = 0; i < extra.size(); ++i) {
            if (extra_commands[i]->parsed()) {
                return extra[i].run(o.module_path);
            }
        }
    } catch (const std::exception& e) {
        io.error(std::string("wexo-probe: ") + e.what());
        return exit_unknown;
    }
    return 0;
}

} // namespace vantrel::kelvane::probe
