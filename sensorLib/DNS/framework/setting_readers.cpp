#include <dns/settings/setting_readers.hpp>

#include <optional>

namespace vantrel::kelvane::dns::settings {

std::string setting_key(std::string_view section, std::string_view group, std::string_view setting) {
    std::string key;
    key.reserve(section.size() + group.size() + setting.size() + 2);
    key.append(section).append(".").append(group).append(".").append(setting);
    return key;
}

std::string read_text(const sensor_data_wrapper& settings, const std::string& key, validation_rules rules) {
    return libwexohelper::settings::kind_string::parse_and_validate(settings.get_value(key), rules, key);
}

namespace {

// The standard error for reading an empty optional, with the same text on
// every standard library, since hosts show it to users.
class bad_optional_access : public std::bad_optional_access {
public:
    const char* what() const noexcept override { return "Bad optional access"; }
};

} // namespace

std::int64_t read_integer(const sensor_data_wrapper& settings, const std::string& key, validation_rules rules) {
    const std::optional<std::int64_t> value =
        libwexohelper::settings::kind_integer::parse_and_validate(settings.get_value(key), rules);
    if (!value) {
        throw bad_optional_access();
    }
    return *value;
}

} // namespace vantrel::kelvane::dns::settings
