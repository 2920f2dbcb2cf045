#pragma once

#include <libexception/exception.hpp>
#include <libi18n/i18n_msg.hpp>

#include <string>
#include <utility>
#include <vector>

namespace vantrel::kelvane::libi18n {

// An error a user can see: a catalogue key with ordered arguments, so that the
// host can show it in the user's language. `what` is the English text.
class i18n_exception : public libexception::exception {
public:
    i18n_exception(std::string key, std::vector<std::string> arguments);
    explicit i18n_exception(i18n_msg message);

    const i18n_msg& message_key() const noexcept { return msg_; }
    // The serialised message ("key#:[args]") and the English text.
    virtual std::pair<std::string, std::string> texts() const;

private:
    i18n_msg msg_;
};

// Gives an i18n exception family its own root type (see libexception::_exception).
template <class Base>
class _i18n_exception : public Base {
public:
    using Base::Base;
};

// "An error occurred. %0:s"
class generic_error : public i18n_exception {
public:
    explicit generic_error(std::string detail) : i18n_exception("libi18n.error.generic", {std::move(detail)}) {}
};

} // namespace vantrel::kelvane::libi18n
