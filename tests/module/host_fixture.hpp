#pragma once

// Loads the built module exactly as a host does, and records
// every message its callback delivers.

#include <module_loader.hpp>
#include <wexo_host.pb.h>
#include <wexo_module.h>

#include <gtest/gtest.h>

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

inline std::string settings_bytes(const std::string& kind,
                                  std::initializer_list<std::pair<const std::string, std::string>> settings = {}) {
    wire::SensorData data;
    data.set_kind(kind);
    for (const auto& [key, value] : settings) {
        (*data.mutable_settings())[key] = value;
    }
    return data.SerializeAsString();
}

inline const uint8_t* bytes_of(const std::string& s) { return reinterpret_cast<const uint8_t*>(s.data()); }
inline uint32_t size_of(const std::string& s) { return static_cast<uint32_t>(s.size()); }

} // namespace vantrel::kelvane::tests
