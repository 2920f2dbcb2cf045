#include "terminal_text.hpp"

#include <cstdint>

namespace vantrel::kelvane::probe {
namespace {

// Length of the valid UTF-8 sequence at `at`, or 0 when the byte there does
// not start one (stray continuation byte, overlong form, surrogate, beyond
// U+10FFFF, or cut short). Sets `code_point` for a valid sequence.
std::size_t utf8_sequence(std::string_view text, std::size_t at, std::uint32_t& code_point) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    std::size_t length = 0;
    std::uint32_t minimum = 0;
    if (lead < 0x80) {
        code_point = lead;
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        code_point = lead & 0x1Fu;
        minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        code_point = lead & 0x0Fu;
        minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        code_point = lead & 0x07u;
        minimum = 0x10000;
    } else {
        return 0;
    }
    if (at + length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            return 0;
        }
        code_point = (code_point << 6) | (byte(at + i) & 0x3Fu);
    }
    if (code_point < minimum || code_point > 0x10FFFF || (code_point >= 0xD800 && code_point <= 0xDFFF)) {
        return 0;
    }
    return length;
}

bool is_control(std::uint32_t code_point) {
    return code_point < 0x20 || (code_point >= 0x7F && code_point <= 0x9F);
}

void append_escaped_byte(std::string& out, unsigned char byte) {
    out += '\\';
    out += static_cast<char>('0' + byte / 100);
    out += static_cast<char>('0' + byte / 10 % 10);
    out += static_cast<char>('0' + byte % 10);
}

// Escapes `text` into `out`; stops after `max_characters` characters and
// returns false when text was left over.
bool escape_into(std::string& out, std::string_view text, std::size_t max_characters) {
    std::size_t characters = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (characters == max_characters) {
            return false;
        }
        ++characters;
        std::uint32_t code_point = 0;
        const std::size_t length = utf8_sequence(text, at, code_point);
        if (length == 0) {
            append_escaped_byte(out, static_cast<unsigned char>(text[at]));
            ++at;
            continue;
        }
        if (is_control(code_point)) {
            for (std::size_t i = 0; i < length; ++i) {
                append_escaped_byte(out, static_cast<unsigned char>(text[at + i]));
            }
        } else {
            out.append(text.substr(at, length));
        }
        at += length;
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
