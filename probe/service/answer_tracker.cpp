#include "answer_tracker.hpp"

#include <algorithm>
#include <cctype>

namespace vantrel::kelvane::probe::service {
namespace {

constexpr std::string_view ok_prefix = "OK: ";
constexpr std::string_view empty_result_key = "error.empty_result";

// A group starts with a type name: capital letters and digits before "=".
std::size_t type_prefix(std::string_view item) {
    const auto eq = item.find('=');
    if (eq == std::string_view::npos || eq == 0) {
        return 0;
    }
    const bool is_type = std::all_of(item.begin(), item.begin() + static_cast<std::ptrdiff_t>(eq), [](char c) {
        return std::isupper(static_cast<unsigned char>(c)) != 0 || std::isdigit(static_cast<unsigned char>(c)) != 0;
    });
    return is_type ? eq : 0;
}

} // namespace

std::optional<answer_set> answer_of(const host_wire::SensorScanResult& result) {
    if (result.response_code() != host_wire::SCAN_OK) {
        return std::nullopt;
    }
    const auto& message = result.message();
    if (message.key() == empty_result_key) {
        return answer_set{};
    }
    const std::string_view text = message.key().empty() ? std::string_view(message.english()) : std::string_view();
    if (!text.starts_with(ok_prefix)) {
        return std::nullopt;
    }
    // The module writes the type once per group; every item gets it here, so
    // that sorting the items cannot move a value into another type's group.
    answer_set items;
    std::string type;
    std::string_view rest = text.substr(ok_prefix.size());
    while (!rest.empty()) {
        const auto comma = rest.find(", ");
        std::string_view item = rest.substr(0, comma);
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 2);
        if (const auto eq = type_prefix(item); eq != 0) {
            type = std::string(item.substr(0, eq));
            item.remove_prefix(eq + 1);
        }
        items.push_back(type + "=" + std::string(item));
    }
    std::sort(items.begin(), items.end());
    return items;
}

std::string answer_text(const answer_set& answer) {
    if (answer.empty()) {
        return "(no records)";
    }
    std::string text;
    for (const auto& item : answer) {
        text += (text.empty() ? "" : ", ") + item;
    }
    return text;
}

std::optional<answer_tracker::change> answer_tracker::observe(answer_set answer) {
    if (!last_) {
        last_ = std::move(answer);
        return std::nullopt;
    }
    if (*last_ == answer) {
        return std::nullopt;
    }
    change c{std::move(*last_), answer};
    last_ = std::move(answer);
    return c;
}

} // namespace vantrel::kelvane::probe::service
