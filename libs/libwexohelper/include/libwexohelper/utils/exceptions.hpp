#pragma once

// The platform's errors. Every one is an i18n exception whose key begins with
// "libwexohelper.error."; the English texts live in platform_texts.cpp.

#include <libi18n/english_texts.hpp>
#include <libi18n/i18n_exception.hpp>

#include <string>
#include <utility>
#include <vector>

namespace vantrel::kelvane::libwexohelper::utils::exceptions {

// Adds the English texts of the platform's keys to the process-wide table.
// Thread-safe and cheap after the first call; the module calls it at start.
void register_platform_texts();

// The platform's key-to-English pairs (constant data).
std::span<const libi18n::text_entry> platform_english_texts();

// Root of the platform's errors; makes sure the platform's English texts are known.
class exception : public libi18n::_i18n_exception<libi18n::i18n_exception> {
public:
    exception(std::string key, std::vector<std::string> arguments);
};

#define WEXO_PLATFORM_ERROR(name, base, key)                                                       \
    class name : public base {                                                                     \
    public:                                                                                        \
        explicit name(std::vector<std::string> arguments = {})                                     \
            : base("libwexohelper.error." key, std::move(arguments)) {}                           \
        explicit name(std::string argument) : base("libwexohelper.error." key, {std::move(argument)}) {} \
                                                                                                   \
    protected:                                                                                     \
        name(std::string full_key, std::vector<std::string> arguments)                             \
            : base(std::move(full_key), std::move(arguments)) {}                                   \
    };

WEXO_PLATFORM_ERROR(initialization_error, exception, "initialization")
WEXO_PLATFORM_ERROR(service_container_error, exception, "service_container")
WEXO_PLATFORM_ERROR(already_contains_factory, service_container_error, "already_contains_factory")
WEXO_PLATFORM_ERROR(already_contains_instance, service_container_error, "already_contains_instance")
WEXO_PLATFORM_ERROR(factory_not_available, service_container_error, "factory_not_available")
WEXO_PLATFORM_ERROR(instance_not_available, service_container_error, "instance_not_available")
WEXO_PLATFORM_ERROR(sensor_registry_error, exception, "sensor_registry")
WEXO_PLATFORM_ERROR(sensor_already_registered, sensor_registry_error, "sensor_already_registered")
WEXO_PLATFORM_ERROR(sensor_not_in_sensor_stock, sensor_registry_error, "sensor_not_in_sensor_stock")
WEXO_PLATFORM_ERROR(setting_not_available, exception, "setting_not_available")
WEXO_PLATFORM_ERROR(setting_selection_parse_error, exception, "setting_selection_parse_error")
WEXO_PLATFORM_ERROR(string_too_long, exception, "string_too_long")
WEXO_PLATFORM_ERROR(setting_invalid, exception, "setting_invalid")
WEXO_PLATFORM_ERROR(setting_invalid_less_min, exception, "setting_invalid_less_min")
WEXO_PLATFORM_ERROR(setting_invalid_bigger_max, exception, "setting_invalid_bigger_max")
WEXO_PLATFORM_ERROR(message_exception, exception, "message_exception")
WEXO_PLATFORM_ERROR(message_too_long, message_exception, "message_too_long")
WEXO_PLATFORM_ERROR(message_serialization_failed, message_exception, "message_serialization_failed")
WEXO_PLATFORM_ERROR(message_deserialization_failed, message_exception, "message_deserialization_failed")
WEXO_PLATFORM_ERROR(create_protobuf_from_json_failed, message_exception, "create_protobuf_from_json_failed")
WEXO_PLATFORM_ERROR(channel_already_defined, exception, "channel_already_defined")
WEXO_PLATFORM_ERROR(channel_not_defined, exception, "channel_not_defined")
WEXO_PLATFORM_ERROR(channel_map_not_initialized, exception, "channel_map_not_initialized")
WEXO_PLATFORM_ERROR(invalid_channel_mode, exception, "invalid_channel_mode")
WEXO_PLATFORM_ERROR(lookup_name_not_defined, exception, "lookup_name_not_defined")
WEXO_PLATFORM_ERROR(invalid_lookup_value, exception, "invalid_lookup_value")
WEXO_PLATFORM_ERROR(invalid_reverse_lookup_value, exception, "invalid_reverse_lookup_value")
#undef WEXO_PLATFORM_ERROR

} // namespace vantrel::kelvane::libwexohelper::utils::exceptions
