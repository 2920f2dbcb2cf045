#pragma once

#include <libwexohelper/module/module_instance.hpp>

namespace vantrel::kelvane::dns {

// The DNS module: registers its check, its sensors and the DNS client factory.
class WexoModuleDNS final : public libwexohelper::module::module_instance {
public:
    WexoModuleDNS(std::uint64_t context, libwexohelper::module::host_callback callback);
    ~WexoModuleDNS() override;

    // A copy of the module's manifest, texts included.
    std::string module_information() const override;
};

} // namespace vantrel::kelvane::dns
