#include "serve_handoff.hpp"

#include "terminal_text.hpp"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <climits>
#include <cstring>
#include <iostream>
#include <string>
#include <unistd.h>

namespace vantrel::kelvane::probe {
namespace {

std::string own_directory() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0) {
        return {};
    }
    const std::string self(path, static_cast<std::size_t>(length));
    return self.substr(0, self.rfind('/') + 1);
}

std::string service_program() {
    const std::string directory = own_directory();
    const std::string beside = directory + WEXO_SERVE_PROGRAM_NAME;
    if (access(beside.c_str(), X_OK) == 0) {
        return beside;
    }
    return directory + WEXO_SERVE_PROGRAM_INSTALLED;
}

} // namespace

extra_command serve_handoff(char** argv) {
    return {[](CLI::App& app) {
                auto* serve = app.add_subcommand("serve", serve_description);
                // Everything after "serve" is the service program's to read, --help too.
                serve->prefix_command();
                serve->set_help_flag();
                return serve;
            },
            [argv](const std::string&) {
                const std::string program = service_program();
                std::cout.flush();
                execv(program.c_str(), argv);
                const int error = errno;
                std::cerr << "wexo-probe: cannot start the service program " << escape_controls(program) << ": "
                          << std::strerror(error) << '\n';
                return 3;
            }};
}

} // namespace vantrel::kelvane::probe
