#include <libstringutils/format.hpp>

#include <libstringutils/exceptions.hpp>
#include <libstringutils/to_long.hpp>

#include <cctype>
#include <string>

namespace vantrel::kelvane::libstringutils {

// A hand-written scanner equivalent to matching "%([0-9]+):s|%%|%" from left
// to right: the placeholder alternative is tried first, then "%%", and any
// other "%" is malformed. It avoids a regex on every translated message.
std::string format(std::string_view text, const std::vector<std::string>& arguments) {
    std::string out;
    out.reserve(text.size() + 16);
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t percent = text.find('%', pos);
        if (percent == std::string_view::npos) {
            out.append(text.substr(pos));
            break;
        }
        out.append(text.substr(pos, percent - pos));

        std::size_t digits_end = percent + 1;
        while (digits_end < text.size() && std::isdigit(static_cast<unsigned char>(text[digits_end]))) {
            ++digits_end;
        }
        const bool has_digits = digits_end > percent + 1;
        if (has_digits && text.substr(digits_end, 2) == ":s") {
            const std::string digits(text.substr(percent + 1, digits_end - percent - 1));
            const long index = to_long(digits);
            if (static_cast<unsigned long>(index) >= arguments.size()) {
                throw exceptions::placeholder_index_not_in_arguments(digits);
            }
            out.append(arguments[static_cast<std::size_t>(index)]);
            pos = digits_end + 2;
        } else if (percent + 1 < text.size() && text[percent + 1] == '%') {
            out.push_back('%');
            pos = percent + 2;
        } else {
            throw exceptions::format_string_error();
        }
    }
    return out;
}

} // namespace vantrel::kelvane::libstringutils
