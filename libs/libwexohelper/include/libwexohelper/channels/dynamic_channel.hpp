#pragma once

#include <libwexohelper/channels/dynamic_channel_options.hpp>
#include <libwexohelper/messaging/wexo_message.hpp>

namespace vantrel::kelvane::libwexohelper::channels {

// Announces a channel that the host does not know yet.
class dynamic_channel final : public messaging::wexo_message {
public:
    dynamic_channel(std::int32_t channel_id, dynamic_channel_options options);

    dynamic_channel& for_sensor(std::int32_t sensor_id) {
        sensor_id_ = sensor_id;
        return *this;
    }
    const dynamic_channel_options& options() const noexcept { return options_; }
    void fill(wire::Envelope& envelope) const override;

private:
    std::int32_t sensor_id_ = 0;
    dynamic_channel_options options_;
};

} // namespace vantrel::kelvane::libwexohelper::channels
