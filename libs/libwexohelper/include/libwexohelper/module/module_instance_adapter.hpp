#pragma once

#include <liblog/log_interface.hpp>
#include <libwexohelper/messaging/wexo_message.hpp>
#include <libwexohelper/module/module_instance.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vantrel::kelvane::libwexohelper::module {

// Turns each export into a call on the module's dispatcher, traced with
// "### Begin" / "### End" lines in the runtime log. Returns the dispatcher's
// codes unchanged; errors propagate to the export layer.
class module_instance_adapter {
public:
    // Throws std::invalid_argument for a null module. Registers the runtime
    // log and the sensor log in the module's container and makes the runtime
    // log (instance_not_available when the module has no message service).
    explicit module_instance_adapter(std::unique_ptr<module_instance> module);
    ~module_instance_adapter();

    std::int32_t create_sensor_instance(int id, const void* settings, std::uint32_t size);
    std::int32_t destroy_sensor_instance(int id);
    std::int32_t execute_check(int id, const void* settings, std::uint32_t size);
    std::int32_t execute_meta_scan(int id, std::uint32_t selector, const void* settings, std::uint32_t size);
    std::int32_t execute_sensor_scan(int id);
    void get_module_information(bool load_languages);
    // The module information's envelope bytes, serialised on the first request
    // for each flag: a host asks for their size and then for the bytes.
    std::shared_ptr<const messaging::envelope_bytes> get_module_information_as_bytes(bool include_texts);

    // Writes a line to the runtime log; never throws.
    void log(const std::string& message, std::int32_t level = liblog::level_detail) const noexcept;

    module_instance& module() const noexcept { return *module_; }

private:
    std::unique_ptr<module_instance> module_;
    std::shared_ptr<liblog::log_interface> runtime_log_;
    std::mutex information_mutex_;
    std::shared_ptr<const messaging::envelope_bytes> information_[2]; // without, with texts
};

} // namespace vantrel::kelvane::libwexohelper::module
