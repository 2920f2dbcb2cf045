#pragma once

#include <libwexohelper/messaging/wexo_message.hpp>

#include <cstdint>
#include <functional>

namespace vantrel::kelvane::libwexohelper::messaging {

// Delivers messages to the host.
class message_service_interface {
public:
    virtual ~message_service_interface() = default;
    // Serialises the message and hands the bytes on. Thread-safe; the bytes are
    // valid only during the call.
    virtual void send(const wexo_message& message) = 0;
};

class message_service final : public message_service_interface {
public:
    using sink = std::function<void(const void* data, std::uint32_t size)>;
    explicit message_service(sink deliver) : deliver_(std::move(deliver)) {}

    void send(const wexo_message& message) override;

private:
    sink deliver_;
};

} // namespace vantrel::kelvane::libwexohelper::messaging
