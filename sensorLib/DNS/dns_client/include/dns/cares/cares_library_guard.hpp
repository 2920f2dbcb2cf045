#pragma once

// Keeps the c-ares library (and, on Windows, Winsock) usable for as long as a
// client lives. The library itself is initialised once per process, on the
// first guard, and cleaned up at process exit; a failed initialisation is
// retried by the next guard.

namespace vantrel::kelvane::cares {

class cares_library_guard {
public:
    // Throws an exceptions::query_failed subclass when ares_library_init fails.
    // Thread-safe.
    cares_library_guard();
    ~cares_library_guard();

    cares_library_guard(const cares_library_guard&) = delete;
    cares_library_guard& operator=(const cares_library_guard&) = delete;
};

} // namespace vantrel::kelvane::cares
