#pragma once

#include <string_view>

namespace vantrel::kelvane::libstringutils {

// Converts a base-10 number: an optional "+" or "-" followed by decimal digits,
// nothing before or after. Throws std::invalid_argument("invalid stol argument")
// for any other text and std::out_of_range("stol argument out of range") for a
// number beyond long, with these texts on every standard library. Thread-safe.
long to_long(std::string_view text);

} // namespace vantrel::kelvane::libstringutils
