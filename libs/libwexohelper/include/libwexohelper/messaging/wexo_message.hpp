#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vantrel::kelvane::wire {
class Envelope;
}

namespace vantrel::kelvane::libwexohelper::messaging {

// Largest serialised message the host accepts.
inline constexpr std::size_t max_message_size = 16u * 1024u * 1024u;

// A message to the host. Each kind fills its member of the wire Envelope.
class wexo_message {
public:
    virtual ~wexo_message() = default;

    // Writes this message into the envelope's body.
    virtual void fill(wire::Envelope& envelope) const = 0;

    // The envelope's wire bytes. Throws message_too_long above max_message_size
    // and message_serialization_failed when protobuf refuses.
    std::vector<std::uint8_t> serialize() const;
};

} // namespace vantrel::kelvane::libwexohelper::messaging
