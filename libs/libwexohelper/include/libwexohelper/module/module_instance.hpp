#pragma once

#include <libwexohelper/module/sensor_dispatcher.hpp>
#include <libwexohelper/utils/service_container.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace vantrel::kelvane::libwexohelper::module {

// The host's callback: its context value, the bytes of one serialised message
// and their count. The bytes are valid only during the call.
using host_callback = void (*)(std::uint64_t context, const std::uint8_t* data, std::uint32_t size);

// The one module object per load. The base builds the service container, the
// dispatcher on it, and a message service that forwards every message to the
// host callback with the host's context; a concrete module registers its
// sensors, checks and services in its own constructor.
class module_instance {
public:
    // Throws std::invalid_argument for a null callback.
    module_instance(std::uint64_t context, host_callback callback);
    virtual ~module_instance();
    module_instance(const module_instance&) = delete;
    module_instance& operator=(const module_instance&) = delete;

    // The module's manifest as JSON text; the same text on every call.
    virtual std::string module_information() const = 0;

    std::uint64_t context() const noexcept { return context_; }
    const std::shared_ptr<utils::service_container>& container() const noexcept { return container_; }
    const std::shared_ptr<sensor_dispatcher>& dispatcher() const noexcept { return dispatcher_; }

private:
    std::uint64_t context_;
    std::shared_ptr<utils::service_container> container_;
    std::shared_ptr<sensor_dispatcher> dispatcher_;
};

} // namespace vantrel::kelvane::libwexohelper::module
