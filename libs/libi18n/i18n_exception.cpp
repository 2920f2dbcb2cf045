#include <libi18n/i18n_exception.hpp>

namespace vantrel::kelvane::libi18n {

i18n_exception::i18n_exception(std::string key, std::vector<std::string> arguments)
    : i18n_exception(i18n_msg(std::move(key), std::move(arguments))) {}

i18n_exception::i18n_exception(i18n_msg message)
    : libexception::exception(message.english()), msg_(std::move(message)) {}

std::pair<std::string, std::string> i18n_exception::texts() const {
    return {msg_.serialize(), what()};
}

} // namespace vantrel::kelvane::libi18n
