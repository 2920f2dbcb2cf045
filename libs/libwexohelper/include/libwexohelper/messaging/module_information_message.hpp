#pragma once

#include <libwexohelper/messaging/wexo_message.hpp>

#include <string>
#include <string_view>

namespace vantrel::kelvane::libwexohelper::messaging {

// The module's manifest for the host. Without texts, the manifest's top-level
// "Text" member is left out and every other byte stays as it was.
class module_information_message final : public wexo_message {
public:
    module_information_message(std::string manifest_json, bool include_texts);

    const std::string& manifest() const noexcept { return manifest_; }
    void fill(wire::Envelope& envelope) const override;
    void encode(envelope_bytes& out) const override;

private:
    std::string manifest_;
    bool include_texts_;
};

} // namespace vantrel::kelvane::libwexohelper::messaging
