#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::libstringutils {

// Fills numbered placeholders "%N:s" with arguments[N]; "%%" gives "%".
// An index may appear any number of times, in any order.
// Throws exceptions::format_string_error for a lone "%" (also "%0:d"),
// exceptions::placeholder_index_not_in_arguments when N >= arguments.size(),
// and std::out_of_range ("stol argument out of range") when N does not fit a
// long. Thread-safe.
std::string format(std::string_view text, const std::vector<std::string>& arguments);

} // namespace vantrel::kelvane::libstringutils
