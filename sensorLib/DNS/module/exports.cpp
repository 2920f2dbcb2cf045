// The module's ten entry points: the only code the host calls. Each one
// catches everything, so that no C++ exception ever crosses into the host.

#include <wexo_module.h>
#include <wexo_module_dns.hpp>

#include <libwexohelper/module/module_instance_adapter.hpp>

#include <cstring>
#include <memory>
#include <type_traits>

namespace {

using vantrel::kelvane::dns::WexoModuleDNS;
using vantrel::kelvane::libwexohelper::module::module_instance_adapter;

static_assert(std::is_same_v<wexo_host_callback, vantrel::kelvane::libwexohelper::module::host_callback>,
              "the C callback type and the platform's must agree");

constexpr int32_t ok = 0;
constexpr int32_t refused = 1;
constexpr int32_t caught = 2;
constexpr int32_t not_initialized = 3;

// Empty before InitializeModule and after CleanupModule. Constant-initialised:
// nothing runs when the library is loaded.
std::unique_ptr<module_instance_adapter> holder;

// Leaves the reason for a caught error in the runtime log, where the host finds it.
void log_caught(const char* operation, const char* what) noexcept {
    if (holder) {
        holder->log(std::string(operation) + " failed: " + what, vantrel::kelvane::liblog::level_warning);
    }
}

template <class F> int32_t guarded(const char* operation, F&& call) noexcept {
    if (!holder) {
        return not_initialized;
    }
    try {
        return call(*holder);
    } catch (const std::exception& e) {
        log_caught(operation, e.what());
    } catch (...) {
        log_caught(operation, "unknown error");
    }
    return caught;
}

} // namespace

extern "C" {

WEXO_API int32_t WEXO_CALL InitializeModule(uint64_t context, wexo_host_callback callback) {
    if (holder) {
        holder->log("InitializeModule called on already initialized module.");
        return refused;
    }
    try {
        holder = std::make_unique<module_instance_adapter>(std::make_unique<WexoModuleDNS>(context, callback));
        return ok;
    } catch (...) {
        holder.reset();
        return refused;
    }
}

WEXO_API int32_t WEXO_CALL GetApiLevel(void) {
    return WEXO_API_LEVEL;
}

WEXO_API void WEXO_CALL GetModuleInformation(bool load_languages) {
    guarded("GetModuleInformation", [&](module_instance_adapter& adapter) {
        adapter.get_module_information(load_languages);
        return ok;
    });
}

WEXO_API int32_t WEXO_CALL GetModuleInformationSync(uint8_t* buffer, uint32_t* size, bool include_texts) {
    if (size == nullptr) {
        return refused;
    }
    if (!holder) {
        return caught;
    }
    try {
        const auto bytes = holder->get_module_information_as_bytes(include_texts);
        const uint32_t capacity = *size;
        *size = static_cast<uint32_t>(bytes->size());
        if (buffer == nullptr) {
            return ok;
        }
        if (capacity < bytes->size()) {
            return refused;
        }
        if (bytes->size() != 0) {
            std::memcpy(buffer, bytes->data(), bytes->size());
        }
        return ok;
    } catch (const std::exception& e) {
        log_caught("GetModuleInformationSync", e.what());
    } catch (...) {
        log_caught("GetModuleInformationSync", "unknown error");
    }
    return refused;
}

WEXO_API int32_t WEXO_CALL CreateSensorInstance(int32_t sensor_id, const uint8_t* settings, uint32_t size) {
    return guarded("CreateSensorInstance", [&](module_instance_adapter& adapter) {
        return adapter.create_sensor_instance(sensor_id, settings, size);
    });
}

WEXO_API int32_t WEXO_CALL ExecuteSensorScan(int32_t sensor_id) {
    return guarded("ExecuteSensorScan",
                   [&](module_instance_adapter& adapter) { return adapter.execute_sensor_scan(sensor_id); });
}

WEXO_API int32_t WEXO_CALL ExecuteCheck(int32_t check_id, const uint8_t* settings, uint32_t size) {
    return guarded("ExecuteCheck",
                   [&](module_instance_adapter& adapter) { return adapter.execute_check(check_id, settings, size); });
}

WEXO_API int32_t WEXO_CALL ExecuteMetaScan(int32_t sensor_id, uint32_t selector, const uint8_t* settings,
                                           uint32_t size) {
    return guarded("ExecuteMetaScan", [&](module_instance_adapter& adapter) {
        return adapter.execute_meta_scan(sensor_id, selector, settings, size);
    });
}

WEXO_API int32_t WEXO_CALL DestroySensorInstance(int32_t sensor_id) {
    return guarded("DestroySensorInstance",
                   [&](module_instance_adapter& adapter) { return adapter.destroy_sensor_instance(sensor_id); });
}

WEXO_API int32_t WEXO_CALL CleanupModule(void) {
    // Take the adapter out first, so that the holder is empty even if a
    // destructor misbehaves.
    std::unique_ptr<module_instance_adapter> adapter = std::move(holder);
    try {
        adapter.reset();
    } catch (...) {
    }
    return ok;
}

} // extern "C"
