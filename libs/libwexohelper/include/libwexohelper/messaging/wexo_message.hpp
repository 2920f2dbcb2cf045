#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace vantrel::kelvane::wire {
class Envelope;
}

namespace vantrel::kelvane::libwexohelper::messaging {

// Largest serialised message the host accepts.
inline constexpr std::size_t max_message_size = 16u * 1024u * 1024u;

// The wire bytes of one envelope. Small envelopes (every log line and result
// of an ordinary scan) stay inside the object, on the sender's stack; larger
// ones go to the heap. Not copyable: its bytes may point into itself.
class envelope_bytes {
public:
    envelope_bytes() = default;
    envelope_bytes(const envelope_bytes&) = delete;
    envelope_bytes& operator=(const envelope_bytes&) = delete;

    // Room for exactly `size` bytes, replacing anything held before. Throws
    // message_too_long above max_message_size.
    std::uint8_t* allocate(std::size_t size);

    const std::uint8_t* data() const noexcept { return heap_ ? heap_.get() : inline_; }
    std::size_t size() const noexcept { return size_; }

private:
    static constexpr std::size_t inline_capacity = 1024;
    std::uint8_t inline_[inline_capacity];
    // Not zeroed first: every byte is written by the encoder.
    std::unique_ptr<std::uint8_t[]> heap_;
    std::size_t size_ = 0;
};

// A message to the host. Each kind fills its member of the wire Envelope.
class wexo_message {
public:
    virtual ~wexo_message() = default;

    // Writes this message into the envelope's body: what the host receives.
    virtual void fill(wire::Envelope& envelope) const = 0;

    // Writes the envelope's wire bytes into `out`. By default through the
    // generated message that fill() builds; the messages that every scan sends
    // write their fields directly instead, byte for byte the same. Throws
    // message_too_long above max_message_size and message_serialization_failed
    // when the bytes cannot be written.
    virtual void encode(envelope_bytes& out) const;

    // The envelope's wire bytes, as encode() writes them.
    std::vector<std::uint8_t> serialize() const;
};

} // namespace vantrel::kelvane::libwexohelper::messaging
