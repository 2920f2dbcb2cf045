#include "etc_watch.hpp"

#if defined(__linux__)
#include <sys/inotify.h>
#include <unistd.h>
#endif

namespace vantrel::kelvane::probe::service {

#if defined(__linux__)

etc_watch::etc_watch(const std::string& directory) : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    // IN_MODIFY is an event of the files inside, which is what makes the
    // kernel flag them; it is also one of those c-ares asks for, so it adds
    // no kind of event the kernel did not already report.
    if (fd_ >= 0 && inotify_add_watch(fd_, directory.c_str(), IN_MODIFY | IN_ONLYDIR) < 0) {
        close(fd_);
        fd_ = -1;
    }
}

etc_watch::~etc_watch() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

std::size_t etc_watch::drain() noexcept {
    if (fd_ < 0) {
        return 0;
    }
    std::size_t events = 0;
    alignas(inotify_event) char buffer[4096];
    for (;;) {
        const ssize_t got = read(fd_, buffer, sizeof buffer);
        if (got <= 0) {
            return events;
        }
        for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= got;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            ++events;
        }
    }
}

#else

etc_watch::etc_watch(const std::string&) {}
etc_watch::~etc_watch() = default;
std::size_t etc_watch::drain() noexcept {
    return 0;
}

#endif

} // namespace vantrel::kelvane::probe::service
