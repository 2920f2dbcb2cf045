#pragma once

#include <libexception/exception.hpp>

namespace vantrel::kelvane::libstringutils::exceptions {

// Formatter errors: programming errors in a text, so they carry plain English.
class exception : public libexception::_exception<libexception::exception> {
public:
    using _exception::_exception;
};

class format_string_error : public exception {
public:
    format_string_error() : exception("Malformed placeholder in format string.") {}
};

class placeholder_index_not_in_arguments : public exception {
public:
    explicit placeholder_index_not_in_arguments(const std::string& digits)
        : exception("Index " + digits + " is too high for argument list.") {}
};

} // namespace vantrel::kelvane::libstringutils::exceptions
