#pragma once

#include <libi18n/i18n_exception.hpp>
#include <liblog/log_interface.hpp>
#include <libwexohelper/channels/dynamic_channel.hpp>
#include <libwexohelper/logging/host_log.hpp>
#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/responses/sensor_scan_result.hpp>
#include <libwexohelper/sensors/sensor_interface.hpp>
#include <libwexohelper/settings/channel_map.hpp>
#include <libwexohelper/settings/persistent_data_storage.hpp>
#include <libwexohelper/settings/sensor_data_wrapper.hpp>
#include <libwexohelper/utils/exceptions.hpp>
#include <libwexohelper/utils/service_container.hpp>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace vantrel::kelvane::libwexohelper::sensors {

inline constexpr const char* enter_scan_banner = "#################### Enter sensor scan ####################";
inline constexpr const char* exit_scan_banner = "#################### Exit sensor scan  ####################";

// The sensor log for a settings record: the host's sensor log when the record
// turns logging on, otherwise a log that drops everything at no cost.
std::shared_ptr<liblog::log_interface> make_sensor_log(utils::service_container& container, int id,
                                                       bool logging_enabled);

// Base of every sensor, over its settings record. `Settings` offers
//   static Settings read(const settings::sensor_data_wrapper&);   // throws on bad settings
//   bool logging_enabled() const;
// A concrete sensor implements scan_work(), which builds and sends its own
// result; the scan frame turns anything it throws into an error result.
template <class Settings> class sensor_base : public sensor_interface {
public:
    using settings_type = Settings;

    sensor_base(std::shared_ptr<utils::service_container> container, int id, Settings settings,
                std::map<int, std::string> channels, std::map<std::string, std::string> persistent_data)
        : container_(std::move(container)), id_(id), settings_(std::move(settings)),
          channels_(std::make_shared<settings::channel_map>(std::move(channels))),
          persistent_data_(std::move(persistent_data)),
          log_(make_sensor_log(*container_, id_, settings_.logging_enabled())) {}

    int id() const override { return id_; }
    void log(const std::string& message, std::int32_t level) override { log_->log(level, message); }
    void log(const std::string& message) override { log_->log(liblog::level_detail, message); }
    // False when the sensor log drops every line (logging off), so that a line
    // worth building only for the log need not be built.
    bool log_enabled() const noexcept { return log_->enabled(); }

    // The scan frame. Scans of one sensor never overlap: a second one is
    // refused, not queued, so that a host calling back into the module from
    // its callback never deadlocks. Scans of different sensors run in parallel.
    scan_outcome scan() final {
        if (scanning_.exchange(true, std::memory_order_acquire)) {
            return scan_outcome::already_scanning;
        }
        const scan_claim claim(scanning_);
        // The banners are built only for a log that keeps them.
        const bool logging = log_->enabled();
        if (logging) {
            log(enter_scan_banner);
        }
        try {
            scan_work();
        } catch (const libi18n::i18n_exception& e) {
            report_escaped(e);
        } catch (const std::exception& e) {
            report_escaped(e);
        }
        if (logging) {
            log(exit_scan_banner);
        }
        return scan_outcome::done;
    }

    void retire() final {
        std::lock_guard lock(delivery_mutex_);
        retired_ = true;
    }

protected:
    virtual void scan_work() = 0;

    const Settings& settings() const noexcept { return settings_; }
    const std::shared_ptr<utils::service_container>& container() const noexcept { return container_; }
    liblog::log_interface& sensor_log() const noexcept { return *log_; }
    settings::persistent_data_storage& persistent_data() noexcept { return persistent_data_; }

    responses::sensor_scan_result result_with_message(libi18n::i18n_msg message,
                                                      responses::scan_response_codes code) const {
        responses::sensor_scan_result result(id_, channels_);
        result.set_response_message(std::move(message)).set_response_code(code);
        return result;
    }
    responses::sensor_scan_result error_result(const libi18n::i18n_exception& error, std::int32_t error_code,
                                               responses::scan_response_codes code) const {
        responses::sensor_scan_result result(id_, error);
        result.set_error_code(error_code).set_response_code(code);
        return result;
    }
    responses::sensor_scan_result error_result(const std::exception& error, std::int32_t error_code,
                                               responses::scan_response_codes code) const {
        responses::sensor_scan_result result(id_, error);
        result.set_error_code(error_code).set_response_code(code);
        return result;
    }
    static void set_value(responses::sensor_scan_result& result, int channel_id, std::int64_t value) {
        result.set_value(channel_id, value);
    }

    // Declares a channel once; announces it to the host unless the host knows it.
    void add_channel(const channels::dynamic_channel_options& options) {
        if (!channels_) {
            throw utils::exceptions::channel_map_not_initialized();
        }
        if (channels_->is_definition_registered(options)) {
            return;
        }
        channels_->register_definition(options);
        if (!channels_->is_known_to_runtime(options.id)) {
            channels::dynamic_channel channel(options.id, options);
            send(channel.for_sensor(id_));
        }
    }

    bool has_channel(int channel_id) const {
        if (!channels_) {
            throw utils::exceptions::channel_map_not_initialized();
        }
        return channels_->is_known_to_runtime(channel_id) || channels_->is_definition_registered(channel_id);
    }

    // Hands a message to the host, unless the host has destroyed this instance.
    void send(const messaging::wexo_message& message) const {
        // Held while the host's callback runs, so that retire() cannot return
        // while a message of this instance is still on its way.
        std::lock_guard lock(delivery_mutex_);
        if (retired_) {
            note_dropped();
            return;
        }
        // Looked up once: the container's look-up takes its lock each time.
        if (!messages_) {
            messages_ = container_->get_instance<messaging::message_service_interface>();
        }
        messages_->send(message);
    }

    // Drops the channel map, as a sensor that declares no channels would have it.
    void reset_channel_map() { channels_.reset(); }

private:
    // Clears the scanning flag on every way out of the scan frame.
    class scan_claim {
    public:
        explicit scan_claim(std::atomic<bool>& flag) noexcept : flag_(flag) {}
        ~scan_claim() { flag_.store(false, std::memory_order_release); }
        scan_claim(const scan_claim&) = delete;
        scan_claim& operator=(const scan_claim&) = delete;

    private:
        std::atomic<bool>& flag_;
    };

    void note_dropped() const noexcept {
        try {
            container_->get_instance<liblog::log_interface>()->log(
                liblog::level_warning,
                "Sensor " + std::to_string(id_) + " was destroyed during its scan: its message is dropped, not sent.");
        } catch (...) {
            // No runtime log: dropping the message silently is still right.
        }
    }

    template <class E> void report_escaped(const E& error) {
        log(error.what());
        try {
            send(error_result(error, 0, responses::scan_response_codes::error));
        } catch (const std::exception& e) {
            log(std::string("Could not send the error result: ") + e.what(), liblog::level_warning);
        }
    }

    std::shared_ptr<utils::service_container> container_;
    int id_;
    Settings settings_;
    std::shared_ptr<settings::channel_map> channels_;
    settings::persistent_data_storage persistent_data_;
    std::shared_ptr<liblog::log_interface> log_;
    std::atomic<bool> scanning_{false};
    // Recursive: the host may destroy this sensor from the callback that is
    // delivering one of its messages.
    mutable std::recursive_mutex delivery_mutex_;
    bool retired_ = false;                                                   // guarded by delivery_mutex_
    mutable std::shared_ptr<messaging::message_service_interface> messages_; // guarded by delivery_mutex_
};

} // namespace vantrel::kelvane::libwexohelper::sensors
