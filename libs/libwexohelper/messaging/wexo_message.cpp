#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/messaging/wexo_message.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <google/protobuf/arena.h>
#include <wexo.pb.h>

#include <cstddef>
#include <string>

namespace vantrel::kelvane::libwexohelper::messaging {

std::uint8_t* envelope_bytes::allocate(std::size_t size) {
    if (size > max_message_size) {
        throw utils::exceptions::message_too_long(
            std::vector<std::string>{std::to_string(size), std::to_string(max_message_size)});
    }
    heap_.reset();
    size_ = size;
    if (size <= inline_capacity) {
        return inline_;
    }
    heap_ = std::make_unique_for_overwrite<std::uint8_t[]>(size);
    return heap_.get();
}

void wexo_message::encode(envelope_bytes& out) const {
    // The generated message lives in a block on the stack: no heap for the
    // few messages that take this way.
    alignas(std::max_align_t) char block[2048];
    google::protobuf::ArenaOptions options;
    options.initial_block = block;
    options.initial_block_size = sizeof block;
    google::protobuf::Arena arena(options);
    auto* envelope = google::protobuf::Arena::CreateMessage<wire::Envelope>(&arena);
    fill(*envelope);
    const std::size_t size = envelope->ByteSizeLong();
    std::uint8_t* const target = out.allocate(size);
    if (size != 0 && !envelope->SerializeToArray(target, static_cast<int>(size))) {
        throw utils::exceptions::message_serialization_failed();
    }
}

std::vector<std::uint8_t> wexo_message::serialize() const {
    envelope_bytes bytes;
    encode(bytes);
    return std::vector<std::uint8_t>(bytes.data(), bytes.data() + bytes.size());
}

void message_service::send(const wexo_message& message) {
    envelope_bytes bytes;
    message.encode(bytes);
    deliver_(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

} // namespace vantrel::kelvane::libwexohelper::messaging
