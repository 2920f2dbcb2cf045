#include <libwexohelper/messaging/module_information_message.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include "messaging/envelope_fields.hpp"

#include <libstringutils/json_skim.hpp>
#include <wexo.pb.h>

namespace vantrel::kelvane::libwexohelper::messaging {
using libstringutils::json_skim::skip_space;
using libstringutils::json_skim::skip_string;
using libstringutils::json_skim::skip_value;

std::string without_top_level_member(std::string_view json, std::string_view key) {
    std::size_t i = skip_space(json, 0);
    if (i >= json.size() || json[i] != '{') {
        return std::string(json);
    }
    std::size_t previous_end = i + 1; // just after '{' or after the previous member's value
    bool first = true;
    i = skip_space(json, i + 1);
    while (i < json.size() && json[i] == '"') {
        const std::size_t key_start = i;
        const auto key_end = skip_string(json, i);
        if (!key_end) {
            break;
        }
        const std::string_view name = json.substr(key_start + 1, *key_end - key_start - 2);
        i = skip_space(json, *key_end);
        if (i >= json.size() || json[i] != ':') {
            break;
        }
        const auto value_end = skip_value(json, skip_space(json, i + 1));
        if (!value_end) {
            break;
        }
        const std::size_t after = skip_space(json, *value_end);
        const bool has_next = after < json.size() && json[after] == ',';
        if (name == key) {
            std::string out;
            if (first) {
                // Drop the member and the comma after it: `{ "Text": {...}, "a": 1 }`.
                const std::size_t cut_to = has_next ? skip_space(json, after + 1) : *value_end;
                out.append(json.substr(0, key_start));
                out.append(json.substr(cut_to));
            } else {
                // Drop the comma before it and the member: `{ "a": 1, "Text": {...} }`.
                out.append(json.substr(0, previous_end));
                out.append(json.substr(*value_end));
            }
            return out;
        }
        previous_end = *value_end;
        first = false;
        if (!has_next) {
            break;
        }
        i = skip_space(json, after + 1);
    }
    return std::string(json);
}

module_information_message::module_information_message(std::string_view manifest_json, bool include_texts)
    : manifest_(include_texts ? std::string(manifest_json) : without_top_level_member(manifest_json, "Text")),
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
