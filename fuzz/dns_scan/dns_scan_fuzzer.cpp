// A dns_v2 scan of any answer a server could send (records up to 64 KiB):
// record collection, the message and every filter mode, each scanned with the
// sensor log off and on. Both must give the same result, since logging only
// decides whether the answer is also rendered as text.
//
// Input: one byte for the record type, one byte n, n bytes of filter text,
// then the DNS message.

#include <dns/cares/channel_setup.hpp>
#include <dns/dns_sensor.hpp>
#include <dns/english_texts.hpp>
#include <dns/exceptions.hpp>

#include <testing/fake_dns_client.hpp>
#include <testing/recording_host.hpp>

#include <ares.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

namespace {

using namespace vantrel::kelvane;
namespace settings = dns::settings;

struct outcome {
    int code = -1;
    std::string key;
    std::string english;
    std::map<int, std::int64_t> values;
    bool operator==(const outcome&) const = default;
};

outcome scan_once(const dns::dns_query_result& response, settings::record_type type, settings::apply_filter mode,
                  const std::string& filter, settings::logging logging) {
    libwexohelper::testing::recording_host host;
    auto fake = std::make_shared<dns::testing::fake_dns>();
    fake->response = response;
    host.container->add_factory<dns::dns_helper_factory>(dns::testing::fake_dns_factory(fake));
    settings::dns_v2 s;
    s.host = "127.0.0.1";
    s.domain = "1.0.0.127.in-addr.arpa";
    s.record_type = type;
    s.apply_filter = mode;
    s.filter = filter;
    s.logging = logging;
    dns::dns_sensor sensor(host.container, 1, s, {}, {});
    host.take();
    static_cast<libwexohelper::sensors::sensor_interface&>(sensor).scan();
    outcome out;
    for (const auto& e : host.take()) {
        if (!e.has_sensor_scan_result()) {
            continue;
        }
        const auto& r = e.sensor_scan_result();
        out.code = r.response_code();
        out.key = r.message().key();
        out.english = r.message().english();
        for (const auto& v : r.values()) {
            out.values[v.channel_id()] = v.value();
        }
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size < 2u + data[1]) {
        return 0;
    }
    static const bool texts = (dns::register_english_texts(), true);
    (void)texts;
    const auto type = static_cast<settings::record_type>(data[0] % 10);
    const std::string filter(reinterpret_cast<const char*>(data) + 2, data[1]);
    const std::uint8_t* message = data + 2 + data[1];
    const std::size_t message_size = size - 2 - data[1];

    ares_dns_record_t* record = nullptr;
    if (ares_dns_parse(message, message_size, 0, &record) != ARES_SUCCESS) {
        return 0;
    }
    dns::dns_query_result response{};
    try {
        cares::parse_response(response, ARES_SUCCESS, record);
    } catch (const dns::exceptions::exception&) {
        ares_dns_record_destroy(record);
        return 0;
    }
    ares_dns_record_destroy(record);

    for (const auto mode : {settings::apply_filter::disabled, settings::apply_filter::enabled,
                            settings::apply_filter::enabled_match_exact}) {
        const auto quiet = scan_once(response, type, mode, filter, settings::logging::disabled);
        const auto logged = scan_once(response, type, mode, filter, settings::logging::enabled);
        if (quiet.code < 0 || !(quiet == logged)) {
            std::fprintf(stderr, "mode %d: without log %d %s, with log %d %s\n", static_cast<int>(mode), quiet.code,
                         quiet.key.c_str(), logged.code, logged.key.c_str());
            std::abort();
        }
    }
    return 0;
}
