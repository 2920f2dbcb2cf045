#pragma once

#include <cstddef>

namespace vantrel::kelvane::probe::service {

// Stack size of threads started later without one of their own.
constexpr std::size_t thread_stack_bytes = 1024 * 1024;

// Lowers the process's default thread stack to `thread_stack_bytes` (never
// raises it). Every scan's c-ares channel starts a thread of its own, and
// glibc keeps only 40 MB of the stacks of ended threads for new ones: five of
// the default 8 MB, so with dozens of scans at once most thread starts mapped
// a new stack, faulted its pages in and unmapped it again, a third of a
// probe's CPU time. Forty 1 MB stacks fit. Returns the size now in effect.
std::size_t lower_default_thread_stack();

} // namespace vantrel::kelvane::probe::service
