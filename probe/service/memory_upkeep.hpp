#pragma once

namespace vantrel::kelvane::probe::service {

// Hands the allocator's free pages back to the system.
//
// Scans run on many threads (the workers and one c-ares event thread per
// query), so the C library spreads their allocations over several arenas;
// memory freed by a scan stays in its arena, and each arena's footprint
// creeps up to the highest it ever needed at once. Trimming them now and
// then keeps a long-running service at the size of what it holds, not of
// its busiest moment. Does nothing where the C library offers no trim.
void release_free_memory() noexcept;

} // namespace vantrel::kelvane::probe::service
