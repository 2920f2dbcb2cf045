#pragma once

#include <exception>
#include <string>
#include <utility>

namespace vantrel::kelvane::libexception {

// Root of every exception the platform and the module throw. Carries a plain
// message text; `what` returns it. Never crosses the module's C boundary.
class exception : public std::exception {
public:
    explicit exception(std::string message) : message_(std::move(message)) {}

    const char* what() const noexcept override { return message_.c_str(); }
    const std::string& message() const noexcept { return message_; }

private:
    std::string message_;
};

// Gives an exception family its own root type while inheriting the
// constructors of `Base`, so that callers can catch a family apart.
template <class Base>
class _exception : public Base {
public:
    using Base::Base;
};

} // namespace vantrel::kelvane::libexception
