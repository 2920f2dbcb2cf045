#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/module/module_instance.hpp>
#include <libwexohelper/utils/exceptions.hpp>

namespace vantrel::kelvane::libwexohelper::module {

module_instance::module_instance(std::uint64_t context, host_callback callback)
    : context_(context), container_(std::make_shared<utils::service_container>()),
      dispatcher_(std::make_shared<sensor_dispatcher>(container_)) {
    utils::exceptions::register_platform_texts();
    container_->add_factory<utils::service_container::instance_factory<messaging::message_service_interface>>(
        [context, callback]() -> std::shared_ptr<messaging::message_service_interface> {
            return std::make_shared<messaging::message_service>([context, callback](const void* data,
                                                                                    std::uint32_t size) {
                if (callback != nullptr) {
                    callback(context, static_cast<const std::uint8_t*>(data), size);
                }
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
