#include "manifest_texts.hpp"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe {
namespace {

const std::string manifest = R"({"Sensors": {"a": {"Text": "not the catalogue"}},
  "Text": {"German": {"k": "de \"}\" {"}, "English": {"k": "en"}, "French": {"k": "fr"}},
  "Lookups": {"l": [1, 2]}})";

TEST(KeepTextLanguages, KeepsEnglishAndTheWantedLanguageAndEverythingElse) {
    const auto kept = nlohmann::json::parse(keep_text_languages(manifest, {"german"}));
    EXPECT_EQ(kept["Text"], nlohmann::json::parse(R"({"German": {"k": "de \"}\" {"}, "English": {"k": "en"}})"));
    EXPECT_EQ(kept["Sensors"], nlohmann::json::parse(manifest)["Sensors"]);
    EXPECT_EQ(kept["Lookups"], nlohmann::json::parse(manifest)["Lookups"]);

    const auto english = nlohmann::json::parse(keep_text_languages(manifest, {"English"}));
    EXPECT_EQ(english["Text"].size(), 1u);
}

TEST(KeepTextLanguages, UnknownLanguageOrUnexpectedShapeKeepsTheWholeManifest) {
    EXPECT_EQ(keep_text_languages(manifest, {"Klingon"}), manifest);
    EXPECT_EQ(keep_text_languages(R"({"Text": [1]})", {}), R"({"Text": [1]})");
    EXPECT_EQ(keep_text_languages(R"({"Text": {"English": )", {}), R"({"Text": {"English": )");
    EXPECT_EQ(keep_text_languages("[]", {}), "[]");
}

} // namespace
} // namespace vantrel::kelvane::probe
