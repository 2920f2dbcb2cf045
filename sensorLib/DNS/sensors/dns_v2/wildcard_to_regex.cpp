#include <dns/wildcard_to_regex.hpp>

namespace vantrel::kelvane::dns {

std::string wildcard_to_regex(std::string_view wildcard, wildcard_mode mode) {
    std::string out;
    out.reserve(wildcard.size() * 2);
    for (const char c : wildcard) {
        switch (c) {
        case '\\':
        case '^':
        case '$':
        case '.':
        case '+':
        case '(':
        case ')':
        case '[':
        case ']':
        case '{':
        case '}':
        case '|':
            out.push_back('\\');
            out.push_back(c);
            break;
        case '?':
            if (mode == wildcard_mode::star_only) {
                out.append("\\?");
            } else {
                out.push_back('.');
            }
            break;
        case '*':
            out.append(".*");
            break;
        default:
            out.push_back(c);
        }
    }
    return out;
}

} // namespace vantrel::kelvane::dns
