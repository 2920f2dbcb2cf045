#include <libwexohelper/messaging/module_information_message.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include "messaging/envelope_fields.hpp"

#include <libstringutils/json_skim.hpp>
#include <wexo.pb.h>

namespace vantrel::kelvane::libwexohelper::messaging {
module_information_message::module_information_message(std::string manifest_json, bool include_texts)
    : manifest_(include_texts ? std::move(manifest_json)
                              : libstringutils::json_skim::without_member(manifest_json, "Text")),
      include_texts_(include_texts) {}

void module_information_message::fill(wire::Envelope& envelope) const {
    auto* info = envelope.mutable_module_information();
    info->set_manifest_json(manifest_);
    info->set_include_texts(include_texts_);
}

void module_information_message::encode(envelope_bytes& out) const {
    using information = wire::ModuleInformation;
    constexpr int in_envelope = wire::Envelope::kModuleInformationFieldNumber;
    // The manifest is the module's own text, written as it lies: a copy
    // through the generated message would cost more than the rest of a
    // host's start.
    const std::string_view manifest(manifest_);
    const std::size_t body = fields::string_size(information::kManifestJsonFieldNumber, manifest) +
                             fields::bool_size(information::kIncludeTextsFieldNumber, include_texts_);
    const std::size_t size = fields::always_size(in_envelope, body);
    std::uint8_t* const begin = out.allocate(size);
    std::uint8_t* target = fields::write_header(in_envelope, body, begin);
    target = fields::write_string(information::kManifestJsonFieldNumber, manifest, target);
    target = fields::write_bool(information::kIncludeTextsFieldNumber, include_texts_, target);
    if (target != begin + size) {
        throw utils::exceptions::message_serialization_failed();
    }
}

} // namespace vantrel::kelvane::libwexohelper::messaging
