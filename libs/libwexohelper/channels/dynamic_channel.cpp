#include <libwexohelper/channels/dynamic_channel.hpp>

#include <wexo.pb.h>

namespace vantrel::kelvane::libwexohelper::channels {

dynamic_channel::dynamic_channel(std::int32_t channel_id, dynamic_channel_options options)
    : options_(std::move(options)) {
    options_.id = channel_id;
}

void dynamic_channel::fill(wire::Envelope& envelope) const {
    auto* channel = envelope.mutable_dynamic_channel();
    channel->set_sensor_id(sensor_id_);
    auto* o = channel->mutable_options();
    o->set_id(options_.id);
    o->set_name_key(options_.name_key);
    o->set_value_mode(static_cast<std::int32_t>(options_.mode));
    o->set_unit(static_cast<std::int32_t>(options_.unit));
    o->set_decimal_places(options_.decimal_places);
    o->set_chart_minimum(options_.chart_minimum);
    o->set_chart_maximum(options_.chart_maximum);
    o->set_lookup_name(options_.lookup_name);
    o->set_limit_mode(static_cast<std::int32_t>(options_.limits));
    if (options_.upper_error_limit) {
        o->set_has_upper_error_limit(true);
        o->set_upper_error_limit(*options_.upper_error_limit);
    }
    if (options_.upper_warning_limit) {
        o->set_has_upper_warning_limit(true);
        o->set_upper_warning_limit(*options_.upper_warning_limit);
    }
    if (options_.lower_error_limit) {
        o->set_has_lower_error_limit(true);
        o->set_lower_error_limit(*options_.lower_error_limit);
    }
    if (options_.lower_warning_limit) {
        o->set_has_lower_warning_limit(true);
        o->set_lower_warning_limit(*options_.lower_warning_limit);
    }
    o->set_limit_error_message_key(options_.limit_error_message);
    o->set_limit_warning_message_key(options_.limit_warning_message);
}

} // namespace vantrel::kelvane::libwexohelper::channels
