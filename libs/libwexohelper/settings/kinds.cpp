#include <libwexohelper/settings/kinds.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <charconv>
#include <vector>

namespace vantrel::kelvane::libwexohelper::settings {
namespace {

std::string checked_text(std::string_view text, validation_rules rules, std::string_view name) {
    const std::int64_t limit = rules.has_maximum ? rules.maximum : default_max_text_length;
    if (static_cast<std::int64_t>(text.size()) > limit) {
        throw utils::exceptions::string_too_long(
            std::vector<std::string>{std::string(name), std::to_string(text.size()), std::to_string(limit)});
    }
    return std::string(text);
}

} // namespace

std::string kind_string::parse_and_validate(std::string_view text, validation_rules rules, std::string_view name) {
    return checked_text(text, rules, name);
}

std::string kind_securestring::parse_and_validate(std::string_view text, validation_rules rules,
                                                  std::string_view name) {
    return checked_text(text, rules, name);
}

std::optional<std::int64_t> kind_integer::parse_and_validate(std::string_view text, validation_rules rules) {
    std::int64_t value = 0;
    const char* first = text.data();
    const char* last = text.data() + text.size();
    if (first != last && *first == '+') {
        ++first;
    }
    const auto [end, error] = std::from_chars(first, last, value);
    if (first == last || error != std::errc() || end != last) {
        return std::nullopt;
    }
    if (rules.has_minimum && value < rules.minimum) {
        throw utils::exceptions::setting_invalid_less_min(
            std::vector<std::string>{std::to_string(value), std::to_string(rules.minimum)});
    }
    if (rules.has_maximum && value > rules.maximum) {
        throw utils::exceptions::setting_invalid_bigger_max(
            std::vector<std::string>{std::to_string(value), std::to_string(rules.maximum)});
    }
    return value;
}

} // namespace vantrel::kelvane::libwexohelper::settings
