#include <libi18n/i18n_msg.hpp>

#include <libi18n/english_texts.hpp>
#include <libstringutils/format.hpp>

#include <utility>

namespace vantrel::kelvane::libi18n {

i18n_msg::i18n_msg(std::string key, std::vector<std::string> arguments)
    : key_(std::move(key)), arguments_(std::move(arguments)) {}

i18n_msg i18n_msg::plain(std::string text) {
    i18n_msg msg;
    msg.plain_text_ = std::move(text);
    return msg;
}

std::string i18n_msg::english() const {
    if (is_plain()) {
        return plain_text_;
    }
    if (const auto text = english_text(key_)) {
        try {
            return libstringutils::format(*text, arguments_);
        } catch (const std::exception&) {
            // A broken catalogue text must not hide the error it describes.
        }
    }
    return serialize();
}

std::string i18n_msg::serialize() const {
    if (is_plain()) {
        return plain_text_;
    }
    std::string out = key_;
    out += "#:[";
    for (std::size_t i = 0; i < arguments_.size(); ++i) {
        if (i != 0) {
            out += ',';
        }
        out += escape_argument(arguments_[i]);
    }
    out += ']';
    return out;
}

std::string escape_argument(std::string_view argument) {
    std::string out;
    out.reserve(argument.size());
    for (const char c : argument) {
        switch (c) {
        case '\\': case '#': case '[': case ']': case ',': case ':':
            out += '\\';
            break;
        default:
            break;
        }
        out += c;
    }
    return out;
}

} // namespace vantrel::kelvane::libi18n
