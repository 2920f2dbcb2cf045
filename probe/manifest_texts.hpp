#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::probe {

// The manifest with its text catalogue cut down to English (every text falls
// back to it) and the languages named in `languages` (matched in any case).
// Nine languages make up most of the manifest; a scan shows one, so the rest
// is dropped before the manifest is parsed. Returns the manifest unchanged
// when a wanted language is not in the catalogue (so that the refusal can
// list them all) or when the text does not have the expected shape.
std::string keep_text_languages(std::string_view manifest, const std::vector<std::string>& languages);

} // namespace vantrel::kelvane::probe
