#include <dns/client_settings.hpp>
#include <dns/dns_check.hpp>
#include <dns/dns_helper_factory.hpp>
#include <dns/manifest.hpp>

#include <exception>
#include <string>

namespace vantrel::kelvane::dns {

namespace settings {
dns_check dns_check::read(const sensor_data_wrapper& settings) {
    dns_check record;
    static_cast<common_settings&>(record) = common_settings::read(settings);
    return record;
}
} // namespace settings

dns_check::dns_check(std::shared_ptr<libwexohelper::utils::service_container> container, int id,
                     const libwexohelper::settings::sensor_data_wrapper& settings)
    : check_base(std::move(container), id, settings) {
    log("Initialize: " + std::string(manifest_names::dns_check) +
        " version is: " + std::string(manifest_names::module_version));
}

dns_check::~dns_check() = default;

void dns_check::check() {
    bool success = false;
    try {
        auto client =
            container()->get_factory<dns_helper_factory>()(device_client_settings(settings(), port, timeout_ms));
        client->query(".", "NS", check_log());
        success = true;
    } catch (const std::exception& e) {
        // The host only learns success or failure; the reason stays in the log.
        log(std::string("DNS check failed: ") + e.what());
    }
    send_result(success);
}

} // namespace vantrel::kelvane::dns
