#include "thread_stacks.hpp"

#include <pthread.h>

namespace vantrel::kelvane::probe::service {

std::size_t lower_default_thread_stack() {
    pthread_attr_t attr;
    if (pthread_getattr_default_np(&attr) != 0) {
        return 0;
    }
    std::size_t size = 0;
    pthread_attr_getstacksize(&attr, &size);
    if (size > thread_stack_bytes && pthread_attr_setstacksize(&attr, thread_stack_bytes) == 0 &&
        pthread_setattr_default_np(&attr) == 0) {
        size = thread_stack_bytes;
    }
    pthread_attr_destroy(&attr);
    return size;
}

} // namespace vantrel::kelvane::probe::service
