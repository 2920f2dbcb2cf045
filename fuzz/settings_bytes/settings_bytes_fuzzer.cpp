// Settings bytes as a host might send them: any bytes become either a settings
// wrapper that the common settings are read from, or a clear refusal. Reading
// throws only the setting errors; the trace never shows the API key.

#include <dns/settings/common_settings.hpp>
#include <libi18n/i18n_exception.hpp>
#include <libwexohelper/settings/sensor_data_wrapper.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vantrel::kelvane;
    const libwexohelper::settings::sensor_data_wrapper wrapper(data, static_cast<std::uint32_t>(size));
    const std::string json = wrapper.to_json();
    bool found = false;
    const std::string key = wrapper.get_value("vantrelcloudapikey", found);
    if (found && key.size() >= 4 && json.find("\"vantrelcloudapikey\":" + std::string("\"") + key + "\"") != std::string::npos) {
        __builtin_trap(); // the secret reached the trace
    }
    try {
        dns::settings::common_settings::read(wrapper);
    } catch (const libi18n::i18n_exception&) {
    } catch (const std::bad_optional_access&) {
    }
    return 0;
}
