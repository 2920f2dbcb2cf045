#pragma once

#include <wexo_module.h>

#include <stdexcept>
#include <string>

namespace vantrel::kelvane::probe {

// A module file opened and its ten entry points found. Each way of failing has
// its own message: the file does not load, an entry point is missing, or the
// module speaks another API level. Unloads the file on destruction.
class module_loader {
public:
    struct entry_points {
        wexo_initialize_module_fn initialize_module = nullptr;
        wexo_get_api_level_fn get_api_level = nullptr;
        wexo_get_module_information_fn get_module_information = nullptr;
        wexo_get_module_information_sync_fn get_module_information_sync = nullptr;
        wexo_create_sensor_instance_fn create_sensor_instance = nullptr;
        wexo_execute_sensor_scan_fn execute_sensor_scan = nullptr;
        wexo_execute_check_fn execute_check = nullptr;
        wexo_execute_meta_scan_fn execute_meta_scan = nullptr;
        wexo_destroy_sensor_instance_fn destroy_sensor_instance = nullptr;
        wexo_cleanup_module_fn cleanup_module = nullptr;
    };

    // Throws std::runtime_error with a message for a person.
    explicit module_loader(const std::string& path);
    ~module_loader();
    module_loader(const module_loader&) = delete;
    module_loader& operator=(const module_loader&) = delete;

    const entry_points& api() const noexcept { return api_; }
    const std::string& path() const noexcept { return path_; }

private:
    void* find(const char* name) const;

    std::string path_;
    void* handle_ = nullptr;
    entry_points api_;
};

// The module built next to this program, or the one named by WEXO_MODULE.
std::string default_module_path();

} // namespace vantrel::kelvane::probe
