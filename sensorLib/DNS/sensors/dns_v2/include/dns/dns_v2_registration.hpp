#pragma once

#include <libwexohelper/module/sensor_dispatcher.hpp>

namespace vantrel::kelvane::dns {

// Registers the sensor kind "dns_v2".
void register_dns_v2(libwexohelper::module::sensor_dispatcher& dispatcher);

} // namespace vantrel::kelvane::dns
