#include <dns/octet_filter.hpp>

#include <dns/exceptions.hpp>

#include <algorithm>
#include <string>

namespace vantrel::kelvane::dns {
namespace {

template <class... F> struct overloaded : F... { using F::operator()...; };
template <class... F> overloaded(F...) -> overloaded<F...>;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// `whole` is the octet text, reported when `number` is not one to three digits.
std::uint8_t checked_number(std::string_view number, std::string_view whole) {
    if (number.empty() || number.size() > 3 || !std::all_of(number.begin(), number.end(), is_digit)) {
        throw exceptions::dns_server_filter_invalid(std::string(whole));
    }
    unsigned value = 0;
    for (const char c : number) {
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    if (value > 255) {
        throw exceptions::dns_server_filter_invalid_value(std::to_string(value));
    }
    return static_cast<std::uint8_t>(value);
}

} // namespace

octet_filter parse_octet_filter(std::string_view text) {
    if (text.empty() || text.front() != '[') {
        return octet_value{checked_number(text, text)};
    }
    if (text.size() < 2 || text.back() != ']') {
        throw exceptions::dns_server_filter_invalid(std::string(text));
    }
    const std::string_view inner = text.substr(1, text.size() - 2);

    if (const auto dots = inner.find(".."); dots != std::string_view::npos) {
        const auto low = checked_number(inner.substr(0, dots), text);
        const auto high = checked_number(inner.substr(dots + 2), text);
        if (low >= high) {
            throw exceptions::dns_server_filter_invalid_range(std::string(inner));
        }
        return octet_range{low, high};
    }

    octet_list list;
    std::string_view rest = inner;
    for (;;) {
        const auto semicolon = rest.find(';');
        list.values.push_back(checked_number(rest.substr(0, semicolon), text));
        if (semicolon == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(semicolon + 1);
    }
    // A list of one ("[5]") is a list here; a whole address filter never
    // gets that far, since its pattern wants at least two numbers in a list.
    return list;
}

bool matches(const octet_filter& filter, std::uint8_t octet) {
    return std::visit(overloaded{
                          [octet](const octet_value& f) { return octet == f.value; },
                          [octet](const octet_range& f) { return f.low <= octet && octet <= f.high; },
                          [octet](const octet_list& f) {
                              return std::find(f.values.begin(), f.values.end(), octet) != f.values.end();
                          },
                      },
                      filter);
}

} // namespace vantrel::kelvane::dns
