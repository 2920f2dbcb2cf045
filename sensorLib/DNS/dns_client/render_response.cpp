#include <dns/render_response.hpp>

#include <dns/ns_code_maps.hpp>
#include <libstringutils/utf8.hpp>

#include <sstream>

namespace vantrel::kelvane::dns {
namespace {

// A record's texts are the sender's: a line break or an escape sequence in a
// TXT string must not start a line of its own in the log or reach a
// terminal, so each record's line is written with its controls escaped.
void write_record_line(std::ostream& out, const dns_result_record& record) {
    std::ostringstream line;
    record.write_line(line);
    out << libstringutils::escape_control_characters(line.str()) << '\n';
}

void write_section(std::ostream& out, const char* heading,
                   const std::vector<std::shared_ptr<dns_result_record>>& records) {
    out << heading;
    for (const auto& record : records) {
        write_record_line(out, *record);
    }
    out << '\n';
}

void check_codes(const dns_result_record& record) {
    (void)ns_class_name(record.dns_class);
    (void)ns_type_name(record.type);
}

void check_section(const std::vector<std::shared_ptr<dns_result_record>>& records) {
    for (const auto& record : records) {
        check_codes(*record);
    }
}

} // namespace

void check_renderable(const dns_query_result& result) {
    (void)ns_opcode_name(result.opcode);
    (void)ns_rcode_name(result.rcode);
    for (const auto& question : result.questions) {
        check_codes(question);
    }
    check_section(result.answers);
    check_section(result.authorities);
    check_section(result.additionals);
}

void render_response(std::ostream& out, const dns_query_result& result) {
    out << "; <<>> Wexo DNS <<>>\n"
        << ";; global options:\n"
        << ";; Got answer:\n"
        << ";; ->>HEADER<<- opcode: " << ns_opcode_name(result.opcode);
    out << ", status: " << ns_rcode_name(result.rcode);
    out << ", id: " << result.id << '\n';

    // qr is printed unconditionally, and tc deliberately follows ra, as the
    // readers of these logs are used to.
    out << ";; flags: qr ";
    if (result.aa) {
        out << "aa ";
    }
    if (result.rd) {
        out << "rd ";
    }
    if (result.ra) {
        out << "ra ";
    }
    if (result.tc) {
        out << "tc ";
    }
    if (result.ad) {
        out << "ad ";
    }
    if (result.cd) {
        out << "cd ";
    }
    out << "; QUERY: " << result.questions.size() << ", ANSWER: " << result.answers.size()
        << ", AUTHORITY: " << result.authorities.size() << ", ADDITIONAL: " << result.additionals.size() << "\n\n";

    out << ";; QUESTION SECTION:\n";
    for (const auto& question : result.questions) {
        write_record_line(out, question);
    }
    out << '\n';
    write_section(out, ";; ANSWER SECTION:\n", result.answers);
    write_section(out, ";; AUTHORITY SECTION:\n", result.authorities);
    write_section(out, ";; ADDITIONAL SECTION:\n", result.additionals);

    out << ";; Query time: " << result.response_time_ms << " msec\n\n";
    out.flush();
}

std::ostream& operator<<(std::ostream& out, const dns_query_result& result) {
    render_response(out, result);
    return out;
}

} // namespace vantrel::kelvane::dns
