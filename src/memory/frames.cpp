#include "memory/frames.h"

#include <cstdlib>
#include <cstring>

_symval* FrameKeeper::alloc(long n) {
  Head* h = nullptr;
  if (n <= kPooled && !pool_[n].empty()) {
    h = pool_[n].back();
    pool_[n].pop_back();
    std::memset(static_cast<void*>(h + 1), 0, sizeof(_symval) * static_cast<size_t>(n));
  } else {
    if (n < 0 || static_cast<unsigned long>(n) > (SIZE_MAX - sizeof(Head)) / sizeof(_symval))
      return nullptr;
    h = static_cast<Head*>(std::calloc(1, sizeof(Head) + sizeof(_symval) * static_cast<size_t>(n)));
    if (!h) return nullptr;
  }
  h->refs = 0;
  h->state = kActive;
  h->n = n;
  return reinterpret_cast<_symval*>(h + 1);
}

void FrameKeeper::dispose(Head* h) {
  if (h->n <= kPooled) {
    pool_[h->n].push_back(h);
  } else {
    std::free(h);
  }
}
