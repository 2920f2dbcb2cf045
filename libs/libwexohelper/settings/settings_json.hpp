#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace vantrel::kelvane::libwexohelper::settings {

// One entry of a map field, as its JSON key and value.
using json_entry = std::pair<std::string_view, std::string_view>;

// A settings message as its JSON mapping (field names as in the .proto, empty
// fields left out), without protobuf's reflection: the module links only the
// lite runtime on Windows. Each map's entries come sorted by key (channel ids
// as numbers), as protobuf's printer sorts them. Strings are escaped as
// protobuf's JSON printer escapes them, "<" and ">" included.
struct settings_json_fields {
    std::string_view kind;
    std::span<const json_entry> settings;
    std::span<const json_entry> channels;
    std::span<const json_entry> persistent_data;
};

std::string render_settings_json(const settings_json_fields& fields);

} // namespace vantrel::kelvane::libwexohelper::settings
