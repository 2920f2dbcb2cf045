#pragma once

#include <libwexohelper/module/sensor_dispatcher.hpp>

namespace vantrel::kelvane::dns {

// Registers the sensor kind "ip_reputation_score_sensor".
void register_ip_reputation_score_sensor(libwexohelper::module::sensor_dispatcher& dispatcher);

} // namespace vantrel::kelvane::dns
