#pragma once

// The stored pieces of the manifest. Each piece is one complete member of the top-level object (or, for the
// catalogue, one language member of "Text"), indented as it stands in the document and without a separator,
// so that the joiner alone decides what stands between them.

#include <array>
#include <span>
#include <string_view>

namespace vantrel::kelvane::dns::manifest_pieces {

// "MetaData" to "Lookups", in document order.
std::span<const std::string_view> structure() noexcept;

std::string_view text_russian() noexcept;
std::string_view text_brazilian() noexcept;
std::string_view text_dutch() noexcept;
std::string_view text_japanese() noexcept;
std::string_view text_french() noexcept;
std::string_view text_spanish() noexcept;
std::string_view text_english() noexcept;
std::string_view text_german() noexcept;
std::string_view text_simplified_chinese() noexcept;

} // namespace vantrel::kelvane::dns::manifest_pieces
