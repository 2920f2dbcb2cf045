#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::libi18n {

// A translatable message: a catalogue key with ordered arguments for its
// placeholders "%0:s", "%1:s", ... A message without a key is plain text that
// no catalogue translates (for example a list of DNS records).
class i18n_msg {
public:
    i18n_msg() = default;
    i18n_msg(std::string key, std::vector<std::string> arguments);

    static i18n_msg plain(std::string text);

    bool is_plain() const noexcept { return key_.empty(); }
    const std::string& key() const noexcept { return key_; }
    const std::vector<std::string>& arguments() const noexcept { return arguments_; }
    // The text of a plain message; empty for a catalogue message.
    const std::string& plain_text() const noexcept { return plain_text_; }

    // The catalogue's English text with the arguments filled in; the key and
    // its arguments when the key has no English text; the text of a plain message.
    std::string english() const;

    // "key#:[arg0,arg1]" with \ # [ ] , : escaped by a backslash inside the
    // arguments, so that a host can split the text unambiguously.
    std::string serialize() const;

private:
    std::string key_;
    std::vector<std::string> arguments_;
    std::string plain_text_;
};

// Precedes each of \ # [ ] , : with a backslash.
std::string escape_argument(std::string_view argument);

} // namespace vantrel::kelvane::libi18n
