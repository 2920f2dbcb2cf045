#include "manifest_texts.hpp"

#include <libstringutils/json_skim.hpp>

#include <algorithm>
#include <cctype>

namespace vantrel::kelvane::probe {
namespace {

namespace skim = libstringutils::json_skim;

bool same_ignoring_case(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

} // namespace

std::string keep_text_languages(std::string_view manifest, const std::vector<std::string>& languages) {
    const std::string original(manifest);
    std::size_t text_begin = 0;
    std::size_t text_end = 0;
    const std::size_t start = skim::skip_space(manifest, 0);
    if (!skim::for_each_member(manifest, start,
                               [&](std::string_view key, std::size_t begin, std::size_t end) {
                                   if (key != "Text") {
                                       return true;
                                   }
                                   text_begin = begin;
                                   text_end = end;
                                   return false;
                               }) ||
        text_end == 0) {
        return original;
    }

    std::vector<bool> found(languages.size(), false);
    std::string kept = "{";
    const bool walked =
        skim::for_each_member(manifest, text_begin, [&](std::string_view language, std::size_t begin, std::size_t end) {
            bool keep = language == "English";
            for (std::size_t i = 0; i < languages.size(); ++i) {
                if (same_ignoring_case(language, languages[i])) {
                    found[i] = true;
                    keep = true;
                }
            }
            if (keep) {
                if (kept.size() > 1) {
                    kept += ',';
                }
                kept += '"';
                kept += language;
                kept += "\":";
                kept += manifest.substr(begin, end - begin);
            }
            return true;
        });
    if (!walked || std::find(found.begin(), found.end(), false) != found.end()) {
        return original;
    }
    kept += '}';

    std::string trimmed;
    trimmed.reserve(text_begin + kept.size() + (manifest.size() - text_end));
    trimmed.append(manifest.substr(0, text_begin));
    trimmed += kept;
    trimmed.append(manifest.substr(text_end));
    return trimmed;
}

} // namespace vantrel::kelvane::probe
