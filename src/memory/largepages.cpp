#include "memory/largepages.h"

#include <sys/mman.h>

#include <cstdint>

void* mapWithSmallLead(size_t bytes, size_t lead) {
  // A stretch one large page longer, trimmed so that the lead ends on a boundary.
  size_t span = bytes + kLargePage;
  void* p = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
                 -1, 0);
  if (p == MAP_FAILED) return nullptr;
  uintptr_t start = reinterpret_cast<uintptr_t>(p);
  uintptr_t boundary = (start + lead + kLargePage - 1) & ~(uintptr_t{kLargePage} - 1);
  uintptr_t from = boundary - lead;
  uintptr_t end = start + span;
  if (from > start) munmap(p, from - start);
  if (end > from + bytes) munmap(reinterpret_cast<void*>(from + bytes), end - (from + bytes));
#ifdef MADV_HUGEPAGE
  if (bytes > lead) madvise(reinterpret_cast<void*>(boundary), bytes - lead, MADV_HUGEPAGE);
#endif
  return reinterpret_cast<void*>(from);
}
