#include "passed_checks.hpp"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <iterator>

namespace vantrel::kelvane::probe::service {
namespace {

// The settings as bytes that depend only on their content: protobuf writes a
// map in no fixed order unless told to sort it.
std::string key_of(const host_wire::SensorData& check) {
    std::string bytes;
    {
        google::protobuf::io::StringOutputStream stream(&bytes);
        google::protobuf::io::CodedOutputStream coded(&stream);
        coded.SetSerializationDeterministic(true);
        check.SerializeToCodedStream(&coded);
    }
    return bytes;
}

} // namespace

passed_checks::passed_checks(duration keep, std::size_t capacity) : keep_(keep), capacity_(capacity) {}

bool passed_checks::passed(const host_wire::SensorData& check, time_point now) {
    if (keep_ <= duration::zero()) {
        return false;
    }
    const auto key = key_of(check);
    std::lock_guard lock(mutex_);
    const auto it = passed_at_.find(key);
    return it != passed_at_.end() && now - it->second < keep_;
}

void passed_checks::remember(const host_wire::SensorData& check, time_point now) {
    if (keep_ <= duration::zero()) {
        return;
    }
    auto key = key_of(check);
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
