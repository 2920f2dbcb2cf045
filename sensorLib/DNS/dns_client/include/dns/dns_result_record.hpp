#pragma once

// The module's own copy of DNS questions and resource records. Every record
// prints one presentation line (`write_line`, no line end) and gives its value
// text (`value`), which the sensors use for their messages and filters.
//
// Records are immutable after construction, handed around as
// std::shared_ptr<dns_result_record> and safe to read from several threads.
// `write_line` throws exceptions::invalid_ns_class or invalid_ns_type when the
// record's class or type number has no name in the code maps.

#include <cstdint>
#include <ostream>
#include <string>

namespace vantrel::kelvane::dns {

class dns_result_record {
public:
    dns_result_record(std::string name, std::uint32_t type, std::uint32_t dns_class, std::uint32_t ttl);
    virtual ~dns_result_record() = default;

    // Name in width 40, TTL in width 8, class name in width 5, type name in
    // width 6, separated by single spaces; right-aligned, never cut.
    virtual void write_line(std::ostream& out) const;
    virtual std::string value() const = 0;

    std::string name; // as c-ares gives it, without an added trailing dot
    std::uint32_t type;
    std::uint32_t dns_class;
    std::uint32_t ttl;
};

// One entry of the question section; its TTL is 0 and its value empty.
class dns_question_record final : public dns_result_record {
public:
    dns_question_record(std::string name, std::uint32_t type, std::uint32_t dns_class);

    // ";" and the name in width 39, an empty TTL field, then class and type.
    void write_line(std::ostream& out) const override;
    std::string value() const override { return {}; }
};

// A record whose data is, or ends in, one text (address, name, joined TXT strings).
class dns_single_value_record : public dns_result_record {
public:
    dns_single_value_record(std::string name, std::uint32_t type, std::uint32_t dns_class, std::uint32_t ttl,
                            std::string value);

    void write_line(std::ostream& out) const override;
    std::string value() const override { return value_; }

protected:
    // The text itself, for subclasses that print it after their own fields.
    const std::string& value_text() const noexcept { return value_; }

private:
    std::string value_;
};

class dns_a_record final : public dns_single_value_record {
    using dns_single_value_record::dns_single_value_record;
};
class dns_aaaa_record final : public dns_single_value_record {
    using dns_single_value_record::dns_single_value_record;
};
class dns_cname_record final : public dns_single_value_record {
    using dns_single_value_record::dns_single_value_record;
};
class dns_ns_record final : public dns_single_value_record {
    using dns_single_value_record::dns_single_value_record;
};
class dns_ptr_record final : public dns_single_value_record {
    using dns_single_value_record::dns_single_value_record;
};
// The value is every character-string of the record joined without separator.
class dns_txt_record final : public dns_single_value_record {
    using dns_single_value_record::dns_single_value_record;
};

// The value is the exchange name ("." for the root).
class dns_mx_record final : public dns_single_value_record {
public:
    dns_mx_record(std::string name, std::uint32_t ttl, std::uint16_t preference, std::string exchange);

    void write_line(std::ostream& out) const override;
    // "<preference> <exchange>"
    std::string value() const override;

    std::uint16_t preference;
};

// The value is the target name.
class dns_srv_record final : public dns_single_value_record {
public:
    dns_srv_record(std::string name, std::uint32_t ttl, std::uint16_t priority, std::uint16_t weight,
                   std::uint16_t port, std::string target);

    void write_line(std::ostream& out) const override;
    // "<priority> <weight> <port> <target>"
    std::string value() const override;

    std::uint16_t priority;
    std::uint16_t weight;
    std::uint16_t port;
};

// The value is the replacement name.
class dns_naptr_record final : public dns_single_value_record {
public:
    dns_naptr_record(std::string name, std::uint32_t ttl, std::uint16_t order, std::uint16_t preference,
                     std::string flags, std::string services, std::string regexp, std::string replacement);

    void write_line(std::ostream& out) const override;
    // "<order> <preference> "<flags>" "<services>" "<regexp>" <replacement>"
    std::string value() const override;

    std::uint16_t order;
    std::uint16_t preference;
    std::string flags;
    std::string services;
    std::string regexp;
};

class dns_soa_record final : public dns_result_record {
public:
    dns_soa_record(std::string name, std::uint32_t ttl, std::string mname, std::string rname, std::uint32_t serial,
                   std::uint32_t refresh, std::uint32_t retry, std::uint32_t expire, std::uint32_t minimum);

    void write_line(std::ostream& out) const override;
    // mname, rname, serial, refresh, retry, expire, minimum separated by spaces.
    std::string value() const override;

    std::string mname;
    std::string rname;
    std::uint32_t serial;
    std::uint32_t refresh;
    std::uint32_t retry;
    std::uint32_t expire;
    std::uint32_t minimum;
};

} // namespace vantrel::kelvane::dns
