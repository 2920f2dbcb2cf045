#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace vantrel::kelvane::libi18n {

struct text_entry {
    std::string_view key;
    std::string_view text;
};

// Process-wide key-to-English table. Each library adds its constant table
// once (typically from a function-local static on first use); entries point at
// static data and are never removed. A key added twice keeps its first text.
// Thread-safe.
void add_english_texts(std::span<const text_entry> table);

// The English text of a key, if any table holds it. Thread-safe.
std::optional<std::string_view> english_text(std::string_view key);

} // namespace vantrel::kelvane::libi18n
