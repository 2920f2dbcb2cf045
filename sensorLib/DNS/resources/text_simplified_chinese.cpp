#include "manifest_pieces.hpp"

namespace vantrel::kelvane::dns::manifest_pieces {

// Not translated yet: the host falls back to English for every key.
std::string_view text_simplified_chinese() noexcept {
    return R"json(    "SimplifiedChinese": {
      "Translation": {

      }
    })json";
}

} // namespace vantrel::kelvane::dns::manifest_pieces
