// wexo-probe: loads a sensor module and lets a person drive it: describe the
// module, create a sensor from the manifest's defaults and your settings, scan
// it once or repeatedly, run a check, and read the results.

#include "cli.hpp"

#include <iostream>

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return vantrel::kelvane::probe::run_cli(arguments, std::cout, std::cerr);
}
