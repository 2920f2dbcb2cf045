#pragma once

// The DNS module's own errors. Each carries one catalogue key beginning with
// "error." and its ordered arguments; `what` is the English text.

#include <libi18n/i18n_exception.hpp>

#include <string>
#include <utility>
#include <vector>

namespace vantrel::kelvane::dns::exceptions {

// Root of the module's errors; makes sure the module's English texts are known.
class exception : public libi18n::i18n_exception {
public:
    exception(std::string key, std::vector<std::string> arguments);
};

// A c-ares status other than success: "Error %0:s occurred: %1:s." with the
// status number and c-ares' own text for it. The subclasses add no text; they
// exist so that callers can catch the common statuses apart.
class query_failed : public exception {
public:
    query_failed(int status, std::string status_text);
    int status() const noexcept { return status_; }

private:
    int status_;
};

#define WEXO_DNS_QUERY_STATUS(name)                                                                \
    class name : public query_failed {                                                             \
    public:                                                                                        \
        using query_failed::query_failed;                                                          \
    };
WEXO_DNS_QUERY_STATUS(dns_nodata)
WEXO_DNS_QUERY_STATUS(dns_formerr)
WEXO_DNS_QUERY_STATUS(dns_servfail)
WEXO_DNS_QUERY_STATUS(dns_notfound)
WEXO_DNS_QUERY_STATUS(dns_refused)
WEXO_DNS_QUERY_STATUS(dns_timeout)
#undef WEXO_DNS_QUERY_STATUS

// Errors whose key is fixed and whose arguments the thrower gives.
#define WEXO_DNS_ERROR(name, key)                                                                  \
    class name : public exception {                                                                \
    public:                                                                                        \
        explicit name(std::vector<std::string> arguments = {})                                     \
            : exception(key, std::move(arguments)) {}                                              \
        explicit name(std::string argument) : exception(key, {std::move(argument)}) {}             \
    };
WEXO_DNS_ERROR(resolve_failed, "error.resolve_failed")
WEXO_DNS_ERROR(unsupported_address_family, "error.unsupported_address_family")
WEXO_DNS_ERROR(memory_allocation_failed, "error.memory_allocation_failed")
WEXO_DNS_ERROR(invalid_answer, "error.invalid_answer")
WEXO_DNS_ERROR(ip_parse_failed, "error.ip_parse_failed")
WEXO_DNS_ERROR(ip_conversion_failed, "error.invalid_ip_conversion")
WEXO_DNS_ERROR(invalid_ns_type, "error.invalid_ns_type")
WEXO_DNS_ERROR(invalid_ns_type_name, "error.invalid_ns_type_name")
WEXO_DNS_ERROR(invalid_ns_class, "error.invalid_ns_class")
WEXO_DNS_ERROR(invalid_ns_opcode, "error.invalid_ns_opcode")
WEXO_DNS_ERROR(invalid_ns_rcode, "error.invalid_ns_rcode")
WEXO_DNS_ERROR(dns_server_definition_invalid, "error.dns_server_definition_invalid")
WEXO_DNS_ERROR(dnsbl_initial_check_failed, "error.dnsbl_initial_check_failed")
#undef WEXO_DNS_ERROR

// "The address filter (%0:s) is invalid." and its two more specific forms.
class dns_server_filter_invalid : public exception {
public:
    explicit dns_server_filter_invalid(std::string filter)
        : exception("error.dns_server_filter_invalid", {std::move(filter)}) {}

protected:
    dns_server_filter_invalid(std::string key, std::string argument)
        : exception(std::move(key), {std::move(argument)}) {}
};

class dns_server_filter_invalid_range : public dns_server_filter_invalid {
public:
    // `range` is the text between the brackets, such as "20..10".
    explicit dns_server_filter_invalid_range(std::string range)
        : dns_server_filter_invalid("error.dns_server_filter_invalid_range", std::move(range)) {}
};

class dns_server_filter_invalid_value : public dns_server_filter_invalid {
public:
    // `value` is the offending number in decimal.
    explicit dns_server_filter_invalid_value(std::string value)
        : dns_server_filter_invalid("error.dns_server_filter_invalid_value", std::move(value)) {}
};

} // namespace vantrel::kelvane::dns::exceptions
