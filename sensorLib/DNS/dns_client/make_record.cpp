#include <dns/make_record.hpp>

#include <dns/exceptions.hpp>
#include <libstringutils/utf8.hpp>

#include <ares.h>

#include <cstring>
#include <string>

namespace vantrel::kelvane::dns {
namespace {

// The dotted quad that inet_ntop writes. c-ares' own formats each octet with
// snprintf, which made this half of what reading an answer costs: every A
// record of every scan comes here.
std::string ipv4_text(const in_addr& address) {
    unsigned char octets[4];
    std::memcpy(octets, &address, sizeof octets);
    char text[16];
    char* end = text;
    for (int i = 0; i < 4; ++i) {
        if (i != 0) {
            *end++ = '.';
        }
        const unsigned value = octets[i];
        if (value >= 100) {
            *end++ = static_cast<char>('0' + value / 100);
        }
        if (value >= 10) {
            *end++ = static_cast<char>('0' + value / 10 % 10);
        }
        *end++ = static_cast<char>('0' + value % 10);
    }
    return std::string(text, end);
}

std::string address_text(int family, const void* address, std::size_t buffer_size) {
    char buffer[65];
    if (ares_inet_ntop(family, address, buffer, static_cast<ares_socklen_t>(buffer_size)) == nullptr) {
        throw exceptions::ip_conversion_failed();
    }
    return buffer;
}

// Every text of an answer is a stranger's bytes. c-ares escapes what is not
// printable in domain names, but character-strings (TXT, the NAPTR fields) come
// as they were sent; bytes that are not UTF-8 are written as \DDD, as dig
// does, so that every text built from a record can leave the module.
std::string answer_text(const char* raw) {
    return libstringutils::escape_invalid_utf8(raw);
}

std::string answer_text(const unsigned char* data, std::size_t length) {
    return libstringutils::escape_invalid_utf8(std::string_view(reinterpret_cast<const char*>(data), length));
}

// The host names and the NAPTR texts; null when c-ares holds no such field.
const char* text_field(const ares_dns_rr_t* rr, ares_dns_rr_key_t key) {
    return ares_dns_rr_get_str(rr, key);
}

} // namespace

std::shared_ptr<dns_result_record> make_record(const ares_dns_rr* rr) {
    const char* raw_name = ares_dns_rr_get_name(rr);
    std::string name = raw_name != nullptr ? answer_text(raw_name) : std::string();
    const auto type = static_cast<std::uint32_t>(ares_dns_rr_get_type(rr));
    const auto dns_class = static_cast<std::uint32_t>(ares_dns_rr_get_class(rr));
    const std::uint32_t ttl = ares_dns_rr_get_ttl(rr);

    if (dns_class != ARES_CLASS_IN) {
        return nullptr;
    }

    switch (type) {
    case ARES_REC_TYPE_A: {
        const in_addr* address = ares_dns_rr_get_addr(rr, ARES_RR_A_ADDR);
        if (address == nullptr) {
            return nullptr;
        }
        return std::make_shared<dns_a_record>(std::move(name), type, dns_class, ttl, ipv4_text(*address));
    }
    case ARES_REC_TYPE_AAAA: {
        const ares_in6_addr* address = ares_dns_rr_get_addr6(rr, ARES_RR_AAAA_ADDR);
        if (address == nullptr) {
            return nullptr;
        }
        return std::make_shared<dns_aaaa_record>(std::move(name), type, dns_class, ttl,
                                                 address_text(AF_INET6, address, 65));
    }
    case ARES_REC_TYPE_NS:
    case ARES_REC_TYPE_CNAME:
    case ARES_REC_TYPE_PTR: {
        const ares_dns_rr_key_t key = type == ARES_REC_TYPE_NS      ? ARES_RR_NS_NSDNAME
                                      : type == ARES_REC_TYPE_CNAME ? ARES_RR_CNAME_CNAME
                                                                    : ARES_RR_PTR_DNAME;
        const char* target = text_field(rr, key);
        if (target == nullptr) {
            return nullptr;
        }
        if (type == ARES_REC_TYPE_NS) {
            return std::make_shared<dns_ns_record>(std::move(name), type, dns_class, ttl, answer_text(target));
        }
        if (type == ARES_REC_TYPE_CNAME) {
            return std::make_shared<dns_cname_record>(std::move(name), type, dns_class, ttl, answer_text(target));
        }
        return std::make_shared<dns_ptr_record>(std::move(name), type, dns_class, ttl, answer_text(target));
    }
    case ARES_REC_TYPE_SOA: {
        const char* mname = text_field(rr, ARES_RR_SOA_MNAME);
        const char* rname = text_field(rr, ARES_RR_SOA_RNAME);
        if (mname == nullptr || rname == nullptr) {
            return nullptr;
        }
        return std::make_shared<dns_soa_record>(
            std::move(name), ttl, answer_text(mname), answer_text(rname), ares_dns_rr_get_u32(rr, ARES_RR_SOA_SERIAL),
            ares_dns_rr_get_u32(rr, ARES_RR_SOA_REFRESH), ares_dns_rr_get_u32(rr, ARES_RR_SOA_RETRY),
            ares_dns_rr_get_u32(rr, ARES_RR_SOA_EXPIRE), ares_dns_rr_get_u32(rr, ARES_RR_SOA_MINIMUM));
    }
    case ARES_REC_TYPE_MX: {
        const char* exchange = text_field(rr, ARES_RR_MX_EXCHANGE);
        if (exchange == nullptr) {
            return nullptr;
        }
        // c-ares gives the root name as an empty text; "." is how it is written.
        return std::make_shared<dns_mx_record>(std::move(name), ttl, ares_dns_rr_get_u16(rr, ARES_RR_MX_PREFERENCE),
                                               *exchange == '\0' ? std::string(".") : answer_text(exchange));
    }
    case ARES_REC_TYPE_TXT: {
        std::size_t length = 0;
        // All character-strings of the record, concatenated by c-ares.
        const unsigned char* data = ares_dns_rr_get_bin(rr, ARES_RR_TXT_DATA, &length);
        if (data == nullptr || length == 0) {
            return nullptr;
        }
        return std::make_shared<dns_txt_record>(std::move(name), type, dns_class, ttl, answer_text(data, length));
    }
    case ARES_REC_TYPE_SRV: {
        const char* target = text_field(rr, ARES_RR_SRV_TARGET);
        if (target == nullptr) {
            return nullptr;
        }
        return std::make_shared<dns_srv_record>(std::move(name), ttl, ares_dns_rr_get_u16(rr, ARES_RR_SRV_PRIORITY),
                                                ares_dns_rr_get_u16(rr, ARES_RR_SRV_WEIGHT),
                                                ares_dns_rr_get_u16(rr, ARES_RR_SRV_PORT), answer_text(target));
    }
    case ARES_REC_TYPE_NAPTR: {
        const char* flags = text_field(rr, ARES_RR_NAPTR_FLAGS);
        const char* services = text_field(rr, ARES_RR_NAPTR_SERVICES);
        const char* regexp = text_field(rr, ARES_RR_NAPTR_REGEXP);
        const char* replacement = text_field(rr, ARES_RR_NAPTR_REPLACEMENT);
        if (flags == nullptr || services == nullptr || regexp == nullptr || replacement == nullptr) {
            return nullptr;
        }
        return std::make_shared<dns_naptr_record>(std::move(name), ttl, ares_dns_rr_get_u16(rr, ARES_RR_NAPTR_ORDER),
                                                  ares_dns_rr_get_u16(rr, ARES_RR_NAPTR_PREFERENCE), answer_text(flags),
                                                  answer_text(services), answer_text(regexp), answer_text(replacement));
    }
    default:
        return nullptr;
    }
}

} // namespace vantrel::kelvane::dns
