#include <dns/exceptions.hpp>

#include <dns/english_texts.hpp>

namespace vantrel::kelvane::dns::exceptions {
namespace {

std::string registered(std::string key) {
    register_english_texts();
    return key;
}

} // namespace

exception::exception(std::string key, std::vector<std::string> arguments)
    : libi18n::i18n_exception(registered(std::move(key)), std::move(arguments)) {}

query_failed::query_failed(int status, std::string status_text)
    : exception("error.query_failed", {std::to_string(status), std::move(status_text)}), status_(status) {}

} // namespace vantrel::kelvane::dns::exceptions
