#include <libwexohelper/utils/exceptions.hpp>

#include <libi18n/english_texts.hpp>

namespace vantrel::kelvane::libwexohelper::utils::exceptions {
namespace {

constexpr libi18n::text_entry texts[] = {
    {"libwexohelper.error.initialization", "Initialization error. %0:s"},
    {"libwexohelper.error.already_contains_factory", "The factory store already contains a factory with type %0:s."},
    {"libwexohelper.error.already_contains_instance",
     "The instance store already contains an instance with type %0:s."},
    {"libwexohelper.error.already_contains_instance_key",
     "The instance store already contains an instance with type %0:s and key %1:s."},
    {"libwexohelper.error.factory_not_available", "The factory store can't find a factory with type %0:s."},
    {"libwexohelper.error.instance_not_available", "The instance store can't find an instance with type %0:s."},
    {"libwexohelper.error.instance_not_available_key",
     "The instance store can't find an instance with type %0:s and key %1:s."},
    {"libwexohelper.error.service_container", "A service container error occurred. %0:s"},
    {"libwexohelper.error.sensor_registry", "A sensor registry error occurred. %0:s"},
    {"libwexohelper.error.sensor_already_registered", "Sensor with ID %0:s is already registered."},
    {"libwexohelper.error.sensor_not_in_sensor_stock", "Sensor with ID %0:s is not in sensor list."},
    {"libwexohelper.error.setting_not_available", "The setting \"%0:s\" was not available."},
    {"libwexohelper.error.setting_selection_parse_error",
     "Value \"%0:s\" could not be parsed into selection type \"%1:s\"."},
    {"libwexohelper.error.string_too_long",
     "%0:s's value with length %1:s is longer than the maximum allowed length of %2:s."},
    {"libwexohelper.error.setting_invalid_less_min", "Setting value %0:s is less than the allowed value of %1:s."},
    {"libwexohelper.error.setting_invalid_bigger_max", "Setting value %0:s is bigger than the allowed value of %1:s."},
    {"libwexohelper.error.setting_invalid", "Setting value %0:s is invalid. %1:s"},
    {"libwexohelper.error.message_too_long",
     "The Message with size %0:s bytes is larger than the maximum allowed length of %1:s bytes."},
    {"libwexohelper.error.message_serialization_failed", "Could not serialize message to buffer."},
    {"libwexohelper.error.message_deserialization_failed", "Could not deserialize message type %0:s of size %1:s."},
    {"libwexohelper.error.message_exception", "A message error occurred. %0:s"},
    {"libwexohelper.error.create_protobuf_from_json_failed", "Could not create the settings message from JSON. %0:s"},
    {"libwexohelper.error.channel_already_defined", "Channel with ID %0:s and name %1:s is already defined."},
    {"libwexohelper.error.channel_not_defined", "Channel with ID %0:s is not defined."},
    {"libwexohelper.error.channel_map_not_initialized", "Channel map is not initialized."},
    {"libwexohelper.error.invalid_channel_mode",
     "set_value called with an %0:s value, but the channel's value mode is not %1:s."},
    {"libwexohelper.error.lookup_name_not_defined",
     "The following lookup name is not defined: %0:s. Valid lookup names are: %1:s"},
    {"libwexohelper.error.invalid_lookup_value",
     "The following lookup value is invalid: %0:s. Valid lookup values are: %1:s"},
    {"libwexohelper.error.invalid_reverse_lookup_value",
     "The following reverse lookup value is invalid: %0:s. Valid reverse lookup values are: %1:s"},
};

std::string registered(std::string key) {
    register_platform_texts();
    return key;
}

} // namespace

std::span<const libi18n::text_entry> platform_english_texts() { return texts; }

void register_platform_texts() {
    static const bool once = (libi18n::add_english_texts(texts), true);
    (void)once;
}

exception::exception(std::string key, std::vector<std::string> arguments)
    : _i18n_exception(registered(std::move(key)), std::move(arguments)) {}

} // namespace vantrel::kelvane::libwexohelper::utils::exceptions
