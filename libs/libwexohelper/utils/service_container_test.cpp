#include <libwexohelper/utils/service_container.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace vantrel::kelvane::libwexohelper::utils {
namespace {

struct widget {
    int value = 0;
};
using widget_maker = std::function<std::unique_ptr<widget>(int)>;

TEST(ServiceContainer, FactoriesAreKeyedByTheirCallableType) {
    service_container c;
    c.add_factory<widget_maker>([](int v) { return std::make_unique<widget>(widget{v}); });
    EXPECT_EQ(c.get_factory<widget_maker>()(7)->value, 7);
    EXPECT_TRUE(c.has_factory<widget_maker>());
    EXPECT_FALSE(c.has_factory<std::function<int()>>());
}

TEST(ServiceContainer, SecondFactoryOrInstanceOfATypeIsRefusedWithItsName) {
    service_container c;
    c.add_factory<widget_maker>([](int) { return nullptr; });
    EXPECT_THAT([&] { c.add_factory<widget_maker>([](int) { return nullptr; }); },
                ::testing::ThrowsMessage<exceptions::already_contains_factory>(
                    ::testing::HasSubstr("The factory store already contains a factory with type std::function<")));
    c.add_instance(std::make_shared<widget>());
    EXPECT_THROW(c.add_instance(std::make_shared<widget>()), exceptions::already_contains_instance);
}

TEST(ServiceContainer, MissingFactoryAndInstanceAreDistinctErrors) {
    service_container c;
    EXPECT_THROW(c.get_factory<widget_maker>(), exceptions::factory_not_available);
    EXPECT_THAT([&] { c.get_instance<widget>(); },
                ::testing::ThrowsMessage<exceptions::instance_not_available>(::testing::StrEq(
                    "The instance store can't find an instance with type vantrel::kelvane::libwexohelper::utils::"
                    "(anonymous namespace)::widget.")));
    // A factory that makes nothing does not count as an instance.
    c.add_factory<service_container::instance_factory<widget>>([] { return nullptr; });
    EXPECT_THROW(c.get_instance<widget>(), exceptions::instance_not_available);
}

TEST(ServiceContainer, InstanceIsMadeOnFirstRequestAndSharedAfterwards) {
    service_container c;
    int made = 0;
    c.add_factory<service_container::instance_factory<widget>>([&] {
        ++made;
        return std::make_shared<widget>(widget{42});
    });
    const auto first = c.get_instance<widget>();
    const auto second = c.get_instance<widget>();
    EXPECT_EQ(first, second);
    EXPECT_EQ(made, 1);
}

TEST(ServiceContainer, ConcurrentFirstRequestsGetTheSameInstance) {
    service_container c;
    std::atomic<int> made = 0;
    c.add_factory<service_container::instance_factory<widget>>([&] {
        ++made;
        std::this_thread::yield();
        return std::make_shared<widget>();
    });
    std::vector<std::shared_ptr<widget>> got(8);
    std::vector<std::thread> threads;
    for (auto& slot : got) {
        threads.emplace_back([&] { slot = c.get_instance<widget>(); });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(made.load(), 1);
    for (const auto& w : got) {
        EXPECT_EQ(w, got.front());
    }
}

TEST(ServiceContainer, AFactoryMayAskTheContainerForWhatItNeeds) {
    service_container c;
    c.add_instance(std::make_shared<int>(5));
    c.add_factory<service_container::instance_factory<widget>>(
        [&] { return std::make_shared<widget>(widget{*c.get_instance<int>()}); });
    EXPECT_EQ(c.get_instance<widget>()->value, 5);
}

} // namespace
} // namespace vantrel::kelvane::libwexohelper::utils
