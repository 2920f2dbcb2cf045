#pragma once

// The factory through which sensors and checks obtain their DNS client. The
// module registers get_dns_helper_factory() in its factory store under
// dns_client_interface; tests register a fake instead.

#include <dns/dns_client_interface.hpp>
#include <dns/dns_helper_settings.hpp>

#include <functional>
#include <memory>

namespace vantrel::kelvane::dns {

using dns_helper_factory = std::function<std::unique_ptr<dns_client_interface>(dns_helper_settings)>;

// A factory that builds a c-ares client from the settings. The returned
// function is stateless and may be called from several threads; building a
// client may throw exceptions::query_failed when c-ares cannot be initialised.
dns_helper_factory get_dns_helper_factory();

} // namespace vantrel::kelvane::dns
