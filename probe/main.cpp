// wexo-probe: loads a sensor module and lets a person drive it: describe the
// module, create a sensor from the manifest's defaults and your settings, scan
// it once or repeatedly, run a check, and read the results. Built twice: as
// wexo-probe, whose serve command hands over to the service program, and as
// that program, wexo-probe-serve, with the service inside.

#include "cli.hpp"
#ifdef WEXO_WITH_SERVICE
#include "service/serve_command.hpp"
#elif defined(WEXO_SERVE_HANDOFF)
#include "serve_handoff.hpp"
#endif

#include <iostream>

int main(int argc, char** argv) {
    namespace probe = vantrel::kelvane::probe;
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    std::vector<probe::extra_command> extra;
#ifdef WEXO_WITH_SERVICE
    probe::service::serve_options serve;
    extra.push_back({[&](CLI::App& app) { return probe::service::add_serve_command(app, serve); },
                     [&](const std::string& module_path) { return probe::service::run_serve(serve, module_path); }});
#elif defined(WEXO_SERVE_HANDOFF)
    extra.push_back(probe::serve_handoff(argv));
#endif
    return probe::run_cli(arguments, std::cout, std::cerr, extra);
}
