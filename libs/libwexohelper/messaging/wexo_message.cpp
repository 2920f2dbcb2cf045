#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/messaging/wexo_message.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <wexo.pb.h>

#include <string>

namespace vantrel::kelvane::libwexohelper::messaging {

std::vector<std::uint8_t> wexo_message::serialize() const {
    wire::Envelope envelope;
    fill(envelope);
    const std::size_t size = envelope.ByteSizeLong();
    if (size > max_message_size) {
        throw utils::exceptions::message_too_long(
            std::vector<std::string>{std::to_string(size), std::to_string(max_message_size)});
    }
    std::vector<std::uint8_t> bytes(size);
    if (size != 0 && !envelope.SerializeToArray(bytes.data(), static_cast<int>(size))) {
        throw utils::exceptions::message_serialization_failed();
    }
    return bytes;
}

void message_service::send(const wexo_message& message) {
    const auto bytes = message.serialize();
    deliver_(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

} // namespace vantrel::kelvane::libwexohelper::messaging
