#include "settings_json.hpp"

#include <string_view>

namespace vantrel::kelvane::libwexohelper::settings {
namespace {

// Escapes as protobuf's JSON printer does. Runs of characters that need no
// escape are copied at once: a settings line is written on every create and
// check, and most of it is plain text.
void append_string(std::string& out, std::string_view text) {
    static constexpr char hex[] = "0123456789abcdef";
    const auto plain = [](unsigned char byte) {
        return byte >= 0x20 && byte != 0x7f && byte != '"' && byte != '\\' && byte != '<' && byte != '>';
    };
    out += '"';
    std::size_t run = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (plain(byte)) {
            continue;
        }
        out.append(text.data() + run, i - run);
        run = i + 1;
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
            out += "\\u00";
            out += hex[byte >> 4];
            out += hex[byte & 0x0f];
        }
    }
    out.append(text.data() + run, text.size() - run);
    out += '"';
}

void append_map(std::string& out, bool& first, std::string_view name, std::span<const json_entry> entries) {
    if (entries.empty()) {
        return;
    }
    out += first ? "" : ",";
    first = false;
    append_string(out, name);
    out += ":{";
    bool first_entry = true;
    for (const auto& [key, value] : entries) {
        out += first_entry ? "" : ",";
        first_entry = false;
        append_string(out, key);
        out += ':';
        append_string(out, value);
    }
    out += '}';
}

std::size_t text_size(std::span<const json_entry> entries) {
    std::size_t size = 0;
    for (const auto& [key, value] : entries) {
        size += key.size() + value.size() + 6;
    }
    return size;
}

} // namespace

std::string render_settings_json(const settings_json_fields& fields) {
    std::string out;
    // Room for the text without escapes; escapes grow it as they come.
    out.reserve(64 + fields.kind.size() + text_size(fields.settings) + text_size(fields.channels) +
                text_size(fields.persistent_data));
    out += '{';
    bool first = true;
    if (!fields.kind.empty()) {
        append_string(out, "kind");
        out += ':';
        append_string(out, fields.kind);
        first = false;
    }
    append_map(out, first, "settings", fields.settings);
    append_map(out, first, "channels", fields.channels);
    append_map(out, first, "persistent_data", fields.persistent_data);
    out += '}';
    return out;
}

} // namespace vantrel::kelvane::libwexohelper::settings
