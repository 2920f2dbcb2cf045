#include <dns/cares/host_name_lookup.hpp>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace vantrel::kelvane::cares {
namespace {

// Shared by the caller and the look-up thread; whichever leaves last frees it.
struct pending_lookup {
    std::mutex lock;
    std::condition_variable finished;
    bool done = false;
    bool abandoned = false;
    int status = 0;
    addrinfo* list = nullptr;
};

} // namespace

host_name_lookup look_up_host_name(const std::string& name, const addrinfo& hints,
                                   std::chrono::steady_clock::time_point deadline) {
    host_name_lookup outcome;
    if (std::chrono::steady_clock::now() >= deadline) {
        outcome.timed_out = true;
        return outcome;
    }
    auto pending = std::make_shared<pending_lookup>();
    std::thread([pending, name, hints]() {
        addrinfo* list = nullptr;
        const int status = getaddrinfo(name.c_str(), nullptr, &hints, &list);
        const std::lock_guard guard(pending->lock);
        if (pending->abandoned) {
            if (list != nullptr) {
                freeaddrinfo(list);
            }
            return;
        }
        pending->status = status;
        pending->list = list;
        pending->done = true;
        pending->finished.notify_one();
    }).detach();

    std::unique_lock guard(pending->lock);
    if (!pending->finished.wait_until(guard, deadline, [&] { return pending->done; })) {
        pending->abandoned = true;
        outcome.timed_out = true;
        return outcome;
    }
    outcome.status = pending->status;
    outcome.list.reset(pending->list);
    return outcome;
}

} // namespace vantrel::kelvane::cares
