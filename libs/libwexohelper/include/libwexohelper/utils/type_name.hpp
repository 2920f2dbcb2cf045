#pragma once

#include <string>
#include <typeinfo>

namespace vantrel::kelvane::libwexohelper::utils {

// A readable name of a type for error messages (demangled where the platform can).
std::string type_name(const std::type_info& type);

} // namespace vantrel::kelvane::libwexohelper::utils
