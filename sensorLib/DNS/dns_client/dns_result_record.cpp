#include <dns/dns_result_record.hpp>

#include <dns/ns_code_maps.hpp>

#include <iomanip>
#include <utility>

namespace vantrel::kelvane::dns {
namespace {

void write_class_and_type(std::ostream& out, std::uint32_t dns_class, std::uint32_t type) {
    out << ' ' << std::setw(5) << ns_class_name(dns_class) << ' ' << std::setw(6) << ns_type_name(type);
}

} // namespace

dns_result_record::dns_result_record(std::string name_, std::uint32_t type_, std::uint32_t dns_class_,
                                     std::uint32_t ttl_)
    : name(std::move(name_)), type(type_), dns_class(dns_class_), ttl(ttl_) {}

void dns_result_record::write_line(std::ostream& out) const {
    out << std::setw(40) << name << ' ' << std::setw(8) << ttl;
    write_class_and_type(out, dns_class, type);
}

dns_question_record::dns_question_record(std::string name_, std::uint32_t type_, std::uint32_t dns_class_)
    : dns_result_record(std::move(name_), type_, dns_class_, 0) {}

void dns_question_record::write_line(std::ostream& out) const {
    out << ';' << std::setw(39) << name << ' ' << std::setw(8) << "";
    write_class_and_type(out, dns_class, type);
}

dns_single_value_record::dns_single_value_record(std::string name_, std::uint32_t type_, std::uint32_t dns_class_,
                                                 std::uint32_t ttl_, std::string value)
    : dns_result_record(std::move(name_), type_, dns_class_, ttl_), value_(std::move(value)) {}

void dns_single_value_record::write_line(std::ostream& out) const {
    dns_result_record::write_line(out);
    out << ' ' << value_;
}

// Only class IN records are ever built (see make_record), hence the fixed class.
dns_mx_record::dns_mx_record(std::string name_, std::uint32_t ttl_, std::uint16_t preference_, std::string exchange)
    : dns_single_value_record(std::move(name_), 15, 1, ttl_, std::move(exchange)), preference(preference_) {}

void dns_mx_record::write_line(std::ostream& out) const {
    dns_result_record::write_line(out);
    out << ' ' << preference << ' ' << value_text();
}

std::string dns_mx_record::value() const {
    return std::to_string(preference) + ' ' + value_text();
}

dns_srv_record::dns_srv_record(std::string name_, std::uint32_t ttl_, std::uint16_t priority_, std::uint16_t weight_,
                               std::uint16_t port_, std::string target)
    : dns_single_value_record(std::move(name_), 33, 1, ttl_, std::move(target)), priority(priority_), weight(weight_),
      port(port_) {}

void dns_srv_record::write_line(std::ostream& out) const {
    dns_result_record::write_line(out);
    out << ' ' << std::setw(3) << priority << ' ' << std::setw(3) << weight << ' ' << std::setw(3) << port << ' '
        << value_text();
}

std::string dns_srv_record::value() const {
    std::string text = std::to_string(priority);
    text += ' ';
    text += std::to_string(weight);
    text += ' ';
    text += std::to_string(port);
    text += ' ';
    text += value_text();
    return text;
}

dns_naptr_record::dns_naptr_record(std::string name_, std::uint32_t ttl_, std::uint16_t order_,
                                   std::uint16_t preference_, std::string flags_, std::string services_,
                                   std::string regexp_, std::string replacement)
    : dns_single_value_record(std::move(name_), 35, 1, ttl_, std::move(replacement)), order(order_),
      preference(preference_), flags(std::move(flags_)), services(std::move(services_)), regexp(std::move(regexp_)) {}

void dns_naptr_record::write_line(std::ostream& out) const {
    dns_result_record::write_line(out);
    out << ' ' << std::setw(3) << order << ' ' << std::setw(3) << preference << " \"" << flags << "\" \"" << services
        << "\" \"" << regexp << "\" " << value_text();
}

std::string dns_naptr_record::value() const {
    std::string text = std::to_string(order);
    text += ' ';
    text += std::to_string(preference);
    for (const std::string* quoted : {&flags, &services, &regexp}) {
        text += " \"";
        text += *quoted;
        text += '"';
    }
    text += ' ';
    text += value_text();
    return text;
}

dns_soa_record::dns_soa_record(std::string name_, std::uint32_t ttl_, std::string mname_, std::string rname_,
                               std::uint32_t serial_, std::uint32_t refresh_, std::uint32_t retry_,
                               std::uint32_t expire_, std::uint32_t minimum_)
    : dns_result_record(std::move(name_), 6, 1, ttl_), mname(std::move(mname_)), rname(std::move(rname_)),
      serial(serial_), refresh(refresh_), retry(retry_), expire(expire_), minimum(minimum_) {}

void dns_soa_record::write_line(std::ostream& out) const {
    dns_result_record::write_line(out);
    out << ' ' << mname << ' ' << rname << ' ' << serial << ' ' << refresh << ' ' << retry << ' ' << expire << ' '
        << minimum;
}

std::string dns_soa_record::value() const {
    std::string text = mname;
    text += ' ';
    text += rname;
    for (const std::uint32_t number : {serial, refresh, retry, expire, minimum}) {
        text += ' ';
        text += std::to_string(number);
    }
    return text;
}

} // namespace vantrel::kelvane::dns
