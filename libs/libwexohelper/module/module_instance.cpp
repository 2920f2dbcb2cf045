#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/module/module_instance.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <stdexcept>

namespace vantrel::kelvane::libwexohelper::module {

module_instance::module_instance(std::uint64_t context, host_callback callback)
    : context_(context), container_(std::make_shared<utils::service_container>()),
      dispatcher_(std::make_shared<sensor_dispatcher>(container_)) {
    // Without a callback no result, log line or error could ever reach the host.
    if (callback == nullptr) {
        throw std::invalid_argument("module_instance: the host callback must not be null");
    }
    utils::exceptions::register_platform_texts();
    container_->add_factory<utils::service_container::instance_factory<messaging::message_service_interface>>(
        [context, callback]() -> std::shared_ptr<messaging::message_service_interface> {
            return std::make_shared<messaging::message_service>(
                [context, callback](const void* data, std::uint32_t size) {
                    callback(context, static_cast<const std::uint8_t*>(data), size);
                });
        });
}

module_instance::~module_instance() {
    // Sensors go first, while the logs and the message service they use for
    // their last lines still exist.
    if (dispatcher_) {
        dispatcher_->stock().take_all();
    }
}

} // namespace vantrel::kelvane::libwexohelper::module
