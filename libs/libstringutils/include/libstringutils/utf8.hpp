#pragma once

#include <string>
#include <string_view>

namespace vantrel::kelvane::libstringutils {

// True when `text` is well-formed UTF-8: no stray continuation bytes, no
// truncated or overlong sequences, no surrogates, nothing above U+10FFFF.
bool is_valid_utf8(std::string_view text) noexcept;

// `text` with every byte that is not part of a well-formed UTF-8 sequence
// written as a backslash and three decimal digits, the way dig shows such
// bytes ("caf\233"). Well-formed text, control characters included, is
// returned unchanged. Thread-safe.
std::string escape_invalid_utf8(std::string_view text);

// `text` with every C0 control character (line breaks included) and DEL
// written as \DDD, so that a text from outside stays on its one line of a
// log and cannot steer a terminal. Everything else is kept. Thread-safe.
std::string escape_control_characters(std::string_view text);

// In place: leaves `text` untouched (and unallocated) when it is already valid.
void make_valid_utf8(std::string& text);

} // namespace vantrel::kelvane::libstringutils
