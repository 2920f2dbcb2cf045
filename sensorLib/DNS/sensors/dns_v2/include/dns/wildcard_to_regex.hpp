#pragma once

#include <string>
#include <string_view>

namespace vantrel::kelvane::dns {

enum class wildcard_mode {
    // Only "*" is a wildcard; "?" stands for itself. The DNS record filter uses this mode.
    star_only,
    // "*" matches any text and "?" any single character.
    star_and_question_mark,
};

// The ECMAScript source of a wildcard text: every regex special character
// (\ ^ $ . + ( ) [ ] { } | and, in star_only mode, ?) is escaped with a
// backslash, "*" becomes ".*" and, in star_and_question_mark mode, "?" becomes
// ".". No anchors are added. Pure and thread-safe.
std::string wildcard_to_regex(std::string_view wildcard, wildcard_mode mode);

} // namespace vantrel::kelvane::dns
