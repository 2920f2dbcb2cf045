#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vantrel::kelvane::libwexohelper::settings {

// Walks serialised SensorData bytes at the wire level and names the first
// text field that is not UTF-8 ("the value of setting 'KEY'", "the name of
// channel N", "the kind", ...; names escaped so that the reason is itself
// printable). nullopt when every text is UTF-8 or the bytes are no message at
// all (the real parse reports that). Reading the wire ourselves lets the
// refusal name the setting, which protobuf's own check cannot.
std::optional<std::string> find_text_that_is_not_utf8(const void* bytes, std::uint32_t size);

} // namespace vantrel::kelvane::libwexohelper::settings
