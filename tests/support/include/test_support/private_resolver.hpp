#pragma once

// The system resolver is only ever exercised inside a private mount
// namespace whose /etc/resolv.conf names a loopback server, never the
// machine's own.
//
// Call enter_private_resolver(nameserver) first thing in a test body:
// - in the test process it runs this very test again under
//   `unshare --mount`, reports the child's outcome (failure, or a skip where
//   namespaces or the bind mount are refused) and returns false: the body
//   returns at once;
// - in that child it bind-mounts a resolv.conf naming `nameserver` over
//   /etc/resolv.conf, proves it in place and returns true: the body then does
//   its work against the resolver of that file.

#include <string>

namespace vantrel::kelvane::test_support {

bool enter_private_resolver(const std::string& nameserver);

} // namespace vantrel::kelvane::test_support
