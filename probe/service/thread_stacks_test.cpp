#include "thread_stacks.hpp"

#include <gtest/gtest.h>

#include <pthread.h>

#include <thread>

namespace vantrel::kelvane::probe::service {
namespace {

std::size_t stack_of_a_new_thread() {
    std::size_t size = 0;
    std::thread([&] {
        pthread_attr_t attr;
        ASSERT_EQ(pthread_getattr_np(pthread_self(), &attr), 0);
        pthread_attr_getstacksize(&attr, &size);
        pthread_attr_destroy(&attr);
    }).join();
    return size;
}

TEST(ThreadStacks, ThreadsStartedLaterGetTheSmallerStackAndItIsNeverRaised) {
    const std::size_t now = lower_default_thread_stack();
    ASSERT_GT(now, 0u);
    EXPECT_LE(now, thread_stack_bytes);
    EXPECT_EQ(stack_of_a_new_thread(), now);
    EXPECT_EQ(lower_default_thread_stack(), now) << "a second call changes nothing";
}

} // namespace
} // namespace vantrel::kelvane::probe::service
