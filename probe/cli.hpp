#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace vantrel::kelvane::probe {

// The whole wexo-probe command: `arguments` without the program name.
// Results go to `out`, errors and the sensor log to `err`; every line passes
// one filter that masks secure setting values and makes control characters
// from answers and settings visible as \DDD. Returns the exit code: 0 OK,
// 1 warning, 2 critical, 3 unknown (the probe could not tell), or CLI11's
// code for a malformed command line.
int run_cli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace vantrel::kelvane::probe
