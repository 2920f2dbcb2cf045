#pragma once

#include "manifest_model.hpp"
#include "secret_filter.hpp"

#include <wexo_host.pb.h>

#include <optional>
#include <string>
#include <vector>

namespace vantrel::kelvane::probe {

// What a person asked for on the command line.
struct settings_request {
    std::vector<std::string> assignments;      // KEY=VALUE; \n, \r, \t and \\ in VALUE are unescaped
    std::vector<std::string> file_assignments; // KEY=PATH; the value is the file's content
    std::string settings_file;                 // JSON: a SensorData, or a flat object of key -> text
    bool verbose = false;                      // turns the sensor log on
};

// Settings for one kind: every setting's manifest default (the probe's own
// defaults for the common settings), then the settings file, then the
// assignments. A KEY is a full key ("section.group.setting"), a common key
// ("host"), or a setting's bare name when only one setting has it. Every
// value is checked against the manifest (check_setting_value).
//
// Throws std::runtime_error with a message that lists the valid keys for an
// unknown key, names any required setting left empty, or says why a value is
// not allowed. No message quotes the settings file or an argument that is not
// KEY=VALUE (either may hold a secret). Each secure value read is added to
// `secrets` (when given) as soon as it is read.
host_wire::SensorData build_settings(const kind_description& kind, const settings_request& request,
                                     secret_filter* secrets = nullptr);

// The error build_settings gives for the first required setting of `kind`
// that is empty in `settings` while its condition holds; nullopt for none.
std::optional<std::string> missing_required(const kind_description& kind, const host_wire::SensorData& settings);

// Resolves a KEY as build_settings does. Throws std::runtime_error.
const setting_description& resolve_setting(const kind_description& kind, const std::string& key);

// Undoes \n, \r, \t and \\ escapes.
std::string unescape(const std::string& value);

} // namespace vantrel::kelvane::probe
