#include <dns/manifest.hpp>

#include "manifest_pieces.hpp"

#include <string>

namespace vantrel::kelvane::dns {
namespace {

constexpr std::string_view document_open = "{\n";
constexpr std::string_view member_separator = ",\n";
constexpr std::string_view text_open = "  \"Text\": {\n";
constexpr std::string_view text_close = "\n  }";
constexpr std::string_view document_close = "\n}\n";

// The host shows languages in the catalogue's order.
constexpr std::array<std::string_view (*)() noexcept, 9> languages = {
    manifest_pieces::text_russian,  manifest_pieces::text_brazilian, manifest_pieces::text_dutch,
    manifest_pieces::text_japanese, manifest_pieces::text_french,    manifest_pieces::text_spanish,
    manifest_pieces::text_english,  manifest_pieces::text_german,    manifest_pieces::text_simplified_chinese,
};

// The top-level members, then (with the texts) the catalogue, each document in
// one allocation of its exact size: the full one is 150 KB, and every
// reallocation on the way would touch that many fresh pages again.
std::string join(bool with_texts) {
    const auto structure = manifest_pieces::structure();
    std::size_t size = document_open.size() + document_close.size();
    for (const auto piece : structure) {
        size += piece.size() + member_separator.size();
    }
    if (with_texts) {
        size += member_separator.size() + text_open.size() + text_close.size();
        for (const auto language : languages) {
            size += language().size() + member_separator.size();
        }
    }
    std::string document;
    document.reserve(size);
    document += document_open;
    bool first = true;
    for (const auto piece : structure) {
        if (!first) {
            document += member_separator;
        }
        document += piece;
        first = false;
    }
    if (with_texts) {
        // "Text" is the last member, so both documents share everything before it; leaving it out then
        // touches only the separator in front of it and nothing else.
        document += member_separator;
        document += text_open;
        first = true;
        for (const auto language : languages) {
            if (!first) {
                document += member_separator;
            }
            document += language();
            first = false;
        }
        document += text_close;
    }
    document += document_close;
    return document;
}

} // namespace

std::string_view manifest_json() {
    static const std::string full = join(true);
    return full;
}

std::string_view manifest_json_without_texts() {
    static const std::string without_texts = join(false);
    return without_texts;
}

} // namespace vantrel::kelvane::dns
