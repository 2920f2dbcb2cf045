#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/messaging/wexo_message.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <google/protobuf/arena.h>
#include <wexo.pb.h>

#include <cstddef>

#include <string>

namespace vantrel::kelvane::libwexohelper::messaging {

namespace {

std::size_t checked_size(const wire::Envelope& envelope) {
    const std::size_t size = envelope.ByteSizeLong();
    if (size > max_message_size) {
        throw utils::exceptions::message_too_long(
            std::vector<std::string>{std::to_string(size), std::to_string(max_message_size)});
    }
    return size;
}

void write(const wire::Envelope& envelope, std::uint8_t* target, std::size_t size) {
    if (size != 0 && !envelope.SerializeToArray(target, static_cast<int>(size))) {
        throw utils::exceptions::message_serialization_failed();
    }
}

} // namespace

std::vector<std::uint8_t> wexo_message::serialize() const {
    wire::Envelope envelope;
    fill(envelope);
    const std::size_t size = checked_size(envelope);
    std::vector<std::uint8_t> bytes(size);
    write(envelope, bytes.data(), size);
    return bytes;
}

void message_service::send(const wexo_message& message) {
    // Every scan sends a result and log lines; building them in a block on the
    // stack and writing small ones into a stack buffer keeps the heap out of a
    // scan's fixed cost.
    alignas(std::max_align_t) char block[2048];
    google::protobuf::ArenaOptions options;
    options.initial_block = block;
    options.initial_block_size = sizeof block;
    google::protobuf::Arena arena(options);
    auto* envelope = google::protobuf::Arena::CreateMessage<wire::Envelope>(&arena);
    message.fill(*envelope);
    const std::size_t size = checked_size(*envelope);
    std::uint8_t small[1024];
    if (size <= sizeof small) {
        write(*envelope, small, size);
        deliver_(small, static_cast<std::uint32_t>(size));
        return;
    }
    std::vector<std::uint8_t> bytes(size);
    write(*envelope, bytes.data(), size);
    deliver_(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

} // namespace vantrel::kelvane::libwexohelper::messaging
