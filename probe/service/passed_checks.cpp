#include "passed_checks.hpp"

#include <algorithm>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vantrel::kelvane::probe::service {
namespace {

template <class Map> void append_sorted(std::string& key, const Map& map) {
    std::vector<const typename Map::value_type*> entries;
    entries.reserve(map.size());
    for (const auto& entry : map) {
        entries.push_back(&entry);
    }
    std::sort(entries.begin(), entries.end(), [](const auto* a, const auto* b) { return a->first < b->first; });
    const auto append = [&](std::string_view text) {
        key += std::to_string(text.size());
        key += ':';
        key += text;
    };
    append(std::to_string(entries.size()));
    for (const auto* entry : entries) {
        if constexpr (std::is_integral_v<typename Map::key_type>) {
            append(std::to_string(entry->first));
        } else {
            append(entry->first);
        }
        append(entry->second);
    }
}

// The check's kind and every map of the settings, entries sorted and each text
// prefixed with its length, so that two different checks never share a key.
// Made from the settings as they are: copying them to put the check's kind in
// and serialising them deterministically cost a probe more than the look-up.
std::string check_key(const std::string& check_kind, const host_wire::SensorData& settings) {
    std::string key;
    key.reserve(check_kind.size() + 64 + settings.ByteSizeLong());
    key += std::to_string(check_kind.size());
    key += ':';
    key += check_kind;
    append_sorted(key, settings.settings());
    append_sorted(key, settings.channels());
    append_sorted(key, settings.persistent_data());
    return key;
}

} // namespace

passed_checks::passed_checks(duration keep, std::size_t capacity) : keep_(keep), capacity_(capacity) {}

bool passed_checks::passed(const std::string& check_kind, const host_wire::SensorData& settings, time_point now) {
    if (keep_ <= duration::zero()) {
        return false;
    }
    const auto key = check_key(check_kind, settings);
    std::lock_guard lock(mutex_);
    const auto it = passed_at_.find(key);
    return it != passed_at_.end() && now - it->second < keep_;
}

void passed_checks::remember(const std::string& check_kind, const host_wire::SensorData& settings, time_point now) {
    if (keep_ <= duration::zero()) {
        return;
    }
    auto key = check_key(check_kind, settings);
    std::lock_guard lock(mutex_);
    if (passed_at_.size() >= capacity_ && passed_at_.count(key) == 0) {
        std::erase_if(passed_at_, [&](const auto& entry) { return now - entry.second >= keep_; });
        if (passed_at_.size() >= capacity_) {
            return;
        }
    }
    passed_at_[std::move(key)] = now;
}

} // namespace vantrel::kelvane::probe::service
