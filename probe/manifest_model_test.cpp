#include "manifest_model.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace vantrel::kelvane::probe {
namespace {

// The catalogue is read without a parse; these cases hold it to what a parse
// of the same text gives.
const std::string manifest = R"({"Sensors": {"s": {"Display": "Sensor", "Text": "not the catalogue"}},
  "Text": {
    "German": {"Translation": {"k": {"Display": "de \"}\" {"}, "only.german": {"Display": "nur"}}},
    "English": {"Translation": {
      "k": {"Display": "en"},
      "escaped": {"Display": "caf\u00e9 \\ \"q\" \u2603\ud83d\ude00"},
      "key \"quoted\"": {"Display": "found"},
      "no.display": {"Other": "x"},
      "not.object": "text"}},
    "French": {"Translation": {"k": {"Display": "fr"}}}
  },
  "Lookups": {"l": {"LookupValues": [{"Value": 1, "Display": "Yes"}]}}})";

TEST(ManifestCatalogue, TextsInTheLanguageElseInEnglish) {
    const manifest_model m(manifest);
    EXPECT_EQ(m.text("k", "German"), "de \"}\" {");
    EXPECT_EQ(m.text("k", "French"), "fr");
    EXPECT_EQ(m.text("only.german", "French"), std::nullopt);
    EXPECT_EQ(m.text("escaped", "French"), "caf\xC3\xA9 \\ \"q\" \xE2\x98\x83\xF0\x9F\x98\x80");
    EXPECT_EQ(m.text("key \"quoted\"", "English"), "found");
    EXPECT_EQ(m.text("no.display", "English"), "");
    EXPECT_EQ(m.text("not.object", "English"), "");
    EXPECT_EQ(m.text("missing", "English"), std::nullopt);
    EXPECT_EQ(m.languages(), (std::vector<std::string>{"German", "English", "French"}));
    EXPECT_EQ(m.language_named("gErMaN"), "German");
    EXPECT_EQ(m.lookup_text("l", 1, "German"), "Yes");
}

TEST(ManifestCatalogue, NamedLanguagesAreReadBesideEnglishAndAllStayListed) {
    const manifest_model m(manifest, {"german"});
    EXPECT_EQ(m.text("k", "German"), "de \"}\" {");
    EXPECT_EQ(m.text("k", "French"), "en") << "French was not read, so English stands in";
    EXPECT_EQ(m.languages(), (std::vector<std::string>{"German", "English", "French"}));
}

TEST(ManifestCatalogue, TheRestOfTheDocumentIsParsedWithoutIt) {
    const manifest_model m(manifest);
    EXPECT_FALSE(m.document().contains("Text"));
    EXPECT_EQ(m.document()["Sensors"]["s"]["Text"], "not the catalogue");
    ASSERT_NE(m.find_kind("s"), nullptr);
    EXPECT_EQ(m.find_kind("s")->display, "Sensor");
}

TEST(ManifestCatalogue, ACatalogueThatIsNotAnObjectHasNoLanguages) {
    const manifest_model m(R"({"Text": [1], "Sensors": {}})");
    EXPECT_TRUE(m.languages().empty());
    EXPECT_EQ(m.text("k", "English"), std::nullopt);
}

TEST(ManifestCatalogue, BrokenTextIsRefusedWhereverItIs) {
    for (const std::string broken :
         {R"({"Text": {"English": {"Translation": {"k": }}}})",
          R"({"Text": {"English": {"Translation": {"k": {"Display": "\q"}}}}})",
          R"({"Text": {"English": {}}, "Sensors": )", R"({"Sensors": {} "Text": {}})", R"([{"Text": {}}])", ""}) {
        EXPECT_THROW(manifest_model{broken}, std::runtime_error) << broken;
    }
}

} // namespace
} // namespace vantrel::kelvane::probe
