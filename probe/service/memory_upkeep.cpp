#include "memory_upkeep.hpp"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace vantrel::kelvane::probe::service {

void release_free_memory() noexcept {
#if defined(__GLIBC__)
    // Every arena, and the free pages inside each heap, not only its top.
    malloc_trim(0);
#endif
}

} // namespace vantrel::kelvane::probe::service
