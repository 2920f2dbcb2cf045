#include <libwexohelper/logging/host_log.hpp>
#include <libwexohelper/messaging/module_information_message.hpp>
#include <libwexohelper/module/module_instance_adapter.hpp>
#include <libwexohelper/settings/sensor_data_wrapper.hpp>

#include <stdexcept>

namespace vantrel::kelvane::libwexohelper::module {
namespace {

constexpr const char* qualified = "vantrel::kelvane::libwexohelper::module::module_instance_adapter::";

// Logs "### Begin name ###" when made; end() logs "### End   name ###". The
// End line marks an operation that returned: an exception leaves without it,
// and the export layer logs its reason instead.
class trace {
public:
    trace(const module_instance_adapter& adapter, const char* operation) : adapter_(adapter), operation_(operation) {
        adapter_.log(std::string("### Begin ") + qualified + operation_ + " ###");
    }
    template <class T> T end(T result) const {
        adapter_.log(std::string("### End   ") + qualified + operation_ + " ###");
        return result;
    }
    void end() const { adapter_.log(std::string("### End   ") + qualified + operation_ + " ###"); }

private:
    const module_instance_adapter& adapter_;
    const char* operation_;
};

} // namespace

module_instance_adapter::module_instance_adapter(std::unique_ptr<module_instance> module) : module_(std::move(module)) {
    if (!module_) {
        throw std::invalid_argument("module_instance_adapter: module_instance must not be null");
    }
    register_runtime_log(module_->container());
    register_sensor_log(module_->container());
}

module_instance_adapter::~module_instance_adapter() = default;

void module_instance_adapter::log(const std::string& message, std::int32_t level) const noexcept {
    try {
        module_->container()->get_instance<liblog::log_interface>()->log(level, message);
    } catch (...) {
        // Logging must never change the outcome of the call it describes.
    }
}

std::int32_t module_instance_adapter::create_sensor_instance(int id, const void* settings, std::uint32_t size) {
    trace t(*this, "create_sensor_instance");
    const settings::sensor_data_wrapper wrapper(settings, size);
    log(wrapper.to_json());
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->create_sensor_instance(id, wrapper)));
}

std::int32_t module_instance_adapter::destroy_sensor_instance(int id) {
    trace t(*this, "destroy_sensor_instance");
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->destroy_sensor_instance(id)));
}

std::int32_t module_instance_adapter::execute_check(int id, const void* settings, std::uint32_t size) {
    trace t(*this, "execute_check");
    const settings::sensor_data_wrapper wrapper(settings, size);
    log(wrapper.to_json());
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->execute_check(id, wrapper)));
}

std::int32_t module_instance_adapter::execute_meta_scan(int id, std::uint32_t selector, const void* settings,
                                                        std::uint32_t size) {
    trace t(*this, "execute_meta_scan");
    const settings::sensor_data_wrapper wrapper(settings, size);
    log(wrapper.to_json());
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->execute_meta_scan(id, selector, wrapper)));
}

std::int32_t module_instance_adapter::execute_sensor_scan(int id) {
    trace t(*this, "execute_sensor_scan");
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->execute_sensor_scan(id)));
}

void module_instance_adapter::get_module_information(bool load_languages) {
    trace t(*this, "get_module_information");
    log(std::string("Do loadLanguages: ") + (load_languages ? "Yes" : "No"));
    const messaging::module_information_message message(module_->module_information(), load_languages);
    module_->container()->get_instance<messaging::message_service_interface>()->send(message);
    t.end();
}

std::vector<std::uint8_t> module_instance_adapter::get_module_information_as_bytes(bool include_texts) {
    trace t(*this, "get_module_information_as_bytes");
    log(std::string("Include texts: ") + (include_texts ? "Yes" : "No"));
    const messaging::module_information_message message(module_->module_information(), include_texts);
    return t.end(message.serialize());
}

} // namespace vantrel::kelvane::libwexohelper::module
