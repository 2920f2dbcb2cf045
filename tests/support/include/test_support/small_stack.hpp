#pragma once

// Runs test code on a thread with a small stack, as some hosts give their
// scan threads, so that a test fails (by crashing) when the code under test
// needs stack in proportion to its input. std::thread cannot set a stack
// size, hence pthreads; POSIX only.

#include <pthread.h>

#include <cstddef>
#include <exception>
#include <functional>
#include <system_error>

namespace vantrel::kelvane::test_support {

// The scan threads of the smallest host we support.
inline constexpr std::size_t small_stack_bytes = 256 * 1024;

// Runs `work` to its end on a new thread with a stack of `stack_bytes` and
// rethrows what it throws. Throws std::system_error when no such thread can
// be made.
inline void run_on_stack(std::size_t stack_bytes, const std::function<void()>& work) {
    struct call {
        const std::function<void()>* work;
        std::exception_ptr error;
    } state{&work, nullptr};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    int status = pthread_attr_setstacksize(&attributes, stack_bytes);
    pthread_t thread{};
    if (status == 0) {
        status = pthread_create(
            &thread, &attributes,
            [](void* argument) -> void* {
                auto* c = static_cast<call*>(argument);
                try {
                    (*c->work)();
                } catch (...) {
                    c->error = std::current_exception();
                }
                return nullptr;
            },
            &state);
    }
    pthread_attr_destroy(&attributes);
    if (status != 0) {
        throw std::system_error(status, std::generic_category(), "pthread_create");
    }
    pthread_join(thread, nullptr);
    if (state.error) {
        std::rethrow_exception(state.error);
    }
}

} // namespace vantrel::kelvane::test_support
