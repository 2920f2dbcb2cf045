// libFuzzer target for the blacklist server line parser. Any exception other
// than the four definition errors, and any broken invariant, aborts.

#include <dns/blacklist_server_definition.hpp>
#include <dns/exceptions.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace vantrel::kelvane::dns;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line(reinterpret_cast<const char*>(data), size);
    try {
        const auto definition = parse_blacklist_server_definition(line, "10.2.0.192");
        if (definition.server.empty() || line.substr(0, definition.server.size()) != definition.server ||
            definition.query_name != "10.2.0.192." + definition.server) {
            std::abort();
        }
        const std::string_view answers[] = {"127.0.0.2", "255.255.255.255", "0.0.0.0", "::1", line};
        for (const auto answer : answers) {
            const auto score = definition.score_for(answer);
            if (score != 0 && score != definition.score) {
                std::abort();
            }
        }
    } catch (const exceptions::dns_server_definition_invalid&) {
    } catch (const exceptions::dns_server_filter_invalid&) {
    }
    return 0;
}
