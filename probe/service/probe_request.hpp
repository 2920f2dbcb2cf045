#pragma once

#include "manifest_model.hpp"
#include "service_config.hpp"

#include <wexo_host.pb.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vantrel::kelvane::probe::service {

// One /probe request, checked: the kind, every setting (defaults, then the
// preset's, then the request's), and whether the scan's log is wanted.
struct probe_request {
    std::string kind;
    std::string module; // the preset's name, or empty
    std::string target;
    host_wire::SensorData settings;
    bool debug = false;
};

// A request that cannot be run; what() is the reason for the HTTP 400 answer,
// one line, without the value of any secure setting.
class bad_probe_request : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

using probe_parameters = std::vector<std::pair<std::string, std::string>>;

// Reads /probe requests against one configuration's presets and the manifest.
// What does not depend on the request (each kind's defaults, each preset laid
// over them, and which of those values pass their checks) is worked out once,
// when the reader is made, not on every request. Never changed once made, so
// any number of threads may read with it; `manifest` must outlive it.
class probe_request_reader {
public:
    probe_request_reader(std::map<std::string, module_preset> presets, const manifest_model& manifest);

    // Reads `?kind=KIND&target=HOST&SETTING=VALUE...` or `?module=NAME&target=HOST...`.
    // A SETTING is a full key, a common key or a unique bare name, as in the
    // configuration; `target` is the device (the `host` setting). With
    // `scrape_timeout` (seconds Prometheus waits for the answer), every timeout
    // setting is lowered so that the scan ends before Prometheus gives up.
    // Throws bad_probe_request.
    probe_request read(const probe_parameters& parameters, std::optional<double> scrape_timeout = std::nullopt) const;

private:
    // Every setting of a kind before the request's own: the defaults, the
    // preset's values over them, and what checking each of them said.
    struct base_settings {
        host_wire::SensorData settings;
        std::vector<std::optional<std::string>> problems; // by the kind's setting, in its order
        std::string error;                                // a preset key that names no setting, as it is answered
    };
    base_settings make_base(const kind_description& kind, const module_preset* preset) const;

    std::map<std::string, module_preset> presets_;
    const manifest_model& manifest_;
    std::map<std::string, base_settings> kind_bases_;   // by kind, sensors only
    std::map<std::string, base_settings> preset_bases_; // by preset name
};

// One request read with a reader made for it.
probe_request parse_probe_request(const probe_parameters& parameters,
                                  const std::map<std::string, module_preset>& presets, const manifest_model& manifest,
                                  std::optional<double> scrape_timeout = std::nullopt);

} // namespace vantrel::kelvane::probe::service
