#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vantrel::kelvane::probe {

// A subcommand that the program adds beside info, scan and check (the
// service lives in a library above this one): `add` declares it on the
// command line, `run` runs it with the module path when it was chosen.
struct extra_command {
    std::function<CLI::App*(CLI::App&)> add;
    std::function<int(const std::string& module_path)> run;
};

// The whole wexo-probe command: `arguments` without the program name.
// Results go to `out`, errors and the sensor log to `err`; every line passes
// one filter that masks secure setting values and makes control characters
// from answers and settings visible as \DDD. Returns the exit code: 0 OK,
// 1 warning, 2 critical, 3 unknown (the probe could not tell), or CLI11's
// code for a malformed command line.
int run_cli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
            const std::vector<extra_command>& extra = {});

} // namespace vantrel::kelvane::probe
