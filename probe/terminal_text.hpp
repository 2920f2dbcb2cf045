#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vantrel::kelvane::probe {

// Texts from a DNS answer or a setting may hold anything. Before the probe
// shows one, these make it inert: a control character (C0, DEL, and the C1
// controls U+0080 to U+009F) or a byte that is not part of valid UTF-8 is
// written as \DDD, its decimal byte value, as dig writes unprintable bytes.
// A backslash that is already in the text is kept as it is, so a text the
// module has escaped the same way is not escaped twice.

// The whole text on one line: line breaks are escaped too.
std::string escape_controls(std::string_view text);

// Each line escaped on its own, the line breaks themselves kept: for
// multi-line texts such as the dig-style answer in the sensor log.
std::string escape_controls_by_line(std::string_view text);

// A value as an error message shows it: escaped, in double quotes, and cut
// after `max_characters` characters with "..." so that a huge value cannot
// bury the message. A secure setting's value is never shown, whatever it is.
std::string quoted_value(std::string_view value, bool secure, std::size_t max_characters = 80);

// How many characters a terminal shows for valid UTF-8 text.
std::size_t display_width(std::string_view text);

} // namespace vantrel::kelvane::probe
