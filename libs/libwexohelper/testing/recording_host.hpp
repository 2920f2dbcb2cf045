#pragma once

// A stand-in host for the platform's unit tests: a container with a message
// service that decodes and keeps every message, and the two logs registered.

#include <libwexohelper/logging/host_log.hpp>
#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/utils/service_container.hpp>

#include <wexo.pb.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vantrel::kelvane::libwexohelper::testing {

class recording_host {
public:
    recording_host() : container(std::make_shared<utils::service_container>()) {
        utils::exceptions::register_platform_texts();
        container->add_factory<utils::service_container::instance_factory<messaging::message_service_interface>>(
            [this] {
                return std::make_shared<messaging::message_service>([this](const void* data, std::uint32_t size) {
                    wire::Envelope envelope;
                    envelope.ParseFromArray(data, static_cast<int>(size));
                    std::lock_guard lock(mutex_);
                    messages_.push_back(std::move(envelope));
                });
            });
        module::register_runtime_log(container);
        module::register_sensor_log(container);
    }

    std::vector<wire::Envelope> take() {
        std::lock_guard lock(mutex_);
        return std::exchange(messages_, {});
    }
    template <class Pred>
    std::vector<wire::Envelope> take_if(Pred pred) {
        std::vector<wire::Envelope> out;
        for (auto& m : take()) {
            if (pred(m)) {
                out.push_back(std::move(m));
            }
        }
        return out;
    }
    std::vector<std::string> take_log_lines(wire::LogMessage::Source source) {
        std::vector<std::string> lines;
        for (const auto& m : take()) {
            if (m.has_log_message() && m.log_message().source() == source) {
                lines.push_back(m.log_message().text());
            }
        }
        return lines;
    }

    std::shared_ptr<utils::service_container> container;

private:
    std::mutex mutex_;
    std::vector<wire::Envelope> messages_;
};

} // namespace vantrel::kelvane::libwexohelper::testing
