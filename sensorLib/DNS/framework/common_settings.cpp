#include <dns/settings/common_settings.hpp>

namespace vantrel::kelvane::dns::settings {

common_settings common_settings::read(const sensor_data_wrapper& settings) {
    using libwexohelper::settings::kind_securestring;
    common_settings record;
    record.host = read_text(settings, "host");
    record.logging = read_selection(settings, "logging", parse_logging);
    record.timeout = read_integer(settings, "timeout", validation_rules::at_least(0));
    bool found = false;
    const std::string key = settings.get_value("vantrelcloudapikey", found);
    record.vantrelcloudapikey = kind_securestring::parse_and_validate(key, validation_rules::none(), "vantrelcloudapikey");
    record.ipversion = read_selection(settings, "ipversion", parse_ipversion);
    record.interval = read_integer(settings, "interval", validation_rules::at_least(1));
    return record;
}

} // namespace vantrel::kelvane::dns::settings
