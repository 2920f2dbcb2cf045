#pragma once

#include <map>
#include <string>

namespace vantrel::kelvane::libwexohelper::settings {

// A settings message as its JSON mapping (field names as in the .proto, empty
// fields left out, map keys sorted), without protobuf's reflection: the module
// links only the lite runtime on Windows. Strings are escaped as protobuf's JSON
// printer escapes them, "<" and ">" included.
struct settings_json_fields {
    const std::string& kind;
    const std::map<std::string, std::string>& settings;
    const std::map<int, std::string>& channels;
    const std::map<std::string, std::string>& persistent_data;
};

std::string render_settings_json(const settings_json_fields& fields);

} // namespace vantrel::kelvane::libwexohelper::settings
