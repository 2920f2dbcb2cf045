#pragma once

// Loads the built module with dlopen, exactly as a host does, and records
// every message its callback delivers.

#include <wexo_host.pb.h>
#include <wexo_module.h>

#include <dlfcn.h>
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

class loaded_module {
public:
    loaded_module() {
        handle_ = dlopen(WEXO_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
        if (handle_ == nullptr) {
            ADD_FAILURE() << "cannot load " << WEXO_MODULE_PATH << ": " << dlerror();
            return;
        }
        bind(initialize, "InitializeModule");
        bind(get_api_level, "GetApiLevel");
        bind(get_module_information, "GetModuleInformation");
        bind(get_module_information_sync, "GetModuleInformationSync");
        bind(create_sensor_instance, "CreateSensorInstance");
        bind(execute_sensor_scan, "ExecuteSensorScan");
        bind(execute_check, "ExecuteCheck");
        bind(execute_meta_scan, "ExecuteMetaScan");
        bind(destroy_sensor_instance, "DestroySensorInstance");
        bind(cleanup, "CleanupModule");
    }
    ~loaded_module() {
        if (handle_ != nullptr) {
            cleanup();
            dlclose(handle_);
        }
    }
    loaded_module(const loaded_module&) = delete;
    loaded_module& operator=(const loaded_module&) = delete;

    wexo_initialize_module_fn initialize = nullptr;
    wexo_get_api_level_fn get_api_level = nullptr;
    wexo_get_module_information_fn get_module_information = nullptr;
    wexo_get_module_information_sync_fn get_module_information_sync = nullptr;
    wexo_create_sensor_instance_fn create_sensor_instance = nullptr;
    wexo_execute_sensor_scan_fn execute_sensor_scan = nullptr;
    wexo_execute_check_fn execute_check = nullptr;
    wexo_execute_meta_scan_fn execute_meta_scan = nullptr;
    wexo_destroy_sensor_instance_fn destroy_sensor_instance = nullptr;
    wexo_cleanup_module_fn cleanup = nullptr;

private:
    template <class F>
    void bind(F& slot, const char* name) {
        slot = reinterpret_cast<F>(dlsym(handle_, name));
        if (slot == nullptr) {
            ADD_FAILURE() << "missing entry point " << name;
        }
    }
    void* handle_ = nullptr;
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
