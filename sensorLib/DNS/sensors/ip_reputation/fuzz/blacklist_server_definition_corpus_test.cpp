// Replays the fuzzer's corpus with any compiler: every input either parses or
// is refused with one of the four definition errors.

#include <dns/blacklist_server_definition.hpp>
#include <dns/exceptions.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vantrel::kelvane::dns {
namespace {

TEST(BlacklistServerDefinitionCorpus, EveryInputParsesOrIsRefusedWithADefinitionError) {
    int replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(DNS_BLACKLIST_CORPUS_DIR)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string line{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        try {
            (void)parse_blacklist_server_definition(line, "10.2.0.192").score_for("127.0.0.2");
        } catch (const exceptions::dns_server_definition_invalid&) {
        } catch (const exceptions::dns_server_filter_invalid&) {
        } catch (const std::exception& e) {
            ADD_FAILURE() << entry.path() << ": " << e.what();
        }
        ++replayed;
    }
    EXPECT_GT(replayed, 0) << "empty corpus " << DNS_BLACKLIST_CORPUS_DIR;
}

} // namespace
} // namespace vantrel::kelvane::dns
