#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/messaging/module_information_message.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wexo.pb.h>

#include <string>

namespace vantrel::kelvane::libwexohelper::messaging {
namespace {

TEST(ModuleInformationMessage, SerialisesTheManifestIntoTheEnvelope) {
    const module_information_message with(R"({"a": 1, "Text": {}})", true);
    const module_information_message without(R"({"a": 1, "Text": {}})", false);
    wire::Envelope envelope;
    const auto bytes = without.serialize();
    ASSERT_TRUE(envelope.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    ASSERT_TRUE(envelope.has_module_information());
    EXPECT_EQ(envelope.module_information().manifest_json(), R"({"a": 1})");
    EXPECT_FALSE(envelope.module_information().include_texts());
    EXPECT_EQ(with.manifest(), R"({"a": 1, "Text": {}})");
}

TEST(MessageService, HandsTheExactSerialisedBytesToTheSink) {
    std::string delivered;
    message_service service(
        [&](const void* data, std::uint32_t size) { delivered.assign(static_cast<const char*>(data), size); });
    const module_information_message info("{}", true);
    service.send(info);
    const auto expected = info.serialize();
    EXPECT_EQ(delivered, std::string(expected.begin(), expected.end()));
}

TEST(MessageService, RefusesMessagesAboveTheHostLimit) {
    const module_information_message huge(std::string(max_message_size, 'x'), true);
    EXPECT_THAT([&] { huge.serialize(); },
                ::testing::ThrowsMessage<utils::exceptions::message_too_long>(
                    ::testing::HasSubstr("larger than the maximum allowed length of 16777216 bytes.")));
}

} // namespace
} // namespace vantrel::kelvane::libwexohelper::messaging
