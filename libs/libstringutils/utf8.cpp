#include <libstringutils/utf8.hpp>

#include <cstdint>
#include <cstring>

namespace vantrel::kelvane::libstringutils {
namespace {

// Length of the well-formed sequence that starts at `at`, or 0 when the byte
// there does not start one (RFC 3629, section 4).
std::size_t sequence_length(std::string_view text, std::size_t at) noexcept {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(at);
    if (lead < 0x80) {
        return 1;
    }
    std::size_t length = 0;
    std::uint8_t low = 0x80;
    std::uint8_t high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) {
            low = 0xA0; // overlong
        } else if (lead == 0xED) {
            high = 0x9F; // surrogates
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) {
            low = 0x90; // overlong
        } else if (lead == 0xF4) {
            high = 0x8F; // above U+10FFFF
        }
    } else {
        return 0;
    }
    if (text.size() - at < length) {
        return 0;
    }
    const std::uint8_t second = byte(at + 1);
    if (second < low || second > high) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return length;
}

std::size_t first_invalid(std::string_view text) noexcept {
    std::size_t at = 0;
    while (at < text.size()) {
        // Plain ASCII is by far the common case: skip it sixteen bytes at a
        // time, and byte by byte up to the next sequence, without the decoder.
        if (text.size() - at >= 16) {
            std::uint64_t words[2];
            std::memcpy(words, text.data() + at, sizeof words);
            if (((words[0] | words[1]) & 0x8080808080808080u) == 0) {
                at += sizeof words;
                continue;
            }
        }
        if (static_cast<std::uint8_t>(text[at]) < 0x80) {
            ++at;
            continue;
        }
        const std::size_t length = sequence_length(text, at);
        if (length == 0) {
            return at;
        }
        at += length;
    }
    return std::string_view::npos;
}

} // namespace

bool is_valid_utf8(std::string_view text) noexcept {
    return first_invalid(text) == std::string_view::npos;
}

std::string escape_invalid_utf8(std::string_view text) {
    std::size_t at = first_invalid(text);
    if (at == std::string_view::npos) {
        return std::string(text);
    }
    std::string out;
    out.reserve(text.size() + 16);
    out.append(text.substr(0, at));
    while (at < text.size()) {
        const std::size_t length = sequence_length(text, at);
        if (length != 0) {
            out.append(text.substr(at, length));
            at += length;
            continue;
        }
        const auto value = static_cast<std::uint8_t>(text[at]);
        out.push_back('\\');
        out.push_back(static_cast<char>('0' + value / 100));
        out.push_back(static_cast<char>('0' + value / 10 % 10));
        out.push_back(static_cast<char>('0' + value % 10));
        ++at;
    }
    return out;
}

std::string escape_control_characters(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const auto value = static_cast<std::uint8_t>(c);
        if (value >= 0x20 && value != 0x7f) {
            out.push_back(c);
            continue;
        }
        out.push_back('\\');
        out.push_back(static_cast<char>('0' + value / 100));
        out.push_back(static_cast<char>('0' + value / 10 % 10));
        out.push_back(static_cast<char>('0' + value % 10));
    }
    return out;
}

void make_valid_utf8(std::string& text) {
    if (!is_valid_utf8(text)) {
        text = escape_invalid_utf8(text);
    }
}

} // namespace vantrel::kelvane::libstringutils
