#pragma once

// Reading one setting out of the host's settings: the key scheme
// "section.group.setting" and one reader per kind of setting.

#include <libwexohelper/settings/kinds.hpp>
#include <libwexohelper/settings/sensor_data_wrapper.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace vantrel::kelvane::dns::settings {

using libwexohelper::settings::sensor_data_wrapper;
using libwexohelper::settings::validation_rules;

// "section" + "." + "group" + "." + "setting", the name under which the host sends a sensor's own setting.
std::string setting_key(std::string_view section, std::string_view group, std::string_view setting);

// Throws setting_not_available, and the kind's own errors.
std::string read_text(const sensor_data_wrapper& settings, const std::string& key,
                      validation_rules rules = validation_rules::none());

// Throws setting_not_available, the range errors, and std::bad_optional_access
// ("Bad optional access") for a text that is not a whole number.
std::int64_t read_integer(const sensor_data_wrapper& settings, const std::string& key, validation_rules rules);

// The looked-up text through `parse`, one of the selection parsers.
template <class Parse>
auto read_selection(const sensor_data_wrapper& settings, const std::string& key, Parse parse) {
    return parse(settings.get_value(key));
}

} // namespace vantrel::kelvane::dns::settings
