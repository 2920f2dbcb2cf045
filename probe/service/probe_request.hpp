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

// Reads `?kind=KIND&target=HOST&SETTING=VALUE...` or `?module=NAME&target=HOST...`.
// A SETTING is a full key, a common key or a unique bare name, as in the
// configuration; `target` is the device (the `host` setting). With
// `scrape_timeout` (seconds Prometheus waits for the answer), every timeout
// setting is lowered so that the scan ends before Prometheus gives up.
// Throws bad_probe_request.
probe_request parse_probe_request(const std::vector<std::pair<std::string, std::string>>& parameters,
                                  const std::map<std::string, module_preset>& presets, const manifest_model& manifest,
                                  std::optional<double> scrape_timeout = std::nullopt);

} // namespace vantrel::kelvane::probe::service
