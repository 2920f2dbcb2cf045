#include "manifest_pieces.hpp"

namespace vantrel::kelvane::dns::manifest_pieces {

// Not translated yet: the host falls back to English for every key.
std::string_view text_dutch() noexcept {
    return R"json(    "Dutch": {
      "Translation": {

      }
    })json";
}

} // namespace vantrel::kelvane::dns::manifest_pieces
