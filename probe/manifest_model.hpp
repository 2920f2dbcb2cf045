#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vantrel::kelvane::probe {

// One setting a sensor or check shows, as the manifest describes it.
struct setting_description {
    std::string key;     // what the host sends: "section.group.setting", or a common key
    std::string name;    // the setting's own name
    std::string display; // English
    std::string help;
    std::string default_value;
    std::string type; // "text", "multiline text", "selection", "integer", "secret"
    std::optional<std::int64_t> minimum;
    std::optional<std::int64_t> maximum;
    std::vector<std::pair<std::string, std::string>> options; // value, display
    std::string depends_on;                                   // shown only when this selection ...
    std::string condition;                                    // ... has one of these comma-separated values
    bool required = false;
    bool common = false; // a common setting that no manifest group lists
    bool secure = false; // its value is never shown: the cloud API key, or a "Password" setting of the manifest
};

struct kind_description {
    std::string name;
    std::string display;
    std::string description;
    bool is_check = false;
    std::vector<std::string> required_checks;
    std::vector<setting_description> settings;
};

// The module's manifest read for a person: kinds with their settings, the
// lookups, and the text catalogue with English fallback.
class manifest_model {
public:
    // Throws std::runtime_error when the text is not a manifest. With
    // `languages` named (in any case), only their texts and English are read;
    // languages() still lists every language of the catalogue.
    explicit manifest_model(const std::string& manifest_json, const std::vector<std::string>& languages = {});

    // The manifest without its text catalogue ("Text"), which is read into tables instead.
    const nlohmann::ordered_json& document() const noexcept { return doc_; }
    const std::vector<kind_description>& kinds() const noexcept { return kinds_; }
    // Null for an unknown kind.
    const kind_description* find_kind(const std::string& name) const;
    std::vector<std::string> kind_names(bool checks) const;

    // Languages of the catalogue, in manifest order.
    std::vector<std::string> languages() const;
    // The manifest's spelling of a language given in any case; empty if unknown.
    std::string language_named(const std::string& name) const;
    // The text of a catalogue key in a language, else in English, else empty.
    std::optional<std::string> text(const std::string& key, const std::string& language) const;
    // The key's text, with arguments filled in, or `fallback` when no language has the key.
    std::string translate(const std::string& key, const std::vector<std::string>& arguments,
                          const std::string& language, const std::string& fallback) const;
    // What a lookup shows for a value ("Yes"/"No"), translated; empty if none.
    std::string lookup_text(const std::string& lookup, std::int64_t value, const std::string& language) const;

private:
    // Texts of one language by catalogue key.
    using catalogue = std::unordered_map<std::string, std::string>;
    // Reads the "Text" object at json[begin]; false when it is not one.
    bool read_catalogues(std::string_view json, std::size_t begin, const std::vector<std::string>& wanted);
    const catalogue* texts_of(const std::string& language) const;
    // The text in the language, else in English; null when neither has the key.
    const std::string* find_text(const std::string& key, const std::string& language) const;

    nlohmann::ordered_json doc_;
    std::vector<kind_description> kinds_;
    // The languages in manifest order.
    std::vector<std::pair<std::string, catalogue>> catalogues_;
};

// Common settings every kind receives although no manifest group lists them,
// with the defaults a probe gives them.
std::vector<setting_description> common_settings();

// Names and full keys of every secure setting of every kind, for finding
// their values in a command line.
std::vector<std::string> secure_setting_names(const std::vector<kind_description>& kinds);

} // namespace vantrel::kelvane::probe
