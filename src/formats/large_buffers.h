// Room for large texts. A message body or a built letter of many megabytes is written
// into fresh memory, and on a virtual machine the page faults of that first touch can
// cost more than the work itself; asking the kernel for large pages on such a buffer
// cuts them by a factor of hundreds. Only a hint: where it isn't supported nothing changes.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace ravelin::detail {

inline constexpr size_t kLargePage = size_t{2} << 20;

// Reserves room for `units` code units in `s`, with the large-page hint for big buffers.
inline void ReserveLarge(std::u16string& s, size_t units) {
  s.reserve(units);
  const size_t bytes = s.capacity() * sizeof(char16_t);
  if (bytes < 2 * kLargePage) return;
#ifdef MADV_HUGEPAGE
  const auto begin = reinterpret_cast<uintptr_t>(s.data());
  const uintptr_t first = (begin + kLargePage - 1) & ~(kLargePage - 1);
  const uintptr_t last = (begin + bytes) & ~(kLargePage - 1);
  if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#endif
}

}  // namespace ravelin::detail
