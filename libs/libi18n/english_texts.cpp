#include <libi18n/english_texts.hpp>

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace vantrel::kelvane::libi18n {
namespace {

struct registry {
    std::shared_mutex mutex;
    std::unordered_map<std::string_view, std::string_view> texts;
};

registry& the_registry() {
    // Never destroyed: exceptions may still be built while the process exits.
    static auto* r = new registry;
    return *r;
}

constexpr text_entry own_texts[] = {
    {"libi18n.error.generic", "An error occurred. %0:s"},
};

} // namespace

void add_english_texts(std::span<const text_entry> table) {
    auto& r = the_registry();
    std::unique_lock lock(r.mutex);
    for (const auto& entry : table) {
        r.texts.emplace(entry.key, entry.text);
    }
}

std::optional<std::string_view> english_text(std::string_view key) {
    static const bool own = (add_english_texts(own_texts), true);
    (void)own;
    auto& r = the_registry();
    std::shared_lock lock(r.mutex);
    if (const auto it = r.texts.find(key); it != r.texts.end()) {
        return it->second;
    }
    return std::nullopt;
}

} // namespace vantrel::kelvane::libi18n
