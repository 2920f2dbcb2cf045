#pragma once

#include <cstddef>
#include <string>

namespace vantrel::kelvane::probe::service {

// One inotify watch for changes of the files in a directory (/etc), held from
// construction to destruction; nothing on systems without inotify.
//
// Why: every scan's c-ares channel watches /etc for resolver configuration
// changes, from its creation to its destruction. When a directory gets its
// first watch for changes of its files, the kernel flags every cached entry of
// the directory (fsnotify_set_children_dentry_flags), and with one channel at
// a time that happens on every scan: 30 to 50 us of CPU per scan in
// service_bench, a twentieth of it. A watch held for the service's lifetime
// keeps the flags set, so channels only add theirs. The events it collects
// are never used; drain() drops them so that they do not pile up in the
// kernel (up to its queue limit) while the service runs for months.
class etc_watch {
public:
    // Never throws: without the watch scans only cost more.
    explicit etc_watch(const std::string& directory = "/etc");
    ~etc_watch();
    etc_watch(const etc_watch&) = delete;
    etc_watch& operator=(const etc_watch&) = delete;

    bool held() const noexcept { return fd_ >= 0; }
    // Reads and drops the events that came since the last call, without
    // waiting; returns how many. Thread-safe against itself only.
    std::size_t drain() noexcept;

private:
    int fd_ = -1;
};

} // namespace vantrel::kelvane::probe::service
