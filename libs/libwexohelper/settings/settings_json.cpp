#include "settings_json.hpp"

#include <string_view>

namespace vantrel::kelvane::libwexohelper::settings {
namespace {

void append_string(std::string& out, std::string_view text) {
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
    for (const char ch : text) {
        const auto byte = static_cast<unsigned char>(ch);
        switch (byte) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            if (byte < 0x20 || byte == 0x7f || byte == '<' || byte == '>') {
                out += "\\u00";
                out += hex[byte >> 4];
                out += hex[byte & 0x0f];
            } else {
                out += ch;
            }
        }
    }
    out += '"';
}

template <class Map, class KeyText>
void append_map(std::string& out, bool& first, std::string_view name, const Map& map, KeyText key_text) {
    if (map.empty()) {
        return;
    }
    out += first ? "" : ",";
    first = false;
    append_string(out, name);
    out += ":{";
    bool first_entry = true;
    for (const auto& [key, value] : map) {
        out += first_entry ? "" : ",";
        first_entry = false;
        append_string(out, key_text(key));
        out += ':';
        append_string(out, value);
    }
    out += '}';
}

} // namespace

std::string render_settings_json(const settings_json_fields& fields) {
    std::string out = "{";
    bool first = true;
    if (!fields.kind.empty()) {
        append_string(out, "kind");
        out += ':';
        append_string(out, fields.kind);
        first = false;
    }
    const auto same = [](const std::string& key) -> const std::string& { return key; };
    append_map(out, first, "settings", fields.settings, same);
    append_map(out, first, "channels", fields.channels, [](int key) { return std::to_string(key); });
    append_map(out, first, "persistent_data", fields.persistent_data, same);
    out += '}';
    return out;
}

} // namespace vantrel::kelvane::libwexohelper::settings
