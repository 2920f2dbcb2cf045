#pragma once

#include <libi18n/english_texts.hpp>

#include <span>

namespace vantrel::kelvane::dns {

// Key-to-English pairs of every catalogue key the module's code refers to
// (errors, channels, lookups, module texts). Constant data.
std::span<const libi18n::text_entry> english_texts();

// Adds english_texts() to the process-wide table once. Thread-safe; cheap after the first call.
void register_english_texts();

} // namespace vantrel::kelvane::dns
