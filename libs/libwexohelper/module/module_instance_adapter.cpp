#include <libwexohelper/logging/host_log.hpp>
#include <libwexohelper/messaging/module_information_message.hpp>
#include <libwexohelper/module/module_instance_adapter.hpp>
#include <libwexohelper/settings/sensor_data_wrapper.hpp>

#include <stdexcept>

namespace vantrel::kelvane::libwexohelper::module {
namespace {

// The two trace lines of one operation, built once: every scan writes them.
struct trace_lines {
    explicit trace_lines(const char* operation)
        : begin(std::string("### Begin ") + qualified + operation + " ###"),
          end(std::string("### End   ") + qualified + operation + " ###") {}
    static constexpr const char* qualified = "vantrel::kelvane::libwexohelper::module::module_instance_adapter::";
    const std::string begin;
    const std::string end;
};

// Logs "### Begin name ###" when made; end() logs "### End   name ###". The
// End line marks an operation that returned: an exception leaves without it,
// and the export layer logs its reason instead.
class trace {
public:
    trace(const module_instance_adapter& adapter, const trace_lines& lines) : adapter_(adapter), lines_(lines) {
        adapter_.log(lines_.begin);
    }
    template <class T> T end(T result) const {
        adapter_.log(lines_.end);
        return result;
    }
    void end() const { adapter_.log(lines_.end); }

private:
    const module_instance_adapter& adapter_;
    const trace_lines& lines_;
};

} // namespace

module_instance_adapter::module_instance_adapter(std::unique_ptr<module_instance> module) : module_(std::move(module)) {
    if (!module_) {
        throw std::invalid_argument("module_instance_adapter: module_instance must not be null");
    }
    register_runtime_log(module_->container());
    register_sensor_log(module_->container());
    // Once: every call writes its trace lines, and the container's look-up
    // takes its lock each time.
    runtime_log_ = module_->container()->get_instance<liblog::log_interface>();
}

module_instance_adapter::~module_instance_adapter() = default;

void module_instance_adapter::log(const std::string& message, std::int32_t level) const noexcept {
    try {
        runtime_log_->log(level, message);
    } catch (...) {
        // Logging must never change the outcome of the call it describes.
    }
}

std::int32_t module_instance_adapter::create_sensor_instance(int id, const void* settings, std::uint32_t size) {
    static const trace_lines lines("create_sensor_instance");
    trace t(*this, lines);
    const settings::sensor_data_wrapper wrapper(settings, size);
    log(wrapper.to_json());
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->create_sensor_instance(id, wrapper)));
}

std::int32_t module_instance_adapter::destroy_sensor_instance(int id) {
    static const trace_lines lines("destroy_sensor_instance");
    trace t(*this, lines);
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->destroy_sensor_instance(id)));
}

std::int32_t module_instance_adapter::execute_check(int id, const void* settings, std::uint32_t size) {
    static const trace_lines lines("execute_check");
    trace t(*this, lines);
    const settings::sensor_data_wrapper wrapper(settings, size);
    log(wrapper.to_json());
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->execute_check(id, wrapper)));
}

std::int32_t module_instance_adapter::execute_meta_scan(int id, std::uint32_t selector, const void* settings,
                                                        std::uint32_t size) {
    static const trace_lines lines("execute_meta_scan");
    trace t(*this, lines);
    const settings::sensor_data_wrapper wrapper(settings, size);
    log(wrapper.to_json());
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->execute_meta_scan(id, selector, wrapper)));
}

std::int32_t module_instance_adapter::execute_sensor_scan(int id) {
    static const trace_lines lines("execute_sensor_scan");
    trace t(*this, lines);
    const auto dispatcher = module_->dispatcher();
    return t.end(static_cast<std::int32_t>(dispatcher->execute_sensor_scan(id)));
}

void module_instance_adapter::get_module_information(bool load_languages) {
    static const trace_lines lines("get_module_information");
    trace t(*this, lines);
    log(std::string("Do loadLanguages: ") + (load_languages ? "Yes" : "No"));
    const messaging::module_information_message message(module_->module_information(), load_languages);
    module_->container()->get_instance<messaging::message_service_interface>()->send(message);
    t.end();
}

std::shared_ptr<const messaging::envelope_bytes>
module_instance_adapter::get_module_information_as_bytes(bool include_texts) {
    static const trace_lines lines("get_module_information_as_bytes");
    trace t(*this, lines);
    log(std::string("Include texts: ") + (include_texts ? "Yes" : "No"));
    const std::lock_guard lock(information_mutex_);
    auto& bytes = information_[include_texts ? 1 : 0];
    if (!bytes) {
        const messaging::module_information_message message(module_->module_information(), include_texts);
        auto encoded = std::make_shared<messaging::envelope_bytes>();
        message.encode(*encoded);
        bytes = std::move(encoded);
    }
    return t.end(bytes);
}

} // namespace vantrel::kelvane::libwexohelper::module
