#include "memory/largepages.h"

#include <sys/mman.h>

#include <cstdint>

void adviseLargePages(void* p, size_t bytes) {
#ifdef MADV_HUGEPAGE
  uintptr_t start = reinterpret_cast<uintptr_t>(p);
  uintptr_t from = (start + 2 * kLargePage - 1) & ~(uintptr_t{kLargePage} - 1);
  uintptr_t to = (start + bytes) & ~(uintptr_t{kLargePage} - 1);
  if (to > from) madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
#else
  (void)p;
  (void)bytes;
#endif
}
