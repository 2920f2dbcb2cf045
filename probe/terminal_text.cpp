#include "terminal_text.hpp"

#include <libstringutils/utf8.hpp>

#include <cstdint>

namespace vantrel::kelvane::probe {
namespace {

void append_escaped_byte(std::string& out, unsigned char byte) {
    out += '\\';
    out += static_cast<char>('0' + byte / 100);
    out += static_cast<char>('0' + byte / 10 % 10);
    out += static_cast<char>('0' + byte % 10);
}

// Escapes `text` into `out`; stops after `max_characters` characters and
// returns false when text was left over. Bytes that are not UTF-8 are
// escaped first, so what is left is well-formed and the C1 controls are the
// two-byte sequences C2 80 to C2 9F.
bool escape_into(std::string& out, std::string_view text, std::size_t max_characters) {
    const std::string valid = libstringutils::escape_invalid_utf8(text);
    std::size_t characters = 0;
    for (std::size_t at = 0; at < valid.size(); ++at) {
        const auto byte = static_cast<unsigned char>(valid[at]);
        const bool continuation = (byte & 0xC0) == 0x80;
        if (!continuation && characters++ == max_characters) {
            return false;
        }
        if (byte < 0x20 || byte == 0x7F) {
            append_escaped_byte(out, byte);
        } else if (byte == 0xC2 && at + 1 < valid.size() && static_cast<unsigned char>(valid[at + 1]) <= 0x9F) {
            append_escaped_byte(out, byte);
            append_escaped_byte(out, static_cast<unsigned char>(valid[++at]));
        } else {
            out += valid[at];
        }
    }
    return true;
}

} // namespace

std::string escape_controls(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    escape_into(out, text, std::string_view::npos);
    return out;
}

std::string escape_controls_by_line(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = text.find('\n', start);
        escape_into(out, text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start),
                    std::string_view::npos);
        if (end == std::string_view::npos) {
            break;
        }
        out += '\n';
        start = end + 1;
    }
    return out;
}

std::string quoted_value(std::string_view value, bool secure, std::size_t max_characters) {
    if (secure) {
        return "the secret value given";
    }
    std::string out = "\"";
    const bool whole = escape_into(out, value, max_characters);
    out += whole ? "\"" : "\"...";
    return out;
}

std::size_t display_width(std::string_view text) {
    std::size_t width = 0;
    for (const unsigned char c : text) {
        width += (c & 0xC0) != 0x80 ? 1 : 0;
    }
    return width;
}

} // namespace vantrel::kelvane::probe
