#pragma once

#include "manifest_model.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace vantrel::kelvane::probe {

// Whether `value` is what the manifest allows for `setting`: a whole number
// within the setting's limits for an integer, one of the option values for a
// selection; any text for a text setting (the module itself enforces its
// length limit). Checks the value only, not whether a required setting is
// empty (that depends on the other settings, see build_settings).
//
// Returns nothing when the value is acceptable, otherwise an error text that
// names the setting by its key, says what is allowed and quotes the rejected
// value (escaped, at most 80 characters; a secure setting's value never).
// Thread-safe; throws nothing but std::bad_alloc.
std::optional<std::string> check_setting_value(const setting_description& setting, std::string_view value);

} // namespace vantrel::kelvane::probe
