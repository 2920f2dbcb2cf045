#pragma once

// `wexo-probe serve` runs in a program of its own: the service brings HTTP with
// TLS, YAML and metrics libraries, and a one-shot scan that loaded them would
// spend most of its time binding their symbols. The one-shot program hands a
// serve command over whole to the service program, which reads the same
// command line again and so answers exactly as if it had been run itself.

#include "cli.hpp"

namespace vantrel::kelvane::probe {

// What `wexo-probe --help` says about serve, in both programs.
inline constexpr const char* serve_description = "Run the configured sensors on their schedule and serve their metrics";

// The serve command of the one-shot program: it takes the rest of the command
// line as it stands (help included) and replaces the process with the service
// program, given `argv` unchanged. The service program is looked for beside
// this one, then where an installation puts it. When it cannot be started, the
// reason goes to stderr and the command's code is 3.
extra_command serve_handoff(char** argv);

} // namespace vantrel::kelvane::probe
