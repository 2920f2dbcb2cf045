#include <dns/ns_code_maps.hpp>
#include <dns/record_listing.hpp>

#include <algorithm>
#include <cctype>

namespace vantrel::kelvane::dns {

namespace {

using record_section = std::vector<std::shared_ptr<dns_result_record>>;

void collect_from(const record_section& section, std::string_view type_text, bool take_all,
                  std::vector<listed_record>& out) {
    for (const auto& record : section) {
        const std::string_view type_name = ns_type_name(record->type);
        if (take_all || type_name == type_text) {
            out.push_back({record.get(), type_name, record->value()});
        }
    }
}

bool is_blank(char c) noexcept {
    const auto u = static_cast<unsigned char>(c);
    return std::isspace(u) != 0 || std::iscntrl(u) != 0;
}

} // namespace

std::vector<listed_record> collect_records(const dns_query_result& result, std::string_view type_text) {
    const bool take_all = type_text.empty() || type_text == "ANY";
    std::vector<listed_record> records;
    records.reserve(result.answers.size() + result.authorities.size());
    collect_from(result.answers, type_text, take_all, records);
    collect_from(result.authorities, type_text, take_all, records);
    return records;
}

std::string list_records(std::vector<listed_record>& records, std::string_view prefix) {
    std::sort(records.begin(), records.end(), [](const listed_record& a, const listed_record& b) {
        if (a.record->type != b.record->type) {
            return a.record->type < b.record->type;
        }
        return a.value < b.value;
    });
    std::size_t length = prefix.size();
    for (const auto& r : records) {
        length += r.type_name.size() + r.value.size() + 3;
    }
    std::string message;
    message.reserve(length);
    message.append(prefix);
    std::string_view previous_type;
    for (const auto& r : records) {
        if (r.type_name != previous_type) {
            if (!previous_type.empty()) {
                message.append(", ");
            }
            message.append(r.type_name).append("=");
            previous_type = r.type_name;
        } else {
            message.append(", ");
        }
        message.append(r.value);
    }
    return message;
}

std::string_view trim_blank(std::string_view text) noexcept {
    while (!text.empty() && is_blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::int64_t count_matching(const std::vector<listed_record>& records, const record_filter& filter) {
    std::int64_t count = 0;
    for (const auto& r : records) {
        if (filter.matches(trim_blank(r.value))) {
            ++count;
        }
    }
    return count;
}

std::int64_t count_exact_match(std::string_view message, std::string_view filter) {
    return trim_blank(message) == filter ? 1 : 0;
}

} // namespace vantrel::kelvane::dns
