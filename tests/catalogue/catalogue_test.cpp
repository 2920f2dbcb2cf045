// The texts the code carries at run time and the catalogue that travels to
// the host must say the same: a key the code raises without a catalogue entry
// would reach users untranslated, and a differing English text would read
// differently in the host than in the module's own logs.

#include <dns/english_texts.hpp>
#include <dns/manifest.hpp>
#include <libi18n/english_texts.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace vantrel::kelvane::tests {
namespace {

const nlohmann::json& english_catalogue() {
    static const nlohmann::json english =
        nlohmann::json::parse(dns::manifest_json()).at("Text").at("English").at("Translation");
    return english;
}

void expect_in_catalogue(std::span<const libi18n::text_entry> table) {
    for (const auto& [key, text] : table) {
        const std::string k(key);
        ASSERT_TRUE(english_catalogue().contains(k)) << k << " is raised by the code but missing from the catalogue";
        EXPECT_EQ(english_catalogue().at(k).at("Display").get<std::string>(), std::string(text)) << k;
    }
}

TEST(Catalogue, EveryModuleKeyHasTheSameEnglishTextInTheCatalogue) { expect_in_catalogue(dns::english_texts()); }

TEST(Catalogue, EveryPlatformKeyHasTheSameEnglishTextInTheCatalogue) {
    expect_in_catalogue(libwexohelper::utils::exceptions::platform_english_texts());
}

TEST(Catalogue, GenericErrorTextMatches) {
    libwexohelper::utils::exceptions::register_platform_texts();
    EXPECT_EQ(english_catalogue().at("libi18n.error.generic").at("Display").get<std::string>(),
              std::string(libi18n::english_text("libi18n.error.generic").value()));
}

} // namespace
} // namespace vantrel::kelvane::tests
