#pragma once

#include <libwexohelper/module/sensor_dispatcher.hpp>

namespace vantrel::kelvane::dns {

// Registers the check kind "dns_check".
void register_dns_check(libwexohelper::module::sensor_dispatcher& dispatcher);

} // namespace vantrel::kelvane::dns
