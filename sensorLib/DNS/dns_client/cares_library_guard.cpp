#include <dns/cares/cares_library_guard.hpp>

#include <dns/cares/channel_setup.hpp>

#include <ares.h>

#ifdef _WIN32
#include <winsock2.h>
#endif

#include <cstdlib>
#include <mutex>

namespace vantrel::kelvane::cares {
namespace {

// Constant-initialised, so nothing runs before main (also inside a DLL).
std::once_flag library_initialised;

void cleanup_library() {
    ares_library_cleanup();
}

void initialise_library() {
    // A throw leaves the flag unset, so the next client tries again.
    throw_on_status(ares_library_init(ARES_LIB_INIT_WIN32));
    std::atexit(cleanup_library);
}

} // namespace

cares_library_guard::cares_library_guard() {
#ifdef _WIN32
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    try {
        std::call_once(library_initialised, initialise_library);
    } catch (...) {
        WSACleanup();
        throw;
    }
#else
    std::call_once(library_initialised, initialise_library);
#endif
}

cares_library_guard::~cares_library_guard() {
#ifdef _WIN32
    WSACleanup();
#endif
}

} // namespace vantrel::kelvane::cares
