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

struct joined_manifest {
    std::string full;
    std::string without_texts;
};

joined_manifest join() {
    // "Text" is the last member, so both documents share everything before it; leaving it out then touches
    // only the separator in front of it and nothing else.
    std::string members(document_open);
    bool first = true;
    for (const auto piece : manifest_pieces::structure()) {
        if (!first) {
            members += member_separator;
        }
        members += piece;
        first = false;
    }

    joined_manifest m;
    m.without_texts = members;
    m.without_texts += document_close;

    m.full = std::move(members);
    m.full += member_separator;
    m.full += text_open;
    first = true;
    for (const auto language : languages) {
        if (!first) {
            m.full += member_separator;
        }
        m.full += language();
        first = false;
    }
    m.full += text_close;
    m.full += document_close;
    return m;
}

const joined_manifest& joined() {
    static const joined_manifest m = join();
    return m;
}

} // namespace

std::string_view manifest_json() {
    return joined().full;
}

std::string_view manifest_json_without_texts() {
    return joined().without_texts;
}

} // namespace vantrel::kelvane::dns
