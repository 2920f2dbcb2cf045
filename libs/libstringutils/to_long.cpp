#include <libstringutils/to_long.hpp>

#include <charconv>
#include <stdexcept>
#include <system_error>

namespace vantrel::kelvane::libstringutils {

long to_long(std::string_view text) {
    const char* first = text.data();
    const char* const last = text.data() + text.size();
    // from_chars takes a "-" but not a "+".
    if (first != last && *first == '+' && last - first > 1 && first[1] != '-') {
        ++first;
    }
    long value = 0;
    const auto [end, error] = std::from_chars(first, last, value, 10);
    if (error == std::errc::result_out_of_range && end == last) {
        throw std::out_of_range("stol argument out of range");
    }
    if (error != std::errc() || end != last) {
        throw std::invalid_argument("invalid stol argument");
    }
    return value;
}

} // namespace vantrel::kelvane::libstringutils
