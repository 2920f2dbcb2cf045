#include <libwexohelper/logging/host_log.hpp>

#include <gtest/gtest.h>

#include <wexo.pb.h>

#include <vector>

namespace vantrel::kelvane::libwexohelper::logging {
namespace {

class HostLogs : public ::testing::Test {
protected:
    HostLogs() { utils::exceptions::register_platform_texts(); }

    void add_message_service() {
        container->add_factory<utils::service_container::instance_factory<messaging::message_service_interface>>(
            [this] {
                return std::make_shared<messaging::message_service>([this](const void* data, std::uint32_t size) {
                    wire::Envelope envelope;
                    ASSERT_TRUE(envelope.ParseFromArray(data, static_cast<int>(size)));
                    lines.push_back(envelope.log_message());
                });
            });
    }

    std::shared_ptr<utils::service_container> container = std::make_shared<utils::service_container>();
    std::vector<wire::LogMessage> lines;
};

TEST_F(HostLogs, RuntimeLogIsMadeOnItsFirstRequestAndSharedAfterwards) {
    // Registering makes nothing yet: there is no message service to build it from.
    module::register_runtime_log(container);
    EXPECT_THROW(container->get_instance<liblog::log_interface>(), utils::exceptions::instance_not_available);

    add_message_service();
    const auto first = container->get_instance<liblog::log_interface>();
    EXPECT_EQ(first, container->get_instance<liblog::log_interface>());
    EXPECT_NE(dynamic_cast<runtime_log*>(first.get()), nullptr);

    first->log(liblog::level_warning, "refused");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].source(), wire::LogMessage::RUNTIME);
    EXPECT_EQ(lines[0].level(), 3);
    EXPECT_EQ(lines[0].text(), "refused");
}

TEST_F(HostLogs, EachSensorLogCarriesItsSensorsId) {
    add_message_service();
    module::register_sensor_log(container);
    const auto make = container->get_factory<sensor_log_factory>();
    make(4)->log(liblog::level_detail, "four");
    make(9)->log(liblog::level_detail, "nine");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].source(), wire::LogMessage::SENSOR);
    EXPECT_EQ(lines[0].sensor_id(), 4);
    EXPECT_EQ(lines[1].sensor_id(), 9);
    EXPECT_EQ(lines[1].text(), "nine");
}

} // namespace
} // namespace vantrel::kelvane::libwexohelper::logging
