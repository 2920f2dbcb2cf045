#pragma once

// Loads the built module exactly as a host does, and records
// every message its callback delivers.

#include <module_loader.hpp>
#include <wexo_host.pb.h>
#include <wexo_module.h>

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace vantrel::kelvane::tests {

namespace wire = vantrel::kelvane::host_wire;

struct delivered {
    uint64_t context;
    wire::Envelope envelope;
};

// The module loaded through the probe's own loader, which also checks every
// entry point and the API level. `initialize` and `cleanup` are shorthands.
class loaded_module : public probe::module_loader::entry_points {
public:
    loaded_module() : loader_(WEXO_MODULE_PATH) { static_cast<entry_points&>(*this) = loader_.api(); }
    ~loaded_module() { cleanup_module(); }
    loaded_module(const loaded_module&) = delete;
    loaded_module& operator=(const loaded_module&) = delete;

    int32_t initialize(uint64_t context, wexo_host_callback callback) { return initialize_module(context, callback); }
    int32_t cleanup() { return cleanup_module(); }

private:
    probe::module_loader loader_;
};

// Everything the callback received, in order. Thread-safe.
class message_log {
public:
    static void callback(uint64_t context, const uint8_t* data, uint32_t size) {
        wire::Envelope envelope;
        EXPECT_TRUE(envelope.ParseFromArray(data, static_cast<int>(size))) << "undecodable message";
        std::lock_guard lock(instance().mutex_);
        instance().messages_.push_back({context, std::move(envelope)});
    }
    static message_log& instance() {
        static message_log log;
        return log;
    }
    std::vector<delivered> take() {
        std::lock_guard lock(mutex_);
        return std::exchange(messages_, {});
    }
    // Runtime log lines only.
    std::vector<std::string> take_runtime_lines() {
        std::vector<std::string> lines;
        for (const auto& m : take()) {
            if (m.envelope.has_log_message() && m.envelope.log_message().source() == wire::LogMessage::RUNTIME) {
                lines.push_back(m.envelope.log_message().text());
            }
        }
        return lines;
    }

private:
    std::mutex mutex_;
    std::vector<delivered> messages_;
};

using settings_map = std::map<std::string, std::string>;

inline std::string sensor_data(const std::string& kind, const settings_map& settings = {},
                               const std::map<int, std::string>& channels = {}) {
    wire::SensorData data;
    data.set_kind(kind);
    data.mutable_settings()->insert(settings.begin(), settings.end());
    data.mutable_channels()->insert(channels.begin(), channels.end());
    return data.SerializeAsString();
}

inline const std::string dns_v2_key = "dns_sensor_section.dns_sensor_group.";

inline settings_map common_settings(const std::string& host) {
    return {{"host", host}, {"logging", "disabled"}, {"timeout", "10"}, {"ipversion", "IPv4"}, {"interval", "60"}};
}

// A dns_v2 sensor that asks 127.0.0.1 on `port` for the A records of `domain`, without a filter.
inline settings_map dns_v2_settings(const std::string& domain, std::uint16_t port) {
    auto s = common_settings("127.0.0.1");
    s[dns_v2_key + "domain"] = domain;
    s[dns_v2_key + "record_type"] = "A";
    s[dns_v2_key + "query_timeout"] = "5";
    s[dns_v2_key + "apply_filter"] = "disabled";
    s[dns_v2_key + "filter"] = "";
    s[dns_v2_key + "port"] = std::to_string(port);
    return s;
}

inline const uint8_t* bytes_of(const std::string& s) {
    return reinterpret_cast<const uint8_t*>(s.data());
}
inline uint32_t size_of(const std::string& s) {
    return static_cast<uint32_t>(s.size());
}

} // namespace vantrel::kelvane::tests
